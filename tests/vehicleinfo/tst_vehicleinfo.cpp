// What comes out of a vehicle-unit file, whole or damaged; loading and copying it.
#include "downloadkey/vehicleinfo.h"
#include "samples/memoryfile.h"
#include "samples/samples.h"
#include "tests/support/datatable.h"
#include "tests/support/debuglines.h"
#include "tests/support/errortext.h"
#include "tests/support/faultyfile.h"

#include <QtCore/QTemporaryFile>
#include <QtCore/QtEndian>
#include <QtTest/QtTest>

#include <memory>
#include <new>

#include <sys/resource.h>
#include <unistd.h>

using downloadkey::VehicleInfo;
using samples::CardRecord;
using samples::Generation;

Q_DECLARE_METATYPE(samples::CardRecord)
Q_DECLARE_METATYPE(std::vector<samples::Day>)

namespace {

constexpr Generation generations[] = {Generation::Gen1, Generation::Gen2V1, Generation::Gen2V2};

const QString shortOverview = "readGen1() file not not large enough";
const QString notEnoughData = "readGen1() data read error, not enough data";

// A day with a card insertion at each of these times, in seconds since 1970 UTC. Their odometer
// values are 1, 2 and so on.
samples::Day dayOf(const std::vector<quint32>& insertions) {
    samples::Day day;
    for (const quint32 time : insertions) {
        day.cardRecords.emplace_back();
        day.cardRecords.back().insertionTime = time;
        day.cardRecords.back().odometerAtInsertion = quint32(day.cardRecords.size());
    }
    return day;
}

samples::VehicleUnit unitOf(Generation generation) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.furtherBlocks = false;
    unit.trailer = "???"; // the second generation needs three bytes behind its overview
    return unit;
}

QByteArray overviewBlock(Generation generation) {
    return samples::overviewBlock(unitOf(generation));
}

QByteArray dayBlock(Generation generation, const samples::Day& day = dayOf({100})) {
    return samples::activityBlock(unitOf(generation), day);
}

QByteArray fileOf(Generation generation, const std::vector<samples::Day>& days) {
    samples::VehicleUnit unit = unitOf(generation);
    unit.days = days;
    return samples::vehicleUnitFile(unit);
}

std::unique_ptr<VehicleInfo> load(const QByteArray& bytes) {
    MemoryFile file(bytes);
    return std::make_unique<VehicleInfo>(file);
}

// What an error says behind its first word, empty for success. That word, the component and the
// code are the same in every error.
QString messageOf(const aux::Error& error) {
    return textOf(error).remove("libdownloadkey|VehicleInfo ").remove("|0");
}

// A number of each activity, with blanks between them.
template <typename Number>
QString eachOf(const VehicleInfo& info, const Number& number) {
    QStringList numbers;
    for (const auto& activity : info.getDriverActivities())
        numbers << QString::number(number(activity));
    return numbers.join(' ');
}

QString insertionsOf(const VehicleInfo& info) {
    return eachOf(info, [](const auto& one) { return one.insertionTime.toSecsSinceEpoch(); });
}

// The columns of the tests that read a file, and what those tests do.
auto fileColumns() {
    return columns<QByteArray, QString, QString, QString>("bytes", "plate", "insertions", "error");
}

// What was found before an error stays.
void readFile() {
    QFETCH(QByteArray, bytes);
    const auto info = load(bytes);
    QTEST(messageOf(info->read()), "error");
    QTEST(insertionsOf(*info), "insertions");
    QTEST(info->getPlateString(), "plate");
}

// The place of these bytes, in hexadecimal digits, which are there once. They are the header of a
// record array: type, record size and number of records.
int placeOf(const QByteArray& bytes, const QByteArray& header) {
    const QByteArray found = QByteArray::fromHex(header);
    if (bytes.count(found) != 1)
        qFatal("%s is not there once", header.constData());
    return bytes.indexOf(found);
}

