// What comes out of a vehicle-unit file, whole or damaged; loading and copying it.
#include "downloadkey/vehicleinfo.h"
#include "samples/samples.h"
#include "tests/support/datatable.h"
#include "tests/support/debuglines.h"
#include "tests/support/errortext.h"
#include "tests/support/memoryfile.h"
#include "tests/support/rows.h"
#include "tests/support/testkey.h"

#include <QtCore/QTemporaryFile>
#include <QtTest/QtTest>

#include <memory>

using downloadkey::VehicleInfo;
using samples::CardRecord;
using samples::Generation;

Q_DECLARE_METATYPE(samples::CardRecord)

namespace {

using Times = std::vector<quint32>;

constexpr Generation generations[] = {Generation::Gen1, Generation::Gen2V1, Generation::Gen2V2};

const QString plate = "AB 123 CD";
const QString tooSmall = "VehicleInfo read() file not mmapped, or not large enough";
const QString shortOverview = "VehicleInfo readGen1() file not not large enough";
const QString notEnoughData = "VehicleInfo readGen1() data read error, not enough data";

// A day with a card insertion at each of these times, in seconds since 1970 UTC.
samples::Day dayOf(const Times& insertions) {
    samples::Day day;
    for (const quint32 time : insertions) {
        day.cardRecords.emplace_back();
        day.cardRecords.back().insertionTime = time;
    }
    return day;
}

QByteArray blockOf(Generation generation, const samples::Day& day) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    return samples::activityBlock(unit, day);
}

QByteArray dayBlock(Generation generation, const Times& insertions) {
    return blockOf(generation, dayOf(insertions));
}

QByteArray overviewBlock(Generation generation, int companyLocks = 0, int controlActivities = 0) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.companyLocks = companyLocks;
    unit.controlActivities = controlActivities;
    return samples::overviewBlock(unit);
}

// The second generation needs three bytes behind its overview, of whatever kind.
QByteArray fileOf(Generation generation, const std::vector<samples::Day>& days) {
    QByteArray bytes = overviewBlock(generation);
    for (const samples::Day& day : days)
        bytes += blockOf(generation, day);
    return bytes + "???";
}

std::unique_ptr<VehicleInfo> load(const QByteArray& bytes) {
    MemoryFile file(bytes);
    return std::make_unique<VehicleInfo>(file);
}

// The text of an error, empty for success. Every error has the same component and code.
QString messageOf(const aux::Error& error) {
    return textOf(error).remove("libdownloadkey|").remove("|0");
}

// The insertion times of the activities, with a blank between them.
QString insertionsOf(const VehicleInfo& info) {
    QStringList times;
    for (const auto& activity : info.getDriverActivities())
        times << QString::number(activity.insertionTime.toSecsSinceEpoch());
    return times.join(' ');
}

// The columns of the tests that read a file, and what those tests do.
auto fileColumns() {
    return columns<QByteArray, QString, QString, QString>("bytes", "error", "insertions", "plate");
}

// What was found before an error stays.
void readFile() {
    QFETCH(QByteArray, bytes);
    const auto info = load(bytes);
    QTEST(messageOf(info->read()), "error");
    QTEST(insertionsOf(*info), "insertions");
    QTEST(info->getPlateString(), "plate");
}

