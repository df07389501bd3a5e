// What comes out of a vehicle-unit file, whole or damaged; loading and copying it.
#include "tests/support/debuglines.h"
#include "tests/vehicleinfo/vehicleunitfiles.h"

#include <QtCore/QTemporaryDir>
#include <QtCore/QTemporaryFile>
#include <QtTest/QtTest>

#include <algorithm>
#include <ctime>
#include <tuple>

namespace {

const struct {
    aux::Error (VehicleInfo::*parse)();
    QByteArray tag;
    const char* tooSmall;
    const char* notFound;
} parsers[] = {
    {&VehicleInfo::read, {}, "VehicleInfo read() file not mmapped, or not large enough", nullptr},
    {&VehicleInfo::readGen1, "\x76\x01", "VehicleInfo read() file not mmapped, or not large enough",
     "VehicleInfo readGen1() TREP01 not found"},
    {&VehicleInfo::readGen2_1, "\x76\x21",
     "VehicleInfo readGen2_1() file not mmapped, or not large enough",
     "VehicleInfo readGen2_1() TREP21 not found"},
    {&VehicleInfo::readGen2_2, "\x76\x31",
     "VehicleInfo readGen2_2() file not mmapped, or not large enough",
     "VehicleInfo readGen2_2() TREP31 not found"},
};

const char usualPlate[] = "AB 123 CD";

// The files' first insertions.
QStringList first(int count) {
    return QStringList({QStringLiteral("F, S|100|0|0|0|0"), QStringLiteral("F, S|300|0|0|0|0")})
        .mid(0, count);
}

// The one shape of the tables of files; `lines` are the debug lines but for the activities' own.
void columns() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QStringList>("activities");
    QTest::addColumn<QString>("plate");
    QTest::addColumn<int>("lines");
    QTest::addColumn<int>("parser");
}

void row(const QByteArray& name, const QByteArray& bytes, const QByteArray& error,
         const QStringList& activities = {}, const char* plate = usualPlate, int lines = 2,
         int parser = 0) {
    QTest::newRow(name.constData()) << bytes << QString::fromLatin1(error) << activities
                                    << QString::fromUtf8(plate) << lines << parser;
}

// What was found before an error stays.
void readFile() {
    QFETCH(QByteArray, bytes);
    QFETCH(int, parser);
    QFETCH(int, lines);
    DebugLines debugLines;
    const auto info = load(bytes);
    const auto parse = parsers[parser].parse;
    QTEST(failure(((*info).*parse)()), "error");
    QTEST(info->getPlateString(), "plate");
    QTEST(activities(*info), "activities");
    QCOMPARE(debugLines.lines().size(), lines + 4 * activities(*info).size());
}

// Rows for what goes wrong with one array of the second generation: `step` is "header", "records"
// or "size".
void spoil(const QByteArray& name, Generation gen, bool inDay, unsigned char type,
           const QByteArray& step, const char* error) {
    Block blocks[] = {gen2Arrays(gen, 1), gen2Arrays(gen, 2, recordAt(gen, 100))};
    const auto bytes = [&] { return bytesOf(gen, 1, blocks[0]) + bytesOf(gen, 2, blocks[1]); };
    const QByteArray whole = bytes();
    Block& block = blocks[inDay ? 1 : 0];
    const auto array = std::find_if(block.begin(), block.end(),
                                    [type](const Array& one) { return one.type == type; });
    if (array == block.end())
        qFatal("no such array: %s", name.constData());
    const Array good = *array;
    const bool isPlate = type == 0x0B || type == 0x24;
    const bool afterPlate = inDay || array - block.begin() > 3;
    const QStringList taken = first(inDay && array - block.begin() > 2 ? 1 : 0);
    const char* const plate = afterPlate || (isPlate && step == "records") ? usualPlate : "";
    const int lines = inDay ? 2 : 1;

    const auto with = [&](const Array& bad, int moreLines = 0) {
        *array = bad;
        row(name + " spoilt " + QByteArray::number(bad.recordSize), bytes() + '?', error, taken,
            plate, lines + moreLines);
    };
    const auto cut = [&](int size) {
        if (size > 620)
            row(name + " cut " + QByteArray::number(size), whole.left(size), error, taken, plate,
                lines);
    };
    const int start = (inDay ? bytesOf(gen, 1, blocks[0]).size() : 0) +
                      bytesOf(gen, 1, Block(block.begin(), array)).size();
    const int end = start + 5 + good.records.size();
    if (step == "header") {
        with({static_cast<unsigned char>(type ^ 0x80), good.recordSize, good.count, good.records},
             1);
        cut(start + 1);
        cut(start + 5);
        // Card records may be the last bytes of a file.
        if (type == 0x01)
            cut(start);
    } else if (step == "size") {
        for (const int size :
             {0, good.recordSize - 1, good.recordSize + 1, good.recordSize + 0x100})
            with({type, size, 1, filler(size)});
        if (isPlate)
            with({type, good.recordSize, 0, ""});
    } else {
        with({type, good.recordSize, 0xFFFF, good.records});
    }
    if (step == (isPlate ? "size" : "records")) {
        cut(start + 6);
        cut(end - 1);
        if (type != 0x0D)
            cut(end);
    }
}

} // namespace

