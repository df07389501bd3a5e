// Text fields of the tachograph data dictionary, byte for byte as they are in a download file.
#pragma once

// Name: a surname or first names. Byte 0 is the code page, the rest the padded text.
struct Name {
    unsigned char codePage;
    unsigned char text[35];
};

// VehicleRegistrationNumber: a registration plate, without the nation that issued it.
struct VehicleRegistrationNumber {
    unsigned char codePage;
    unsigned char text[13];
};

static_assert(sizeof(Name) == 36, "a Name field has 36 bytes");
static_assert(sizeof(VehicleRegistrationNumber) == 14, "a registration-number field has 14 bytes");
