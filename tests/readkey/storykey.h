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