class VehicleInfoTest : public QObject {
    Q_OBJECT

    const QByteArray m_zone = qgetenv("TZ");

    static void setTimeZone(const QByteArray& zone) {
        qputenv("TZ", zone);
        tzset();
    }

private Q_SLOTS:
    // Hundreds of files give thousands of debug lines, which hide the one that matters.
    void init() { QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false); }
    void cleanup() { setTimeZone(m_zone); }

    void notLoaded_data() {
        QTest::addColumn<QByteArray>("state");
        for (const char* const state : {"never opened", "missing", "vanished", "empty"})
            QTest::newRow(state) << QByteArray(state);
    }
    void notLoaded() {
        QFETCH(QByteArray, state);
        const bool exists = state != "missing";
        const bool open = state != "never opened";
        const bool removed = state == "vanished";
        QTemporaryDir dir;
        QFile file(dir.filePath(QStringLiteral("M_x.DDD")));
        QCOMPARE(exists && file.open(QIODevice::WriteOnly), exists);
        file.close();
        QCOMPARE(open && file.open(QIODevice::ReadOnly), open && exists);
        QCOMPARE(removed && QFile::remove(file.fileName()), removed);
        DebugLines lines;
        VehicleInfo info(file);
        QCOMPARE(lines.lines().value(0),
                 QStringLiteral("VehicleInfo: Init Vehicle Info:  \"%1\"").arg(file.fileName()));
        const bool complains = state != "empty";
        QCOMPARE(lines.lines().size(), complains ? 2 : 1);
        QCOMPARE(lines.lines().last().contains(QLatin1String("VehicleInfo() Could not load file")),
                 complains);
        for (const auto& parser : parsers)
            QCOMPARE(failure((info.*parser.parse)()), QLatin1String(parser.tooSmall));
        unsigned int position = 0;
        unsigned short size = 1, count = 1;
        QVERIFY(!info.readHeader(position, 0x04, size, count));
        QVERIFY(!info.skipRecordData(position, 0, 0));
        QVERIFY(info.getPlateString().isEmpty() && !info.getPlateString().isNull());
        QVERIFY(info.getDriverActivities().empty());
        QCOMPARE(file.isOpen(), open && exists);
    }

    // From where the file stands. This one gets its name only when it is asked for it, and loads
    // whether or not anybody listens to the debug lines.
    void loadsUnnamedFile() {
        for (const bool debugLines : {true, false}) {
            DebugLines lines;
            QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, debugLines);
            QTemporaryFile file;
            QVERIFY(file.open() && file.write("junk" + fileOf(Generation::Gen1, {})) > 0);
            QVERIFY(file.seek(4));
            VehicleInfo info(file);
            QCOMPARE(failure(info.read()), QString());
            QCOMPARE(info.getPlateString(), QLatin1String(usualPlate));
            QCOMPARE(lines.lines().size(), debugLines ? 2 : 0);
        }
    }

    void choosesParser_data() {
        columns();
        const auto file = [](int parser, const QByteArray& tag, int size, const char* error,
                             const char* plate = "") {
            row(QByteArray::number(parser) + ' ' + tag.toHex() + ' ' + QByteArray::number(size),
                (tag + QByteArray(406, '\0') + "\1PLATE").leftJustified(size, '\0', true), error,
                {}, plate, 1, parser);
        };
        for (int parser = 1; parser < 4; ++parser) {
            file(0, parsers[parser].tag, 1, parsers[0].tooSmall);
            file(0, parsers[parser].tag, 620, parsers[0].tooSmall);
            file(parser, parsers[parser].tag, 620, parsers[parser].tooSmall);
            for (const char* tag : {"7601", "7621", "7631", "7602", "7622", "7632", "7501", "7521"})
                if (const QByteArray other = QByteArray::fromHex(tag); other != parsers[parser].tag)
                    file(parser, other, 621, parsers[parser].notFound);
        }
        file(0, "\x76\x01", 621, "VehicleInfo readGen1() file not not large enough", "PLATE");
        file(0, "v\"", 621, "VehicleInfo read() TREPx1 not found, found 7622instead!");
        file(0, "!v", 621, "VehicleInfo read() TREPx1 not found, found 2176instead!");
        file(0, QByteArray("\0\5", 2), 621, "VehicleInfo read() TREPx1 not found, found 5instead!");
        file(0, QByteArray("\0\0", 2), 621, "VehicleInfo read() TREPx1 not found, found 0instead!");
        file(0, "\xFE\xDC", 621, "VehicleInfo read() TREPx1 not found, found fedcinstead!");
    }
    void choosesParser() { readFile(); }

    void readReachesOverriddenParsers() {
        class Overridden : public VehicleInfo {
        public:
            using VehicleInfo::VehicleInfo;
            aux::Error readGen1() override { return call = "1", aux::Error(); }
            aux::Error readGen2_1() override { return call = "21", aux::Error(); }
            aux::Error readGen2_2() override { return call = "22", aux::Error(); }
            QByteArray call;
        };
        QList<QByteArray> calls;
        for (const Generation gen : generations) {
            MemoryFile file(fileOf(gen, {}));
            Overridden info(file);
            QCOMPARE(failure(info.read()), QString());
            calls << info.call;
        }
        QCOMPARE(calls.join(' '), QByteArray("1 21 22"));
    }

    // More records than a byte can count.
    void copies() {
        for (const Generation gen : generations) {
            QObject parent;
            const QByteArray pair = recordAt(gen, 100) + recordAt(gen, 300);
            auto unread = load(fileOf(gen, {pair.repeated(150)}));
            unread->setParent(&parent);
            unread->setObjectName(QStringLiteral("original"));
            const auto original = std::make_unique<VehicleInfo>(*unread);
            QVERIFY(original->parent() == nullptr && original->objectName().isEmpty());
            QCOMPARE(original->metaObject()->className(), "downloadkey::VehicleInfo");
            unread.reset();
            QCOMPARE(failure(original->read()), QString());
            VehicleInfo copy(*original);
            QCOMPARE(copy.getPlateString(), QLatin1String(usualPlate));
            QCOMPARE(activities(copy), activities(*original));
            // What one of them reads is added to its own results, not to the other's.
            QCOMPARE(failure(copy.read()), QString());
            QCOMPARE(copy.getPlateString(), QLatin1String(usualPlate));
            QCOMPARE(activities(copy), activities(*original) + activities(*original));
            QCOMPARE(activities(*original).size(), 300);
        }
    }

    void readsHeaders() {
        const auto read = [](unsigned int position, const char* header) {
            const QByteArray before = filler(int(qMin(position, 100U)));
            DebugLines lines;
            const auto info =
                load((before + QByteArray::fromHex(header)).leftJustified(100, '\xEE'));
            lines.lines().clear();
            unsigned short size = 0xABCD, count = 0xABCD;
            const bool good = info->readHeader(position, 0x0B, size, count);
            return QStringLiteral("%1 %2 %3 %4 ").arg(good).arg(size).arg(count).arg(position) +
                   lines.lines().join(QLatin1Char('\n'));
        };
        QCOMPARE(read(0, "0B 000E 0001"), QStringLiteral("1 14 1 5 "));
        QCOMPARE(read(3, "0B FFFE 80FF"), QStringLiteral("1 65534 33023 8 "));
        QCOMPARE(read(3, "0B 0000 0000"), QStringLiteral("1 0 0 8 "));
        QCOMPARE(read(94, "0B 000E 0001"), QStringLiteral("1 14 1 99 "));
        QCOMPARE(read(95, "0B 000E 0001"), QStringLiteral("0 0 0 95 "));
        QCOMPARE(read(100, ""), QStringLiteral("0 0 0 100 "));
        QCOMPARE(read(0xFFFFFFFB, ""), QStringLiteral("0 0 0 4294967291 "));
        const auto wrong = QStringLiteral("readHeader(): Invalid tag found. Expected: b Read: ");
        QCOMPARE(read(94, "0C 000E 0001"), QStringLiteral("0 0 0 94 %1c Pos: 94").arg(wrong));
        QCOMPARE(read(10, "FE 000E 0001"), QStringLiteral("0 0 0 10 %1fe Pos: 10").arg(wrong));
    }

    void skipsRecords() {
        // Where the position is afterwards, and whether that was called a success.
        const auto skip = [](int fileSize, unsigned int position, int size, int count) {
            const auto info = load(filler(fileSize));
            const bool good = info->skipRecordData(position, static_cast<unsigned short>(size),
                                                   static_cast<unsigned short>(count));
            return std::pair(position, good);
        };
        QVERIFY(skip(100, 7, 20, 3) == std::pair(67U, true));
        QVERIFY(skip(100, 99, 65535, 0) == std::pair(99U, true));
        QVERIFY(skip(100, 99, 0, 65535) == std::pair(99U, true));
        QVERIFY(skip(100, 89, 5, 2) == std::pair(99U, true));
        QVERIFY(skip(100, 90, 5, 2) == std::pair(90U, false));
        QVERIFY(skip(100, 100, 1, 0) == std::pair(100U, false));
        QVERIFY(skip(100, 101, 0, 0) == std::pair(101U, false));
        QVERIFY(skip(100000, 5, 999, 100) == std::pair(99905U, true));
        // 140000 + 65535 * 65535 is 8929 in 32 bits.
        QVERIFY(skip(200000, 140000, 65535, 65535) == std::pair(140000U, false));
    }

    void gen1_data() {
        columns();
        const QByteArray day = gen1Day(recordAt(Generation::Gen1, 100));
        const QByteArray later = gen1Day(recordAt(Generation::Gen1, 300));
        const auto behind = [](const char* name, const QByteArray& bytes, int taken = 0,
                               const QByteArray& error = {}) {
            row(name, gen1Overview() + bytes, error, first(taken));
        };
        behind("one byte", "v");
        behind("a tag alone", "\x76\x02");
        behind("half a tag", "\x77\x02" + day.mid(2));
        behind("second generation's day", "\x76\x22" + day.mid(2));
        behind("a gap", '?' + day);
        behind("a day, then events", day + "\x76\x03" + day.mid(2), 1);
        behind("a day, then a gap", day + '?' + later, 1);
        behind("largest counts",
               gen1Day(recordAt(Generation::Gen1, 100), 65535, 255, 65535) + later, 2);
        const QByteArray tooLittle = "VehicleInfo readGen1() data read error, not enough data";
        const QByteArray announcing("\x76\x02-------", 9);
        behind("3 records", announcing + bigEndian(3, 2) + filler(266), 0,
               tooLittle + " (VuCardIWRecord) p:634 s:900 c:3");
        behind("65535 conditions", announcing + bigEndian(65535, 7) + filler(261), 0,
               tooLittle + " (VuSpecificConditionData) p:639 s:900 c:65535");

        const char tooShort[] = "VehicleInfo readGen1() file not not large enough";
        for (const auto& [locks, controls] :
             {std::pair(0, 0), {1, 0}, {0, 1}, {1, 2}, {255, 255}}) {
            const QByteArray overview = gen1Overview(locks, controls);
            const QByteArray name = QByteArray::number(locks) + ", " + QByteArray::number(controls);
            row(name, overview, "");
            row(name + " and a day", overview + day, "", first(1));
            row(name + ", a byte missing", overview.chopped(1), tooShort, {}, usualPlate, 1);
        }
        // The second count is no longer in the file.
        row("2 locks", gen1Overview(2).left(690), tooShort, {}, usualPlate, 1);
        row("255 locks", gen1Overview(255).left(621), tooShort, {}, usualPlate, 1);

        // The overview ends at 623, the first day has 11 + 129 + 8 + 57 + 7 + 128 = 340 bytes.
        const QByteArray bytes = gen1Overview() +
                                 gen1Day(recordAt(Generation::Gen1, 100), 3, 2, 1) +
                                 gen1Day(recordAt(Generation::Gen1, 300), 3, 2, 1);
        const auto cut = [&](int size, int taken, const char* what = nullptr) {
            row(QByteArray::number(size), bytes.left(size), what == nullptr ? "" : tooLittle + what,
                first(taken));
        };
        cut(965, 1);
        cut(973, 1, "");
        cut(974, 1, " (VuCardIWRecord) p:974 s:974 c:1");
        cut(1102, 1, " (VuCardIWRecord) p:974 s:1102 c:1");
        cut(1104, 2, " (VuActivityDailyData count) p:1103 s:1104 c:1");
        cut(1105, 2, " (VuActivityDailyData) p:1105 s:1105 c:3");
        cut(1110, 2, " (VuActivityDailyData) p:1105 s:1110 c:3");
        cut(1111, 2, " (VuPlaceDailyWorkPeriodData count) p:1111 s:1111 c:3");
        cut(1112, 2, " (VuPlaceDailyWorkPeriodData) p:1112 s:1112 c:2");
        cut(1167, 2, " (VuPlaceDailyWorkPeriodData) p:1112 s:1167 c:2");
        cut(1169, 2, " (VuSpecificConditionData count) p:1168 s:1169 c:2");
        cut(1174, 2, " (VuSpecificConditionData) p:1170 s:1174 c:1");
        for (const int size : {1175, 1176, 1302, 1303})
            cut(size, 2);
    }
    void gen1() { readFile(); }

    // A line of messages.txt: version, block, array, and what is said when the array's header
    // cannot be read, its record size is wrong, or its records run past the end of the file.
    void gen2Messages_data() {
        columns();
        QFile file(QStringLiteral(MESSAGES));
        file.open(QIODevice::ReadOnly);
        const QList<QByteArray> messages = file.readAll().trimmed().split('\n');
        if (messages.size() != 84)
            qFatal("not the messages: %s", MESSAGES);
        for (const QByteArray& message : messages) {
            const auto type = static_cast<unsigned char>(message.mid(5, 2).toInt(nullptr, 16));
            spoil(message.left(15), message.at(0) == '1' ? Generation::Gen2V1 : Generation::Gen2V2,
                  message.at(3) == '2', type, message.mid(8, 7).trimmed(),
                  message.mid(16).constData());
        }
    }
    void gen2Messages() { readFile(); }

    void gen2_data() {
        columns();
        for (const Generation gen : {Generation::Gen2V1, Generation::Gen2V2}) {
            const bool v2 = gen == Generation::Gen2V2;
            const QByteArray overview = bytesOf(gen, 1, gen2Arrays(gen, 1));
            const auto day = [gen](quint32 time) {
                return bytesOf(gen, 2, gen2Arrays(gen, 2, recordAt(gen, time)));
            };
            const QByteArray tag = v2 ? "\x76\x32" : "\x76\x22";
            for (const int days : {0, 1, 2}) {
                const auto ends = [&](const char* how, const QByteArray& behind,
                                      const char* error = "") {
                    row((v2 ? "v2 " : "v1 ") + QByteArray::number(days) + " days, " + how,
                        overview + (day(100) + day(300)).left(days * day(0).size()) + behind, error,
                        first(days));
                };
                const char* const notFound = days == 0 ? parsers[v2 ? 3 : 2].notFound : "";
                ends("one byte", "v", notFound);
                ends("a tag alone", tag, notFound);
                ends("three bytes", "???");
                ends("the other version's day", (v2 ? "\x76\x22" : "\x76\x32") + day(100).mid(2));
                ends("half a tag", "\x77" + tag.mid(1) + '?');
                ends("other half of a tag", "\x76\x02?");
                ends("another overview", overview);
            }
        }
    }
    void gen2() { readFile(); }

    void gen2Sizes_data() {
        columns();
        const auto sizes = [](const char* name, Generation gen, int trep, std::size_t index,
                              int size, int count, const QByteArray& records,
                              const char* plate = usualPlate) {
            Block blocks[] = {gen2Arrays(gen, 1), gen2Arrays(gen, 2, recordAt(gen, 100))};
            Array& array = blocks[trep - 1][index];
            array = {array.type, size, count, records};
            row(name, bytesOf(gen, 1, blocks[0]) + bytesOf(gen, 2, blocks[1]) + '?', "",
                first(array.type == 0x0D ? 0 : 1), plate);
        };
        const Generation v1 = Generation::Gen2V1;
        const Generation v2 = Generation::Gen2V2;
        const QByteArray plates = "\1ABCDEFGHIJKLM\1NOPQRSTUVWXYZ";
        sizes("v1, two plates", v1, 1, 3, 14, 2, plates, "ABCDEFGHIJKLM");
        sizes("v2, two plates", v2, 1, 3, 15, 2, '\xFF' + plates + '\7', "ABCDEFGHIJKLM");
        sizes("v1, no card records", v1, 2, 2, 131, 0, "");
        sizes("v2, no card records", v2, 2, 2, 131, 0, "");
        // Nothing else depends on a size that a later version may change.
        sizes("v1, empty array of positions", v1, 2, 5, 77, 0, "");
        sizes("v2, empty border crossings", v2, 2, 7, 0, 65535, "");
        sizes("v2, long signature", v2, 2, 9, 400, 2, filler(800));
    }
    void gen2Sizes() { readFile(); }

    void fields_data() {
        columns();
        const auto field = [](const char* text, unsigned char codePage = 1) {
            return samples::textField(text, 36, codePage);
        };
        const auto fields = [&](const QByteArray& name, const char* values,
                                const QByteArray& surname, const QByteArray& firstNames,
                                const char* activity) {
            for (const Generation gen : generations) {
                const QByteArray record =
                    rawRecord(gen, QByteArray::fromHex(values), surname, firstNames);
                // The second record shows that the first one's size is right.
                row(name + ' ' + QByteArray::number(int(gen)),
                    fileOf(gen, {record + recordAt(gen, 100)}), "",
                    QStringList(QString::fromUtf8(activity)) + first(1));
            }
        };
        const auto values = [&](const char* bytes, const char* activity) {
            fields(bytes, bytes, field("S"), field("F"), activity);
        };
        values("11223344 010203 05 21222324 313233", "F, S|287454020|66051|5|555885348|3224115");
        values("00000000 000000 00 00000000 000000", "F, S|0|0|0|0|0");
        values("FFFFFFFF FFFFFF FF FFFFFFFF FFFFFF",
               "F, S|4294967295|4294967295|255|4294967295|4294967295");
        values("00000001 FFFFFE 01 00000002 00FFFF", "F, S|1|16777214|1|2|65535");
        const auto names = [&](const QByteArray& surname, const QByteArray& firstNames,
                               const QByteArray& holder) {
            fields(holder, "00000007 000000 00 00000000 000000", surname, firstNames,
                   (holder + "|7|0|0|0|0").constData());
        };
        names(field("Curie"), field("Marie"), "Marie, Curie");
        names(field(""), field("Marie"), "Marie, ");
        names(QByteArray(36, '\0'), QByteArray(36, '\xFF'), ", ");
        names("\1abcdefghijklmnopqrstuvwxyz123456789", "\1ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789",
              "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789, abcdefghijklmnopqrstuvwxyz123456789");
        names(field("\t de la Cruz \r\n"), field("  Ana  Maria "), "Ana  Maria, de la Cruz");
        names(field("M\xFCller"), field("\xA3ukasz", 2), "Łukasz, Müller");
        names(field("\xC1\xE2\xE3", 7), field("\xE4\xA4\xCE", 85), "Дєн, Αβγ");
        const auto plates = [](const QByteArray& bytes, const char* plate) {
            for (const Generation gen : generations)
                row(plate + QByteArray::number(int(gen)), fileOf(gen, {}, bytes), "", {}, plate);
        };
        plates("\1ABCDEFGHIJKLM", "ABCDEFGHIJKLM");
        plates("\1     AB 123  ", "AB 123");
        plates("\1             ", "");
        plates("\7\xC9\xC1\xC2-1234     ", "ΙΑΒ-1234");
    }
    void fields() { readFile(); }

    // Days are parted by "|"; a day is a list of insertion times. A result is "time|ordinal" for
    // each record that is taken, where the file's first record has the ordinal 1. The first
    // generation remembers the last time from day to day.
    void repeats_data() {
        columns();
        const auto days = [](const QByteArray& times, const QByteArray& taken,
                             const QByteArray& takenByGen1 = {}) {
            for (const Generation gen : generations) {
                QVector<QByteArray> records;
                quint32 ordinal = 0;
                for (const QByteArray& day : times.split('|')) {
                    records << QByteArray();
                    for (const QByteArray& time : day.simplified().split(' '))
                        if (!time.isEmpty())
                            records.last() += recordAt(gen, time.toUInt(), ++ordinal);
                }
                const bool other = gen == Generation::Gen1 && !takenByGen1.isEmpty();
                QStringList list;
                for (const QByteArray& one : (other ? takenByGen1 : taken).split(' '))
                    list << QStringLiteral("F, S|%1|0|0|0").arg(QString::fromLatin1(one));
                row(times + QByteArray::number(int(gen)), fileOf(gen, records), "", list);
            }
        };
        days("10 10 20", "10|1 20|3");
        days("10 20 10", "10|1 20|2 10|3");
        days("10 10 10", "10|1");
        days("20 10 10 15", "20|1 10|2 15|4");
        days("10|10", "10|1 10|2", "10|1");
        days("10 20|20 30", "10|1 20|2 20|3 30|4", "10|1 20|2 30|4");
        days("10 20|10 20", "10|1 20|2 10|3 20|4");
        days("10||10", "10|1 10|2", "10|1");
        // These look like a time that was never set: 1970 in UTC and in New York.
        days("0 0|0 0", "0|1 0|3", "0|1");
        days("18000 18000", "18000|1");
        days("4294967295 4294967295 0", "4294967295|1 0|3");
        // The clock shows the same hour twice, in Berlin and in New York.
        days("1635640200 1635643800", "1635640200|1 1635643800|2");
        days("1636263000 1636266600", "1636263000|1 1636266600|2");
    }
    void repeats() { readFile(); }

    // The last second of winter and the first of summer in Berlin.
    void debugLines() {
        for (const auto& [zone, insertion, withdrawal] :
             {std::tuple("UTC", "2024-03-31 00:59:59.000 UTC", "2024-03-31 01:00:00.000 UTC"),
              {"Europe/Berlin", "2024-03-31 01:59:59.000 CET", "2024-03-31 03:00:00.000 CEST"},
              {"America/New_York", "2024-03-30 20:59:59.000 EDT", "2024-03-30 21:00:00.000 EDT"}}) {
            setTimeZone(zone);
            const QString expected =
                QStringLiteral("VehicleInfo: Vehicle Ident:  \"AB 123 CD\"\n"
                               "VehicleInfo: Activity: \n"
                               "  Holder Name:   \"F, S\" @ Slot:  255\n"
                               "  Insertion:     QDateTime(%1 Qt::LocalTime) @:  66051\n"
                               "  Withdrawel:    QDateTime(%2 Qt::LocalTime) @:  -1\n"
                               "VehicleInfo: Activity: \n"
                               "  Holder Name:   \"F, S\" @ Slot:  0\n"
                               "  Insertion:     QDateTime(%2 Qt::LocalTime) @:  -1\n"
                               "  Withdrawel:    QDateTime(%1 Qt::LocalTime) @:  16777214")
                    .arg(QLatin1String(insertion), QLatin1String(withdrawal));
            for (const Generation gen : generations) {
                const QByteArray record =
                    rawRecord(gen, QByteArray::fromHex("6608B58F 010203 FF 6608B590 FFFFFF"));
                const QByteArray next =
                    rawRecord(gen, QByteArray::fromHex("6608B590 FFFFFF 00 6608B58F FFFFFE"));
                // A repeat is not worth a line.
                const auto info = load(fileOf(gen, {record + record + next}));
                DebugLines lines;
                QCOMPARE(failure(info->read()), QString());
                QCOMPARE(lines.lines().join(QLatin1Char('\n')), expected);
                lines.lines().clear();
                QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
                QCOMPARE(failure(info->read()), QString());
                QCOMPARE(lines.lines(), QStringList());
                QCOMPARE(activities(*info).size(), 4);
            }
        }
    }
};

QTEST_APPLESS_MAIN(VehicleInfoTest)

#include "tst_vehicleinfo.moc"