// Spoils the record array of this type in a block of the second generation.
void spoil(QByteArray& block, int type, const QString& fault) {
    const auto number = [&block](int at, int size) {
        return block.mid(at, size).toHex().toInt(nullptr, 16);
    };
    int at = 2;
    while (at < block.size() && number(at, 1) != type)
        at += 5 + number(at + 1, 2) * number(at + 3, 2);
    if (at >= block.size())
        qFatal("no array %x", unsigned(type));
    const int size = number(at + 1, 2);
    const int count = number(at + 3, 2);
    const QByteArray records = block.mid(at + 5, size * count);
    const auto replace = [&](int newType, int newSize, int newCount, const QByteArray& newRecords) {
        block.replace(at, 5 + records.size(),
                      samples::recordArray(static_cast<unsigned char>(newType), newSize, newCount,
                                           newRecords));
    };
    if (fault == "other type")
        replace(type ^ 0x80, size, count, records);
    else if (fault == "other size")
        replace(type, size + 1, count, records);
    else if (fault == "too many")
        replace(type, size, 0xFFFF, records);
    else if (fault == "one more")
        replace(type, size, count + 1, records + QByteArray(size, 'X'));
    else if (fault == "none")
        replace(type, size, 0, "");
    else if (fault == "no bytes")
        replace(type, 0, 0xFFFF, "");
    else // the file ends behind it
        block.truncate(at + 5 + records.size());
}

} // namespace

class VehicleInfoTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false); }

    void filesThatAreClosedOrRemoved() {
        for (const bool isRemoved : {false, true}) {
            const TestKey key;
            QFile file(key.path("M_x.DDD"));
            QVERIFY(file.open(QIODevice::ReadWrite));
            if (isRemoved)
                QVERIFY(QFile::remove(file.fileName()));
            else
                file.close();

            DebugLines lines;
            VehicleInfo info(file);
            const QString line = "VehicleInfo: Init Vehicle Info:  \"%1\"";
            QCOMPARE(lines.lines(),
                     QStringList({line.arg(file.fileName()),
                                  "libdownloadkey: VehicleInfo() Could not load file (0)"}));
            QCOMPARE(file.isOpen(), isRemoved);
            QCOMPARE(messageOf(info.read()), tooSmall);
            unsigned int position = 0;
            unsigned short size = 1;
            unsigned short count = 1;
            QVERIFY(!info.readHeader(position, 0x04, size, count));
            QVERIFY(!info.skipRecordData(position, 0, 0));
            QVERIFY(info.getPlateString().isEmpty() && !info.getPlateString().isNull());
            QVERIFY(info.getDriverActivities().empty());
        }
    }

    void loadsFromThePositionOfTheFile() {
        QTemporaryFile file; // on the disk only once its name has been asked for
        QVERIFY(file.open() && file.write("junk" + fileOf(Generation::Gen1, {})) > 0);
        QVERIFY(file.seek(4));
        VehicleInfo info(file);
        QCOMPARE(messageOf(info.read()), QString());
        QCOMPARE(info.getPlateString(), plate);
    }

    void loadsAFileThatBecameShorter() {
        class ShorterFile : public QTemporaryFile {
        public:
            qint64 size() const override { return QTemporaryFile::size() + 10; }
        } file;
        QVERIFY(file.open() && file.write(fileOf(Generation::Gen1, {})) > 0 && file.seek(0));
        QCOMPARE(messageOf(VehicleInfo(file).read()), QString());
    }

    void choosesParserByTheFirstBytes_data() {
        const auto row = columns<QByteArray, int, QString>("tag", "size", "error");
        row("empty", "7601", 0, tooSmall);
        row("one byte", "7601", 1, tooSmall);
        row("620 bytes", "7621", 620, tooSmall);
        row("621 bytes, 7601", "7601", 621, shortOverview);
        row("621 bytes, 7621", "7621", 621,
            "VehicleInfo readGen2_1() TREP21: Read MemberStateCertificateRecordArray header "
            "failed");
        row("621 bytes, 7631", "7631", 621,
            "VehicleInfo readGen2_2() TREP31: Read MemberStateCertificateRecordArray header "
            "failed");
        row("a day", "7622", 621, "VehicleInfo read() TREPx1 not found, found 7622instead!");
        row("other order", "2176", 621, "VehicleInfo read() TREPx1 not found, found 2176instead!");
        row("one digit", "0005", 621, "VehicleInfo read() TREPx1 not found, found 5instead!");
        row("letters", "FEDC", 621, "VehicleInfo read() TREPx1 not found, found fedcinstead!");
    }
    void choosesParserByTheFirstBytes() {
        QFETCH(QByteArray, tag);
        QFETCH(int, size);
        const auto info = load(QByteArray::fromHex(tag).leftJustified(size, '\0', true));
        QTEST(messageOf(info->read()), "error");
    }

    void parsersRefuseOtherFiles() {
        const auto small = load(QByteArray(620, '\x76'));
        QCOMPARE(messageOf(small->readGen1()), tooSmall);
        QCOMPARE(messageOf(small->readGen2_1()),
                 QString("VehicleInfo readGen2_1() file not mmapped, or not large enough"));
        QCOMPARE(messageOf(small->readGen2_2()),
                 QString("VehicleInfo readGen2_2() file not mmapped, or not large enough"));
        for (const QByteArray tag :
             {"7601", "7621", "7631", "7602", "7622", "7632", "7501", "7521", "7531"}) {
            const auto info = load(QByteArray::fromHex(tag).leftJustified(621, '\0'));
            QCOMPARE(messageOf(info->readGen1()) == "VehicleInfo readGen1() TREP01 not found",
                     tag != "7601");
            QCOMPARE(messageOf(info->readGen2_1()) == "VehicleInfo readGen2_1() TREP21 not found",
                     tag != "7621");
            QCOMPARE(messageOf(info->readGen2_2()) == "VehicleInfo readGen2_2() TREP31 not found",
                     tag != "7631");
        }
    }

    void reachesOverriddenParsers() {
        class Overridden : public VehicleInfo {
        public:
            using VehicleInfo::VehicleInfo;
            aux::Error readGen1() override { return call = "readGen1", aux::Error(); }
            aux::Error readGen2_1() override { return call = "readGen2_1", aux::Error(); }
            aux::Error readGen2_2() override { return call = "readGen2_2", aux::Error(); }
            QString call;
        };
        QStringList calls;
        for (const Generation generation : generations) {
            MemoryFile file(fileOf(generation, {}));
            Overridden info(file);
            QCOMPARE(messageOf(info.read()), QString());
            calls << info.call;
        }
        QCOMPARE(calls, QStringList({"readGen1", "readGen2_1", "readGen2_2"}));
    }

    void copiesOutliveTheirOriginal() {
        QObject parent;
        auto original = load(fileOf(Generation::Gen1, {dayOf({7})}));
        original->setParent(&parent);
        VehicleInfo unread(*original);
        QCOMPARE(messageOf(original->read()), QString());
        VehicleInfo read(*original);
        original.reset();
        QVERIFY(read.parent() == nullptr);
        QCOMPARE(read.metaObject()->className(), "downloadkey::VehicleInfo");
        QCOMPARE(read.getPlateString(), plate);
        QCOMPARE(insertionsOf(read), QString("7"));

        // What each of them reads is added to its own results.
        QCOMPARE(messageOf(unread.read()), QString());
        QCOMPARE(insertionsOf(unread), QString("7"));
        QCOMPARE(messageOf(unread.read()), QString());
        QCOMPARE(insertionsOf(unread), QString("7 7"));
        QCOMPARE(insertionsOf(read), QString("7"));
    }

    void defaultsOfAnActivity() {
        const VehicleInfo::_FeDriverActivities activity;
        QVERIFY(activity.holderName.isNull());
        QVERIFY(activity.insertionTime.isNull() && activity.withdrawalTime.isNull());
        QCOMPARE(activity.odometerAtInsertion, 0U);
        QCOMPARE(activity.odometerAtWithdrawal, 0U);
        QCOMPARE(activity.slot, quint16(0));
    }

    // In a file of 100 bytes. An array of type 0B is asked for.
    void readHeader_data() {
        const auto row = columns<unsigned int, QByteArray, QVector<unsigned int>, QString>(
            "position", "bytes", "sizeCountEnd", "debugLine");
        row("at the start", 0, "0B 000E 0001", {14, 1, 5}, "");
        row("large numbers", 3, "0B FFFE 80FF", {65534, 33023, 8}, "");
        row("no records", 3, "0B 0000 0000", {0, 0, 8}, "");
        row("one byte follows", 94, "0B 000E 0001", {14, 1, 99}, "");
        row("no byte follows", 95, "0B 000E 0001", {}, "");
        row("at the end", 100, "", {}, "");
        row("far behind the end", 4294967291, "", {}, "");
        row("another type", 94, "0C 000E 0001", {},
            "readHeader(): Invalid tag found. Expected: b Read: c Pos: 94");
        row("a type above 7F", 10, "FE 000E 0001", {},
            "readHeader(): Invalid tag found. Expected: b Read: fe Pos: 10");
    }
    void readHeader() {
        QFETCH(unsigned int, position);
        QFETCH(QByteArray, bytes);
        QFETCH(QVector<unsigned int>, sizeCountEnd); // empty: refused
        const auto info =
            load((QByteArray(int(qMin(position, 100U)), '?') + QByteArray::fromHex(bytes))
                     .leftJustified(100));
        DebugLines lines;
        unsigned int end = position;
        unsigned short size = 0xABCD;
        unsigned short count = 0xABCD;
        QCOMPARE(info->readHeader(end, 0x0B, size, count), !sizeCountEnd.isEmpty());
        QCOMPARE(QVector<unsigned int>({size, count, end}),
                 sizeCountEnd.isEmpty() ? QVector<unsigned int>({0, 0, position}) : sizeCountEnd);
        QTEST(lines.lines().join(""), "debugLine");
    }

    void skipRecordData_data() {
        const auto row = columns<int, unsigned int, unsigned short, unsigned short, unsigned int>(
            "fileSize", "position", "recordSize", "count", "end");
        row("three records", 100, 7, 20, 3, 67);
        row("no records", 100, 99, 65535, 0, 99);
        row("records without bytes", 100, 99, 0, 65535, 99);
        row("one byte follows", 100, 89, 5, 2, 99);
        row("no byte follows", 100, 90, 5, 2, 0);
        row("at the end", 100, 100, 1, 0, 0);
        row("behind the end", 100, 101, 0, 0, 0);
        row("more than 65535 bytes", 100000, 5, 999, 100, 99905);
        row("the end is 8929 in 32 bits", 200000, 140000, 65535, 65535, 0);
    }
    void skipRecordData() {
        QFETCH(int, fileSize);
        QFETCH(unsigned int, position);
        QFETCH(unsigned short, recordSize);
        QFETCH(unsigned short, count);
        QFETCH(unsigned int, end); // 0: refused
        const auto info = load(QByteArray(fileSize, '?'));
        unsigned int moved = position;
        QCOMPARE(info->skipRecordData(moved, recordSize, count), end != 0);
        QCOMPARE(moved, end != 0 ? end : position);
    }

    void gen1Overviews_data() {
        const auto row = fileColumns();
        for (const auto& [locks, controls] :
             {std::pair(0, 0), {1, 0}, {0, 1}, {1, 2}, {255, 255}}) {
            const QByteArray name = QByteArray::number(locks) + " company locks, " +
                                    QByteArray::number(controls) + " control activities";
            const QByteArray overview = overviewBlock(Generation::Gen1, locks, controls);
            row(name, overview, "", "", plate);
            row(name + " and a day", overview + dayBlock(Generation::Gen1, {100}), "", "100",
                plate);
            row(name + ", a byte missing", overview.chopped(1), shortOverview, "", plate);
        }
        row("no number of control activities", overviewBlock(Generation::Gen1, 2).left(690),
            shortOverview, "", plate);
    }
    void gen1Overviews() { readFile(); }

    void gen1Days_data() {
        const auto addRow = fileColumns();
        const auto row = [&](const char* name, const QByteArray& bytes, const QString& insertions,
                             const QString& error = "") {
            addRow(name, overviewBlock(Generation::Gen1) + bytes, error, insertions, plate);
        };
        const QByteArray day = dayBlock(Generation::Gen1, {100});
        const QByteArray later = dayBlock(Generation::Gen1, {300});
        row("one byte", "v", "");
        row("a tag alone", "\x76\x02", "");
        row("a tag and one byte", "\x76\x02?", "", notEnoughData);
        row("another first byte", "\x77\x02" + day.mid(2), "");
        row("a day of the second generation", "\x76\x22" + day.mid(2), "");
        row("a gap, then a day", '?' + day, "");
        row("a day, then events", day + "\x76\x03" + day.mid(2), "100");
        row("a day, a gap, a day", day + '?' + later, "100");
        row("a signature that is cut looks like a day", day.chopped(128) + "\x76\x02------", "100");
        samples::Day full = dayOf({100});
        full.activityChanges = full.specificConditions = 65535;
        full.places = 255;
        row("largest numbers", blockOf(Generation::Gen1, full) + later, "100 300");
        row("3 records that are not there",
            QByteArray("\x76\x02-------\0\3", 11) + QByteArray(266, '?'), "",
            notEnoughData + " (VuCardIWRecord) p:634 s:900 c:3");
        row("65535 conditions that are not there",
            QByteArray("\x76\x02-------\0\0\0\0\0\xFF\xFF", 16) + QByteArray(261, '?'), "",
            notEnoughData + " (VuSpecificConditionData) p:639 s:900 c:65535");
    }
    void gen1Days() { readFile(); }

    void gen1DaysThatAreCut_data() {
        const auto addRow = fileColumns();
        samples::Day days[] = {dayOf({100}), dayOf({300})};
        QByteArray bytes = overviewBlock(Generation::Gen1);
        for (samples::Day& day : days) {
            day.activityChanges = 3;
            day.places = 2;
            day.specificConditions = 1;
            bytes += blockOf(Generation::Gen1, day);
        }
        forEachRow("cutdays.txt", [&](const TableRow& row) {
            addRow(row.place(), bytes.left(row.number("size")), row.text("error"),
                   row.text("insertions"), plate);
        });
    }
    void gen1DaysThatAreCut() { readFile(); }

    void gen2ArraysThatAreSpoilt_data() {
        const auto addRow = fileColumns();
        forEachRow("spoiltarrays.txt", [&](const TableRow& row) {
            const int trep = row.number("block", 16);
            const QString fault =
                row.word("fault", {"other type", "other size", "too many", "one more", "none",
                                   "no bytes", "file end", "near file end"});
            const Generation version = trep < 0x30 ? Generation::Gen2V1 : Generation::Gen2V2;
            QByteArray overview = overviewBlock(version);
            spoil(overview, 0x04, "one more"); // for a plate behind the smallest file's end
            QByteArray day = dayBlock(version, {100});
            const bool isOverview = trep % 16 == 1;
            spoil(isOverview ? overview : day, row.number("array", 16), fault);
            if (isOverview && fault.endsWith("file end"))
                day.clear();
            if (fault != "file end")
                day += '?';
            addRow(row.place(), overview + day, row.text("error"), row.text("insertions"),
                   row.text("plate"));
        });
    }
    void gen2ArraysThatAreSpoilt() { readFile(); }

    void gen2EndsOfTheDays_data() {
        const auto addRow = fileColumns();
        const auto rows = [&](Generation version, const QByteArray& tag, const QByteArray& otherTag,
                              const QString& notFound, const QString& noDate) {
            const QByteArray overview = overviewBlock(version);
            const QByteArray day = dayBlock(version, {100});
            const auto row = [&](const char* name, const QByteArray& bytes, const QString& error,
                                 const QString& insertions) {
                addRow(tag.toHex() + ": " + name, overview + bytes, error, insertions, plate);
            };
            row("overview and one byte", "?", notFound, "");
            row("overview and a tag", tag, notFound, "");
            row("overview and three bytes", "???", "", "");
            row("day and one byte", day + "?", "", "100");
            row("day and a tag", day + tag, "", "100");
            row("day, a tag and one byte", day + tag + "?", noDate, "100");
            row("two days", day + day + "?", "", "100 100");
            row("day and one of the other version", day + otherTag + day.mid(2), "", "100");
            row("day and another first byte", day + '\x77' + day.mid(1), "", "100");
            row("day and another overview", day + overview, "", "100");
        };
        rows(Generation::Gen2V1, "\x76\x22", "\x76\x32",
             "VehicleInfo readGen2_1() TREP21 not found",
             "VehicleInfo readGen2_1() TREP22: Read DateOfDayDownloadedRecordArray header failed");
        rows(Generation::Gen2V2, "\x76\x32", "\x76\x22",
             "VehicleInfo readGen2_2() TREP31 not found",
             "VehicleInfo readGen2_2() TREP32: Read DateOfDayDownloadedRecordArray header failed");
    }
    void gen2EndsOfTheDays() { readFile(); }

    void cardRecords_data() {
        // Surname, first names, number, insertion, odometer, slot, withdrawal, odometer, code page.
        const auto row = columns<CardRecord, QString>("record", "activity");
        row("big-endian numbers", {"S", "F", "", 0x11223344, 0x010203, 5, 0x21222324, 0x313233},
            "F, S; 5; 287454020; 66051; 555885348; 3224115");
        row("zeros", {"S", "F", "", 0, 0, 0, 0, 0}, "F, S; 0; 0; 0; 0; 0");
        row("no values", {"S", "F", "", 0xFFFFFFFF, 0xFFFFFF, 0xFF, 0xFFFFFFFF, 0xFFFFFF},
            "F, S; 255; 4294967295; 4294967295; 4294967295; 4294967295");
        row("largest odometer values", {"S", "F", "", 1, 0xFFFFFE, 1, 2, 0x00FFFF},
            "F, S; 1; 1; 16777214; 2; 65535");
        row("no names", {"", ""}, ", ; 0; 0; 0; 0; 0");
        row("full names",
            {"abcdefghijklmnopqrstuvwxyz123456789", "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789"},
            "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789, abcdefghijklmnopqrstuvwxyz123456789; "
            "0; 0; 0; 0; 0");
        row("white space around the names", {"\t de la Cruz \r\n", "  Ana  Maria"},
            "Ana  Maria, de la Cruz; 0; 0; 0; 0; 0");
        row("Greek names", {"\xC4\xE5", "\xC1\xE2\xE3", "", 0, 0, 0, 0, 0, 7},
            "Αβγ, Δε; 0; 0; 0; 0; 0");
    }
    void cardRecords() {
        QFETCH(CardRecord, record);
        for (const Generation generation : generations) {
            // The second record shows that the first one has the right size.
            samples::Day day = dayOf({0, 7});
            day.cardRecords[0] = record;
            const auto info = load(fileOf(generation, {day}));
            QCOMPARE(messageOf(info->read()), QString());
            const auto activity = info->getDriverActivities().at(0);
            QTEST(QString("%1; %2; %3; %4; %5; %6")
                      .arg(activity.holderName)
                      .arg(activity.slot)
                      .arg(activity.insertionTime.toSecsSinceEpoch())
                      .arg(activity.odometerAtInsertion)
                      .arg(activity.withdrawalTime.toSecsSinceEpoch())
                      .arg(activity.odometerAtWithdrawal),
                  "activity");
            QVERIFY(insertionsOf(*info).endsWith(" 7"));
        }
    }

    void plates() {
        samples::VehicleUnit unit;
        const auto check = [&](const QByteArray& text, const QString& expected) {
            unit.plate = text;
            for (const Generation generation : generations) {
                unit.generation = generation;
                const auto info = load(samples::vehicleUnitFile(unit));
                QCOMPARE(messageOf(info->read()), QString());
                QCOMPARE(info->getPlateString(), expected);
            }
        };
        check("ABCDEFGHIJKLM", "ABCDEFGHIJKLM");
        check("   AB 123", "AB 123");
        check("", "");
        unit.plateCodePage = 7;
        check("\xC9\xC1\xC2-1234", "ΙΑΒ-1234");
    }

    // Of neighbours with the same insertion time the first is taken. The first generation remembers
    // the time from day to day.
    void repeatedInsertions_data() {
        // The times in the file, and which of its records are taken, from 1 on.
        const auto row =
            columns<std::vector<Times>, QString, QString>("days", "taken", "takenOfGen1");
        row("two alike", {{10, 10, 20}}, "1 3", "1 3");
        row("three alike", {{10, 10, 10}}, "1", "1");
        row("alike, but no neighbours", {{10, 20, 10}}, "1 2 3", "1 2 3");
        row("an earlier time twice", {{20, 10, 10, 15}}, "1 2 4", "1 2 4");
        row("a day begins as the last one ended", {{10, 20}, {20, 30}}, "1 2 3 4", "1 2 4");
        row("an empty day between", {{10}, {}, {10}}, "1 2", "1");
        row("two days alike", {{10, 20}, {10, 20}}, "1 2 3 4", "1 2 3 4");
        row("1970 is a time like any other", {{0, 0}, {0, 0}}, "1 3", "1");
        row("2106 is a time like any other", {{4294967295, 4294967295, 0}}, "1 3", "1 3");
        row("Berlin's clock shows an hour twice", {{1635640200, 1635643800}}, "1 2", "1 2");
    }
    void repeatedInsertions() {
        QFETCH(std::vector<Times>, days);
        for (const Generation generation : generations) {
            std::vector<samples::Day> blocks;
            quint32 ordinal = 0;
            for (const Times& times : days) {
                blocks.push_back(dayOf(times));
                for (CardRecord& record : blocks.back().cardRecords)
                    record.odometerAtInsertion = ++ordinal;
            }
            const auto info = load(fileOf(generation, blocks));
            QCOMPARE(messageOf(info->read()), QString());
            QStringList taken;
            for (const auto& activity : info->getDriverActivities())
                taken << QString::number(activity.odometerAtInsertion);
            QTEST(taken.join(' '), generation == Generation::Gen1 ? "takenOfGen1" : "taken");
        }
    }

    // From the last second of winter to the first of summer in Berlin. A repeat gets no line.
    void debugLines() {
        const bool isUtc = qgetenv("TZ") == "UTC";
        const QString expected =
            QString("VehicleInfo: Vehicle Ident:  \"AB 123 CD\"\n"
                    "VehicleInfo: Activity: \n"
                    "  Holder Name:   \"Jo, Sample\" @ Slot:  255\n"
                    "  Insertion:     QDateTime(%1 Qt::LocalTime) @:  66051\n"
                    "  Withdrawel:    QDateTime(%2 Qt::LocalTime) @:  -1")
                .arg(isUtc ? "2024-03-31 00:59:59.000 UTC" : "2024-03-31 01:59:59.000 CET",
                     isUtc ? "2024-03-31 01:00:00.000 UTC" : "2024-03-31 03:00:00.000 CEST");
        samples::Day day;
        day.cardRecords.assign(2,
                               {"Sample", "Jo", "", 1711846799, 66051, 255, 1711846800, 0xFFFFFF});
        for (const Generation generation : generations) {
            const auto info = load(fileOf(generation, {day}));
            DebugLines lines;
            QCOMPARE(messageOf(info->read()), QString());
            QCOMPARE(lines.lines().join('\n'), expected);
        }
    }

    void noDebugLinesWhenTheyAreTurnedOff() {
        const auto info = load(fileOf(Generation::Gen1, {dayOf({7})}));
        const DebugLines lines;
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
        QCOMPARE(messageOf(info->read()), QString());
        QCOMPARE(lines.lines(), QStringList());
    }
};

QTEST_APPLESS_MAIN(VehicleInfoTest)

#include "tst_vehicleinfo.moc"
