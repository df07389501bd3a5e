// A key with a story that every view tells: who drove which vehicle when, in March 2024.
//
//   AB 123 CD  Jo Sample drives on the 13th. Then it is driven 12 km without a card. Käthe O"Neil
//              drives from that evening until after midnight, with Jo as co-driver. On the 15th
//              the card of someone without a name is still in it. An older download, of the evening
//              of the 13th, has what had happened until then.
//   XY 9       was downloaded in November, and never since. Its odometer values are missing.
#pragma once

#include "samples/samples.h"
#include "tests/support/samplefiles.h"
#include "tests/support/testkey.h"

#include <QtCore/QDateTime>

// Seconds since 1970 of a UTC time such as "2024-03-13T06:00".
inline quint32 at(const QString& time) {
    const QDateTime result = QDateTime::fromString(time + "Z", Qt::ISODate);
    if (!result.isValid())
        qFatal("%s is no time", qPrintable(time));
    return static_cast<quint32>(result.toSecsSinceEpoch());
}

constexpr quint32 stillInserted = 0xFFFFFFFF;
constexpr quint32 noKilometres = 0xFFFFFF;

inline samples::CardRecord insertion(const char* firstNames, const char* surname, quint32 from,
                                     quint32 kmFrom, quint32 to, quint32 kmTo,
                                     unsigned char slot = 0) {
    return {surname, firstNames, "DF00000000000100", from, kmFrom, slot, to, kmTo};
}

inline QByteArray vehicleFile(const char* plate,
                              const std::vector<std::vector<samples::CardRecord>>& days) {
    samples::VehicleUnit unit;
    unit.plate = plate;
    unit.days.resize(days.size());
    for (size_t i = 0; i < days.size(); ++i) {
        unit.days[i].date = at("2024-03-13T00:00") + static_cast<quint32>(i) * 86400;
        unit.days[i].cardRecords = days[i];
    }
    return samples::vehicleUnitFile(unit);
}

inline void tellStory(const TestKey& key) {
    const auto jo =
        insertion("Jo", "Sample", at("2024-03-13T06:00"), 1000, at("2024-03-13T14:00"), 1200);
    const auto overMidnight = insertion("K\xE4the", "O\"Neil", at("2024-03-13T22:00"), 1212,
                                        at("2024-03-14T04:00"), 1400);
    const auto beside =
        insertion("Jo", "Sample", at("2024-03-13T22:01"), 1212, at("2024-03-14T04:00"), 1400, 1);
    const auto open = insertion("", "", at("2024-03-15T06:00"), 1400, stillInserted, noKilometres);
    auto notYet = overMidnight;
    notYet.withdrawalTime = stillInserted;
    notYet.odometerAtWithdrawal = noKilometres;
    key.write("download/M_20240315_0830_AB123CD.DDD",
              vehicleFile("AB 123 CD", {{jo, overMidnight, beside}, {overMidnight}, {open}}));
    key.write("download/M_20240313_2330_AB123CD.DDD", vehicleFile("AB 123 CD", {{jo, notYet}}));
    key.write("download/V_XY9_20231101_0830.TGD",
              vehicleFile("XY 9", {{insertion("Jo", "Sample", at("2023-10-31T06:00"), noKilometres,
                                              0, noKilometres)}}));
    key.write("download/C_20240215_0815_J_SAMPLE.DDD", smallCard("DF00000000000100", 1, 2));
    key.write("download/C_20240314_0815_W.DDD", smallCard("DW00000000000500", 2));
}

struct StoryKey : TestKey {
    StoryKey() { tellStory(*this); }
};

inline QByteArray cardFile(const char* firstNames, const char* surname, const char* number) {
    samples::Card card;
    card.firstNames = firstNames;
    card.surname = surname;
    card.cardNumber = number;
    return samples::cardFile(card);
}

// A fleet of which much is not known on 1 April 2024.
//
//   AB 1  was downloaded in January, and in March and April, but February is missing. In March it
//         was driven 12 km without a card, which only the download of March shows. Jo's last drive
//         goes on into April.
//   XY 9  Jo's card was in it when it was downloaded in January, and somebody else's is in April.
//         Another download is from the future.
//   FU 1  has no other.
//
// Jo Sample has a card that was renewed, downloaded at the same time as the old one; another driver
// has the same name. Ann Early has a card and drives nothing.
inline void tellFleet(const TestKey& key) {
    const auto jo = [](const char* from, quint32 kmFrom, const char* to, quint32 kmTo) {
        return insertion("Jo", "Sample", at(from), kmFrom, at(to), kmTo);
    };
    auto open = jo("2024-01-31T06:00", 500, "2024-01-31T06:00", noKilometres);
    open.withdrawalTime = stillInserted;
    // A driver takes the wheel for an hour while the card of the other is still read as inserted.
    const auto within =
        insertion("Pat", "Test", at("2024-03-04T08:00"), 13000, at("2024-03-04T09:00"), 13040);
    key.write("download/M_20240131_1800_A.DDD",
              vehicleFile("AB 1", {{jo("2024-01-30T06:00", 1000, "2024-01-30T14:00", 1200)}}));
    const auto again = jo("2024-03-04T06:00", 13000, "2024-03-04T14:00", 13100);
    key.write(
        "download/M_20240305_0600_A.DDD",
        vehicleFile("AB 1", {{jo("2024-03-01T06:00", 12800, "2024-03-01T14:00", 12988), again}}));
    key.write("download/M_20240401_0600_A.DDD",
              vehicleFile("Ab1", {{again, within},
                                  {jo("2024-03-31T20:00", 13100, "2024-04-01T02:00", 13700)}}));
    key.write("download/M_20240131_1200_X.DDD", vehicleFile("XY 9", {{open}}));
    key.write("download/M_20240401_0700_X.DDD",
              vehicleFile("XY 9", {{insertion("Zo\xE9", "Test", at("2024-03-31T00:00"), 900,
                                              at("2024-04-01T00:00"), 950)}}));
    key.write("download/M_20990101_0000_X.DDD", vehicleFile("XY 9", {{open}}));
    key.write("download/M_20990101_0000_F.DDD", vehicleFile("FU 1", {}));
    key.write("download/C_20240303_1200_JO.DDD", cardFile("Jo", "Sample", "DF00000000000101"));
    key.write("download/C_20240303_1200_J.DDD", cardFile("Jo", "Sample", "DF000000000001A0"));
    key.write("download/C_20240304_1200_J.DDD", cardFile("Jo", "Sample", "DF00000000000200"));
    key.write("download/C_20240401_1200_E.DDD", cardFile("Ann", "Early", "DF00000000000300"));
}

// What is no download, and one download that fails.
inline void addOddities(const TestKey& key) {
    key.write("download/M_20240310_0830_BAD.DDD", QByteArray(700, '\xD2'));
    key.makeDir("download/M_20240309_0830_DIR.DDD");
    key.makeLink("download/M_20240308_0830_A_LONG_LINK.DDD", "/dev/null");
    key.makePipe("download/M_20240308_0830_NAMED_PIPE.DDD");
    key.write("download/.M_20240307_0830_HIDDEN.DDD", "x");
    key.write("download/M_20241307_0830_NEVER.DDD", "x");
    key.write("download/notes.ddd", "x");
    key.write("download/readme.txt", "x");
}