QByteArray replaced(QByteArray bytes, const QByteArray& header, const QByteArray& other) {
    return bytes.replace(placeOf(bytes, header), 5, QByteArray::fromHex(other));
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
            QCOMPARE(lines.lines,
                     QStringList({"VehicleInfo: Init Vehicle Info:  \"" + file.fileName() + '"',
                                  "libdownloadkey: VehicleInfo() Could not load file (0)"}));
            QCOMPARE(file.isOpen(), isRemoved);
            QVERIFY(messageOf(info.read()).endsWith("file not mmapped, or not large enough"));
            QVERIFY(info.getPlateString().isEmpty() && !info.getPlateString().isNull());
        }
    }

    // 700 bytes, from a position to the end, even if an error was there before.
    void loadsAFileToItsEnd_data() {
        const auto row =
            columns<int, qint64, qint64, bool>("position", "size", "badByte", "isLoaded");
        row("it became shorter", 4, 710, 999, true);
        row("it became longer", 4, 697, 999, true);
        row("of unknown size", 4, 0, 999, true);
        row("a bad byte", 4, 700, 699, false);
        row("a bad byte, of unknown size, from the beginning", 0, 0, 699, false);
        row("2 GiB", 4, qint64(1) << 31, 999, false);
    }
    void loadsAFileToItsEnd() {
        QFETCH(int, position);
        QFETCH(qint64, size);
        QFETCH(qint64, badByte);
        QFETCH(bool, isLoaded);
        FaultyFile file("junk" + overviewBlock(Generation::Gen1).leftJustified(696), badByte, size);
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
        FaultyFile file("a small file", 999, size);
        const DebugLines lines;
        const VehicleInfo info(file);
        QCOMPARE(lines.lines.size(), 2);
    }

    // The first two bytes of a file, and zeros behind them.
    void parsersCheckSizeAndFirstBytes() {
        const auto message = [](auto parser, const char* first, int size) {
            const auto info = load(QByteArray::fromHex(first).leftJustified(size, '\0'));
            return messageOf((*info.*parser)());
        };
        const QString tooSmall = "() file not mmapped, or not large enough";
        const QString notFound = "read() TREPx1 not found, found %1instead!";
        QCOMPARE(message(&VehicleInfo::read, "7621", 620), "read" + tooSmall);
        QCOMPARE(message(&VehicleInfo::read, "0005", 621), notFound.arg("5"));
        QCOMPARE(message(&VehicleInfo::read, "FEDC", 621), notFound.arg("fedc"));
        QCOMPARE(message(&VehicleInfo::readGen1, "7601", 620), "read" + tooSmall);
        QCOMPARE(message(&VehicleInfo::readGen1, "7621", 621),
                 QString("readGen1() TREP01 not found"));
        QCOMPARE(message(&VehicleInfo::readGen2_1, "7621", 620), "readGen2_1" + tooSmall);
        QCOMPARE(message(&VehicleInfo::readGen2_1, "7631", 621),
                 QString("readGen2_1() TREP21 not found"));
        QCOMPARE(message(&VehicleInfo::readGen2_2, "7631", 620), "readGen2_2" + tooSmall);
        QCOMPARE(message(&VehicleInfo::readGen2_2, "7621", 621),
                 QString("readGen2_2() TREP31 not found"));
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
        auto original = load(fileOf(Generation::Gen1, {dayOf({7})}));
        VehicleInfo unread(*original);
        QCOMPARE(messageOf(original->read()), QString());
        VehicleInfo read(*original);
        original.reset();
        QCOMPARE(read.getPlateString(), QString("AB 123 CD"));

        // What each of them reads is added to its own results.
        for (const char* insertions : {"7", "7 7"}) {
            QCOMPARE(messageOf(unread.read()), QString());
            QCOMPARE(insertionsOf(unread), QString(insertions));
            QCOMPARE(insertionsOf(read), QString("7"));
        }
    }

    // Whether the header of an array of type 0B is read at a position of a file of 100 bytes, the
    // two numbers in it, and where the position is then.
    void readsHeadersOfRecordArrays() {
        using Result = QList<quint32>;
        const auto header = [](quint32 position, const char* bytes) {
            const int at = int(qMin(position, 100U));
            const auto info =
                load((QByteArray(at, '?') + QByteArray::fromHex(bytes)).leftJustified(100));
            quint16 size = 0xABCD;
            quint16 count = 0xABCD;
            const bool isRead = info->readHeader(position, 0x0B, size, count);
            return Result{isRead, size, count, position};
        };
        QCOMPARE(header(3, "0BFFFE80FF"), (Result{true, 65534, 33023, 8}));
        QCOMPARE(header(94, "0B000E0001"), (Result{true, 14, 1, 99}));
        QCOMPARE(header(95, "0B000E0001"), (Result{false, 0, 0, 95})); // no byte is behind it
        QCOMPARE(header(4294967291, ""), (Result{false, 0, 0, 4294967291}));
        const DebugLines lines;
        QCOMPARE(header(10, "FE000E0001"), (Result{false, 0, 0, 10}));
        QCOMPARE(lines.lines.last(),
                 QString("readHeader(): Invalid tag found. Expected: b Read: fe Pos: 10"));
    }

    void skipsRecordsOfArrays() {
        const auto end = [info = load(QByteArray(200000, '?'))](quint32 position, quint16 size,
                                                                quint16 count) {
            quint32 moved = position;
            return info->skipRecordData(moved, size, count) || moved != position ? int(moved) : -1;
        };
        QCOMPARE(end(199999, 65535, 0), 199999);
        QCOMPARE(end(199989, 5, 2), 199999);
        QCOMPARE(end(199990, 5, 2), -1);         // no byte is behind them
        QCOMPARE(end(140000, 65535, 65535), -1); // in 32 bits the end would be 8929
    }

    void readsGen1Overviews_data() {
        const auto row = fileColumns();
        samples::VehicleUnit unit = unitOf(Generation::Gen1);
        for (const auto& [locks, controls] : {std::pair(0, 0), {1, 2}, {255, 255}}) {
            unit.companyLocks = locks;
            unit.controlActivities = controls;
            const QByteArray overview = samples::overviewBlock(unit);
            const QByteArray name = QByteArray::number(locks) + " company locks";
            row(name, overview, unit.plate, "", "");
            row(name + " and a day", overview + dayBlock(Generation::Gen1), unit.plate, "100", "");
            row(name + ", a byte missing", overview.chopped(1), unit.plate, "", shortOverview);
        }
        row("no number of control activities", samples::overviewBlock(unit).left(25484), unit.plate,
            "", shortOverview);
    }
    void readsGen1Overviews() { readFile(); }

    void readsGen1Days_data() {
        const auto addRow = fileColumns();
        const auto row = [&](const QByteArray& name, const QByteArray& bytes,
                             const QString& insertions, const QString& error = "") {
            addRow(name, overviewBlock(Generation::Gen1) + bytes, "AB 123 CD", insertions, error);
        };
        const QByteArray day = dayBlock(Generation::Gen1);
        const QByteArray later = dayBlock(Generation::Gen1, dayOf({300}));
        row("a tag alone", "\x76\x02", "");
        row("a tag and one byte", "\x76\x02?", "", notEnoughData);
        row("a day 128 bytes behind another tag", "\x76\x03" + QByteArray(128, '?') + day, "");
        row("a day, a gap, a day", day + '?' + later, "100");
        row("a signature that is cut looks like a day", day.chopped(128) + "\x76\x02------", "100");
        samples::Day full = dayOf({100});
        full.activityChanges = full.specificConditions = 65535;
        full.places = 255;
        row("largest numbers", dayBlock(Generation::Gen1, full) + later, "100 300");
        row("65535 conditions that are not there",
            QByteArray("\x76\x02-------\0\0\0\0\0\xFF\xFF", 16) + QByteArray(261, '?'), "",
            notEnoughData + " (VuSpecificConditionData) p:639 s:900 c:65535");

        full.activityChanges = 3;
        full.places = 2;
        full.specificConditions = 1;
        const QByteArray cut = dayBlock(Generation::Gen1, full);
        const auto cutRow = [&](int size, const QString& insertions, const QString& error) {
            row("cut to " + QByteArray::number(size), cut.left(size), insertions,
                notEnoughData + error);
        };
        cutRow(11, "", " (VuCardIWRecord) p:634 s:634 c:1");
        cutRow(141, "100", " (VuActivityDailyData count) p:763 s:764 c:1");
        cutRow(147, "100", " (VuActivityDailyData) p:765 s:770 c:3");
        cutRow(148, "100", " (VuPlaceDailyWorkPeriodData count) p:771 s:771 c:3");
        cutRow(204, "100", " (VuPlaceDailyWorkPeriodData) p:772 s:827 c:2");
        cutRow(211, "100", " (VuSpecificConditionData) p:830 s:834 c:1");
        row("cut before the signature", cut.left(212), "100");
    }
    void readsGen1Days() { readFile(); }

    // Each array of an overview and a day has another type, and then too many records. What was
    // found before it stays.
    void namesTheSpoiltGen2Array() {
        const QByteArray bytes = fileOf(Generation::Gen2V2, {dayOf({100})});
        const QStringList arrays[] = {
            {"MemberStateCertificate", "MemberVUCertificate", "VehicleIdentificationNumber",
             "VehicleRegistrationIdentification", "CurrentDateTime", "VuDownloadablePeriod",
             "CardSlotStatus", "VuDownloadActivityData", "VuCompanyLocks", "VuControlActivity",
             "Signature"},
            {"DateOfDayDownloaded", "OdometerValueMidnight", "VuCardIW", "VuActivityDailyRecord",
             "VuPlaceDailyWorkPeriod", "VuGNSSAD", "VuSpecificCondition", "VuBorderCrossing",
             "VuLoadUnload", "VuSignature"}};
        const auto messageIf = [&bytes](int at, const QByteArray& spoilt) {
            return messageOf(load(QByteArray(bytes).replace(at, spoilt.size(), spoilt))->read());
        };
        int at = 0;
        for (const char* block : {"31", "32"}) {
            at += 2;
            for (const QString& array : arrays[block[1] - '1']) {
                const QString text = "readGen2_2() TREP%1: %2 %3RecordArray%4";
                QCOMPARE(messageIf(at, "?"), text.arg(block, "Read", array, " header failed"));
                QCOMPARE(messageIf(at + 3, "\xFF\xFF"),
                         array == "VuCardIW" ? text.arg(block, "Read", array, ": Not enough data")
                                             : text.arg(block, "Skip", array, " failed"));
                at += 5 + qFromBigEndian<quint16>(bytes.constData() + at + 1) *
                              qFromBigEndian<quint16>(bytes.constData() + at + 3);
            }
        }
        QCOMPARE(bytes.mid(at), QByteArray("???"));
    }

    void readsGen2Files_data() {
        const auto row = fileColumns();
        const QString plate = "AB 123 CD";
        const QByteArray version1 = fileOf(Generation::Gen2V1, {});
        const QByteArray overview = overviewBlock(Generation::Gen2V2);
        const QByteArray day = dayBlock(Generation::Gen2V2);
        const QByteArray bytes = overview + day + '?';
        const QString badPlate =
            "readGen2_2() TREP31: Read VehicleRegistrationIdentificationRecordArray"
            ": Invalid data size";
        row("version 1: plate of another size", replaced(version1, "0B000E0001", "0B000F0001"), "",
            "",
            "readGen2_1() TREP21: Read VehicleRegistrationNumberRecordArray: Invalid data size");
        row("two plates",
            replaced(replaced(bytes, "24000F0001", "24000F0002"), "0300040001",
                     "0D01585858585858585858585858580300040001"),
            plate, "100", "");
        row("no plate", replaced(bytes, "24000F0001", "24000F0000"), "", "", badPlate);
        const QByteArray large =
            replaced(bytes, "0400CD0001", "0400CD0002" + QByteArray(2 * 205, '5'));
        const QByteArray cut = large.left(placeOf(large, "0300040001"));
        row("ends behind the plate", cut, "", "", badPlate);
        row("ends a byte behind the plate", cut + '?', plate, "",
            "readGen2_2() TREP31: Read CurrentDateTimeRecordArray header failed");
        row("ends behind the overview", overview, plate, "",
            "readGen2_2() TREP31: Skip SignatureRecordArray failed");
        row("two bytes behind the overview", overview + "\x76\x32", plate, "",
            "readGen2_2() TREP31 not found");
        row("three bytes behind the overview", overview + "???", plate, "", "");
        row("records of another size", replaced(bytes, "0D00830001", "0D00840001"), plate, "",
            "readGen2_2() TREP32: Read VuCardIWRecordArray: Invalid data size");
        row("ends behind the records", bytes.left(placeOf(bytes, "0100020000")), plate, "100",
            "readGen2_2() TREP32: Read VuActivityDailyRecordRecordArray header failed");
        row("65535 records without bytes", replaced(bytes, "1600390000", "160000FFFF"), plate,
            "100", "");
        row("day and a tag", overview + day + "\x76\x32", plate, "100", "");
        row("day, a tag and one byte", overview + day + "\x76\x32?", plate, "100",
            "readGen2_2() TREP32: Read DateOfDayDownloadedRecordArray header failed");
        row("day and one of the other version", overview + day + "\x76\x22" + day.mid(2), plate,
            "100", "");
    }
    void readsGen2Files() { readFile(); }

    void convertsPlateAndCardRecord_data() {
        const auto row =
            columns<QByteArray, CardRecord, QString>("plate", "record", "plateAndActivity");
        row("all fields", "AB 1", {"S", "F", "", 287454020, 66051, 5, 555885348, 3224115},
            "AB 1; F, S; 5; 287454020; 66051; 555885348; 3224115");
        row("empty texts and zeros", "", {"", "", "", 0, 0, 0, 0, 0}, "; , ; 0; 0; 0; 0; 0");
        row("no values", "", {"S", "F", "", 4294967295, 16777215, 255, 4294967295, 16777215},
            "; F, S; 255; 4294967295; 4294967295; 4294967295; 4294967295");
        row("longest texts and largest odometer value", "ABCDEFGHIJKLM",
            {"abcdefghijklmnopqrstuvwxyz123456789", "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789", "", 1,
             16777214, 1, 2, 65535},
            "ABCDEFGHIJKLM; ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789, "
            "abcdefghijklmnopqrstuvwxyz123456789; 1; 1; 16777214; 2; 65535");
        row("Greek, with white space", " \xC9\xC1\xC2-1234",
            {"\t \xC4\xE5 \r\n", "  \xC1\xE2  \xE3", "", 0, 0, 0, 0, 0, 7},
            "ΙΑΒ-1234; Αβ  γ, Δε; 0; 0; 0; 0; 0");
    }
    // The plate; name; slot; insertion; odometer value; withdrawal; odometer value.
    void convertsPlateAndCardRecord() {
        QFETCH(QByteArray, plate);
        QFETCH(CardRecord, record);
        for (const Generation generation : generations) {
            samples::VehicleUnit unit = unitOf(generation);
            unit.plate = plate;
            unit.plateCodePage = record.codePage;
            unit.days = {dayOf({0})};
            unit.days[0].cardRecords[0] = record;
            const auto info = load(samples::vehicleUnitFile(unit));
            QCOMPARE(messageOf(info->read()), QString());
            const auto activity = info->getDriverActivities().at(0);
            QTEST(QString("%1; %2; %3; %4; %5; %6; %7")
                      .arg(info->getPlateString(), activity.holderName)
                      .arg(activity.slot)
                      .arg(activity.insertionTime.toSecsSinceEpoch())
                      .arg(activity.odometerAtInsertion)
                      .arg(activity.withdrawalTime.toSecsSinceEpoch())
                      .arg(activity.odometerAtWithdrawal),
                  "plateAndActivity");
        }
    }

    // Which insertions of each day are taken, from 1 on. Of neighbours with the same time the first
    // is taken. The first generation remembers the time from day to day.
    void takesRepeatedInsertionsOnce_data() {
        const auto row =
            columns<std::vector<samples::Day>, QString, QString>("days", "taken", "takenOfGen1");
        row("the same time later", {dayOf({10, 20, 10})}, "1 2 3", "1 2 3");
        row("the next day", {dayOf({10, 20}), dayOf({20, 30})}, "1 2 1 2", "1 2 2");
        row("a day later", {dayOf({10}), dayOf({}), dayOf({10})}, "1 1", "1");
        // 1970 and 2106 are times like any other, and Berlin's clock shows one hour twice.
        row("repeats of 1970", {dayOf({0, 0, 0}), dayOf({0, 0})}, "1 1", "1");
        row("repeats of 2106", {dayOf({4294967295, 4294967295, 0})}, "1 3", "1 3");
        row("the clock goes back", {dayOf({1635640200, 1635643800})}, "1 2", "1 2");
    }
    void takesRepeatedInsertionsOnce() {
        QFETCH(std::vector<samples::Day>, days);
        for (const Generation generation : generations) {
            const auto info = load(fileOf(generation, days));
            QCOMPARE(messageOf(info->read()), QString());
            QTEST(eachOf(*info, [](const auto& one) { return one.odometerAtInsertion; }),
                  generation == Generation::Gen1 ? "takenOfGen1" : "taken");
        }
    }

    // From the last second of winter to the first of summer in Berlin. A repeat gets no line.
    void writesADebugLineForEachValue() {
        const bool isUtc = qgetenv("TZ") == "UTC";
        const QString winter = isUtc ? "00:59:59.000 UTC" : "01:59:59.000 CET";
        const QString summer = isUtc ? "01:00:00.000 UTC" : "03:00:00.000 CEST";
        const QStringList expected = {
            "VehicleInfo: Vehicle Ident:  \"AB 123 CD\"",
            "VehicleInfo: Activity: ",
            "  Holder Name:   \"Jo, Sample\" @ Slot:  255",
            "  Insertion:     QDateTime(2024-03-31 " + winter + " Qt::LocalTime) @:  66051",
            "  Withdrawel:    QDateTime(2024-03-31 " + summer + " Qt::LocalTime) @:  -1",
        };
        samples::Day day;
        day.cardRecords.assign(2,
                               {"Sample", "Jo", "", 1711846799, 66051, 255, 1711846800, 0xFFFFFF});
        for (const Generation generation : generations) {
            const auto info = load(fileOf(generation, {day}));
            const DebugLines lines;
            QCOMPARE(messageOf(info->read()), QString());
            QCOMPARE(lines.lines, expected);
        }
    }
};

QTEST_APPLESS_MAIN(VehicleInfoTest)

#include "tst_vehicleinfo.moc"
