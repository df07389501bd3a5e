// What comes out of a vehicle-unit file, whole or damaged; loading and copying it.
#include "downloadkey/vehicleinfo.h"
#include "samples/memoryfile.h"
#include "samples/samples.h"
#include "tests/support/datatable.h"
#include "tests/support/debuglines.h"
#include "tests/support/errortext.h"
#include "tests/support/faultyfile.h"
#include "tests/support/lines.h"

#include <QtCore/QTemporaryFile>
#include <QtTest/QtTest>

#include <memory>
#include <new>

#include <sys/resource.h>
#include <unistd.h>

using downloadkey::VehicleInfo;
using samples::CardRecord;
using samples::Generation;

Q_DECLARE_METATYPE(samples::CardRecord)

namespace {

using Times = std::vector<quint32>;

constexpr Generation generations[] = {Generation::Gen1, Generation::Gen2V1, Generation::Gen2V2};

const QString plate = "AB 123 CD";
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

// 700 bytes, of which the first four are not the file's.
QByteArray junkAndAFile() {
    return "junk" + fileOf(Generation::Gen1, {}).leftJustified(696);
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
    return columns<QByteArray, QString, QString, QString>("bytes", "insertions", "error", "plate");
}

// What was found before an error stays.
void readFile() {
    QFETCH(QByteArray, bytes);
    const auto info = load(bytes);
    QTEST(messageOf(info->read()), "error");
    QTEST(insertionsOf(*info), "insertions");
    QTEST(info->getPlateString(), "plate");
}

// Spoils the record array of this type in a block of the second generation, and returns where it
// ends then.
int spoil(QByteArray& block, unsigned char type, const QString& fault) {
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
    const QByteArray oneMore = records + QByteArray(size, 'X');
    const QMap<QString, QByteArray> arrays = {
        {"whole", samples::recordArray(type, size, count, records)},
        {"other type", samples::recordArray(type ^ 0x80, size, count, records)},
        {"other size", samples::recordArray(type, size + 1, count, records)},
        {"too many", samples::recordArray(type, size, 0xFFFF, records)},
        {"one more", samples::recordArray(type, size, count + 1, oneMore)},
        {"no records", samples::recordArray(type, size, 0, "")},
        {"empty records", samples::recordArray(type, 0, 0xFFFF, "")}};
    if (!arrays.contains(fault))
        qFatal("unknown fault %s", qPrintable(fault));
    const int end = at + arrays.value(fault).size();
    block.replace(at, 5 + records.size(), arrays.value(fault));
    return end;
}

// A file of an overview and a day of which one array is spoilt. `behind` it are so many bytes, or
// "all".
QByteArray spoiltFile(const QString& block, const QString& type, const QString& fault,
                      const QString& behind = "all") {
    const bool isOverview = block.endsWith('1');
    const Generation version = block.startsWith('2') ? Generation::Gen2V1 : Generation::Gen2V2;
    QByteArray overview = overviewBlock(version);
    spoil(overview, 0x04, "one more"); // for a plate behind the smallest file's end
    QByteArray day = dayBlock(version, {100});
    const int end = spoil(isOverview ? overview : day,
                          static_cast<unsigned char>(type.toUInt(nullptr, 16)), fault);
    const QByteArray bytes = overview + day + '?';
    return behind == "all" ? bytes
                           : bytes.left((isOverview ? 0 : overview.size()) + end + behind.toInt());
}

} // namespace

class VehicleInfoTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false); }

    void doesNotLoadClosedOrRemovedFiles() {
        for (const bool isRemoved : {false, true}) {
            QTemporaryFile file;
            QVERIFY(file.open());
            if (isRemoved)
                QVERIFY(QFile::remove(file.fileName()));
            else
                file.close();

            DebugLines lines;
            VehicleInfo info(file);
            const QString line = "VehicleInfo: Init Vehicle Info:  \"%1\"";
            QCOMPARE(lines.lines,
                     QStringList({line.arg(file.fileName()),
                                  "libdownloadkey: VehicleInfo() Could not load file (0)"}));
            QCOMPARE(file.isOpen(), isRemoved);
            QVERIFY(messageOf(info.read()).endsWith("file not mmapped, or not large enough"));
            unsigned int position = 0;
            unsigned short size = 1;
            unsigned short count = 1;
            QVERIFY(!info.readHeader(position, 0x04, size, count));
            QVERIFY(!info.skipRecordData(position, 0, 0));
            QVERIFY(info.getPlateString().isEmpty() && !info.getPlateString().isNull());
            QVERIFY(info.getDriverActivities().empty());
        }
    }

    // From a position to the end, even if an error was there before.
    void loadsAFileToItsEnd_data() {
        const auto row =
            columns<int, qint64, qint64, bool>("position", "size", "badByte", "isLoaded");
        row("all of it", 4, 700, 999, true);
        row("it became shorter", 4, 710, 999, true);
        row("it became longer", 4, 697, 999, true);
        row("of unknown size", 4, 0, 999, true);
        row("a bad byte", 4, 700, 699, false);
        row("a bad byte, of unknown size", 4, 0, 699, false);
        row("a bad byte, of unknown size, from the beginning", 0, 0, 699, false);
        row("2 GiB", 4, qint64(1) << 31, 999, false);
    }
    void loadsAFileToItsEnd() {
        QFETCH(int, position);
        QFETCH(qint64, size);
        QFETCH(qint64, badByte);
        QFETCH(bool, isLoaded);
        FaultyFile file(junkAndAFile(), badByte, size);
        QVERIFY(file.seek(position) && file.peek(1).size() == 1);
        QVERIFY(!file.QFile::rename("/dev/null") && file.error() != QFileDevice::NoError);
        const DebugLines lines;
        VehicleInfo info(file);
        QCOMPARE(lines.lines.size() == 1, isLoaded);
        QCOMPARE(messageOf(info.read()).isEmpty(), isLoaded);
    }

    void doesNotLoadAFileThatMemoryCannotHold() {
        constexpr int size = 1 << 30;
        rlimit limit{};
        QCOMPARE(::getrlimit(RLIMIT_AS, &limit), 0);
        const rlimit less{size, limit.rlim_max};
        const auto restore = qScopeGuard([&limit] { ::setrlimit(RLIMIT_AS, &limit); });
        QFile statistics("/proc/self/statm"); // the address sanitizer takes terabytes
        QVERIFY(statistics.open(QIODevice::ReadOnly));
        const qint64 pages = statistics.readAll().split(' ').at(0).toLongLong();
        if (pages * ::sysconf(_SC_PAGESIZE) > size || ::setrlimit(RLIMIT_AS, &less) != 0 ||
            std::unique_ptr<char[]>(new (std::nothrow) char[size]))
            QSKIP("Memory cannot be limited here.");
        FaultyFile file(junkAndAFile(), 999, size);
        const DebugLines lines;
        const VehicleInfo info(file);
        QCOMPARE(lines.lines.size(), 2);
    }

    void parsersCheckSizeAndFirstBytes_data() {
        tableRows<QString, QByteArray, int, QString>("parsers.txt", "parser", "first", "size",
                                                     "error");
    }
    void parsersCheckSizeAndFirstBytes() {
        QFETCH(QString, parser);
        QFETCH(QByteArray, first);
        QFETCH(int, size);
        const QMap<QString, aux::Error (VehicleInfo::*)()> parsers = {
            {"read", &VehicleInfo::read},
            {"readGen1", &VehicleInfo::readGen1},
            {"readGen2_1", &VehicleInfo::readGen2_1},
            {"readGen2_2", &VehicleInfo::readGen2_2}};
        QVERIFY(parsers.contains(parser));
        const auto info = load(QByteArray::fromHex(first).leftJustified(size, '\0', true));
        QTEST(messageOf((*info.*parsers[parser])()), "error");
    }

    void callsOverriddenParsers() {
        class Overridden : public VehicleInfo {
        public:
            using VehicleInfo::VehicleInfo;
            aux::Error readGen1() override { return {}; }
            aux::Error readGen2_1() override { return {}; }
            aux::Error readGen2_2() override { return {}; }
        };
        for (const Generation generation : generations) {
            MemoryFile file(fileOf(generation, {}));
            Overridden info(file);
            QVERIFY(info.read().isEmpty() && info.getPlateString().isEmpty());
        }
    }

    void copiesOutliveTheOriginal() {
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

    void readHeader_data() {
        tableRows<quint32, QByteArray, quint16, quint16, quint32, QString>(
            "headers.txt", "position", "bytes", "size", "count", "end", "debugLine");
    }
    void readHeader() {
        QFETCH(quint32, position);
        QFETCH(QByteArray, bytes);
        QFETCH(quint32, end);
        const auto info =
            load((QByteArray(int(qMin(position, 100U)), '?') + QByteArray::fromHex(bytes))
                     .leftJustified(100));
        DebugLines lines;
        quint32 moved = position;
        quint16 size = 0xABCD;
        quint16 count = 0xABCD;
        QCOMPARE(info->readHeader(moved, 0x0B, size, count), end != position);
        QCOMPARE(moved, end);
        QTEST(size, "size");
        QTEST(count, "count");
        QTEST(lines.lines.join(""), "debugLine");
    }

    void skipRecordData_data() {
        tableRows<int, quint32, quint16, quint16, quint32>("skips.txt", "fileSize", "position",
                                                           "recordSize", "count", "end");
    }
    void skipRecordData() {
        QFETCH(int, fileSize);
        QFETCH(quint32, position);
        QFETCH(quint16, recordSize);
        QFETCH(quint16, count);
        QFETCH(quint32, end);
        const auto info = load(QByteArray(fileSize, '?'));
        quint32 moved = position;
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
            row(name + " and a day", overview + dayBlock(Generation::Gen1, {100}), "100", "",
                plate);
            row(name + ", a byte missing", overview.chopped(1), "", shortOverview, plate);
        }
        row("no number of control activities", overviewBlock(Generation::Gen1, 2).left(690), "",
            shortOverview, plate);
    }
    void gen1Overviews() { readFile(); }

    void gen1Days_data() {
        const auto addRow = fileColumns();
        const auto row = [&](const char* name, const QByteArray& bytes, const QString& insertions,
                             const QString& error = "") {
            addRow(name, overviewBlock(Generation::Gen1) + bytes, insertions, error, plate);
        };
        const QByteArray day = dayBlock(Generation::Gen1, {100});
        const QByteArray later = dayBlock(Generation::Gen1, {300});
        row("one byte", "v", "");
        row("a tag alone", "\x76\x02", "");
        row("a tag and one byte", "\x76\x02?", "", notEnoughData);
        row("another first byte", "\x77\x02" + day.mid(2), "");
        row("a day 128 bytes behind another tag", "\x76\x03" + QByteArray(128, '?') + day, "");
        row("a day of the second generation", "\x76\x22" + day.mid(2), "");
        row("a day, a gap, a day", day + '?' + later, "100");
        row("a signature that is cut looks like a day", day.chopped(128) + "\x76\x02------", "100");
        samples::Day full = dayOf({100});
        full.activityChanges = full.specificConditions = 65535;
        full.places = 255;
        row("largest numbers", blockOf(Generation::Gen1, full) + later, "100 300");
        row("65535 conditions that are not there",
            QByteArray("\x76\x02-------\0\0\0\0\0\xFF\xFF", 16) + QByteArray(261, '?'), "",
            notEnoughData + " (VuSpecificConditionData) p:639 s:900 c:65535");
    }
    void gen1Days() { readFile(); }

    void cutGen1Days_data() {
        tableRows<int, QString, QString>("cutdays.txt", "size", "insertions", "error");
    }
    void cutGen1Days() {
        QFETCH(int, size);
        samples::Day days[] = {dayOf({100}), dayOf({300})};
        QByteArray bytes = overviewBlock(Generation::Gen1);
        for (samples::Day& day : days) {
            day.activityChanges = 3;
            day.places = 2;
            day.specificConditions = 1;
            bytes += blockOf(Generation::Gen1, day);
        }
        const auto info = load(bytes.left(size));
        QTEST(messageOf(info->read()), "error");
        QTEST(insertionsOf(*info), "insertions");
    }

    void readsGen2ArraysInTheirOrder_data() {
        tableRows<QString, QString, QString, QString, QString>("arrays.txt", "array", "block",
                                                               "type", "plate", "insertions");
    }
    void readsGen2ArraysInTheirOrder() {
        QFETCH(QString, array);
        QFETCH(QString, block);
        QFETCH(QString, type);
        for (const auto& [fault, failure] :
             {std::pair("other type", "Read %1 header"), {"too many", "Skip %1"}}) {
            const auto info = load(spoiltFile(block, type, fault));
            QCOMPARE(messageOf(info->read()), QString("VehicleInfo readGen2_2() TREP%1: %2 failed")
                                                  .arg(block, QString(failure).arg(array)));
            QTEST(insertionsOf(*info), "insertions");
            QTEST(info->getPlateString(), "plate");
        }
    }

    void spoiltGen2Arrays_data() {
        tableRows<QString, QString, QString, QString, QString, QString, QString>(
            "spoiltarrays.txt", "fault", "block", "type", "behind", "plate", "insertions", "error");
    }
    void spoiltGen2Arrays() {
        QFETCH(QString, fault);
        QFETCH(QString, block);
        QFETCH(QString, type);
        QFETCH(QString, behind);
        const auto info = load(spoiltFile(block, type, fault, behind));
        QTEST(messageOf(info->read()), "error");
        QTEST(insertionsOf(*info), "insertions");
        QTEST(info->getPlateString(), "plate");
    }

    void gen2EndsOfTheDays_data() {
        const auto addRow = fileColumns();
        const auto row = [&](const char* name, const QByteArray& bytes, const QString& insertions,
                             const QString& error = "") {
            addRow(name, overviewBlock(Generation::Gen2V2) + bytes, insertions, error, plate);
        };
        const QByteArray tag = "\x76\x32";
        const QByteArray day = dayBlock(Generation::Gen2V2, {100});
        const QString notFound = "VehicleInfo readGen2_2() TREP31 not found";
        row("one byte", "?", "", notFound);
        row("a tag", tag, "", notFound);
        row("three bytes", "???", "");
        row("day and a tag", day + tag, "100");
        row("day, a tag and one byte", day + tag + "?", "100",
            "VehicleInfo readGen2_2() TREP32: Read DateOfDayDownloadedRecordArray header failed");
        row("day and one of the other version", day + "\x76\x22" + day.mid(2), "100");
        row("day and another first byte", day + '\x77' + day.mid(1), "100");
    }
    void gen2EndsOfTheDays() { readFile(); }

    void cardRecords_data() {
        const auto row = columns<CardRecord, QString>("record", "activity");
        row("all fields", {"S", "F", "", 287454020, 66051, 5, 555885348, 3224115},
            "F, S; 5; 287454020; 66051; 555885348; 3224115");
        row("zeros", {"S", "F", "", 0, 0, 0, 0, 0}, "F, S; 0; 0; 0; 0; 0");
        row("no values", {"S", "F", "", 4294967295, 16777215, 255, 4294967295, 16777215},
            "F, S; 255; 4294967295; 4294967295; 4294967295; 4294967295");
        row("largest odometer value", {"S", "F", "", 1, 16777214, 1, 2, 65535},
            "F, S; 1; 1; 16777214; 2; 65535");
        row("no name", {"", "", "", 0, 0, 0, 0, 0}, ", ; 0; 0; 0; 0; 0");
        row("longest names",
            {"abcdefghijklmnopqrstuvwxyz123456789", "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789", "", 0, 0,
             0, 0, 0},
            "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789, abcdefghijklmnopqrstuvwxyz123456789; 0; 0; 0; 0; "
            "0");
        row("white space", {"\t de la Cruz \r\n", "  Ana  Maria", "", 0, 0, 0, 0, 0},
            "Ana  Maria, de la Cruz; 0; 0; 0; 0; 0");
        row("Greek", {"\xC4\xE5", "\xC1\xE2\xE3", "", 0, 0, 0, 0, 0, 7}, "Αβγ, Δε; 0; 0; 0; 0; 0");
    }
    // The name; slot; insertion; odometer value; withdrawal; odometer value.
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

    void repeatedInsertions_data() {
        tableRows<QString, QString, QString>("repeats.txt", "days", "taken", "takenOfGen1");
    }
    void repeatedInsertions() {
        QFETCH(QString, days);
        for (const Generation generation : generations) {
            std::vector<samples::Day> blocks;
            quint32 ordinal = 0;
            for (const QString& times : days.split('/')) {
                samples::Day day;
                for (const QString& time : times.split(' ', Qt::SkipEmptyParts)) {
                    day.cardRecords.emplace_back();
                    day.cardRecords.back().insertionTime = time.toUInt();
                    day.cardRecords.back().odometerAtInsertion = ++ordinal;
                }
                blocks.push_back(day);
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
            QCOMPARE(linesOf(lines.lines.join('\n')), linesOf(expected));
            QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
            QCOMPARE(messageOf(info->read()), QString());
            QCOMPARE(linesOf(lines.lines.join('\n')), linesOf(expected));
        }
    }
};

QTEST_APPLESS_MAIN(VehicleInfoTest)

#include "tst_vehicleinfo.moc"
