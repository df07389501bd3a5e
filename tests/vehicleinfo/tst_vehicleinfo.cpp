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

// Not a table of member pointers: GCC's undefined-behaviour sanitizer takes the wrong one out of
// it.
aux::Error parse(VehicleInfo& info, int parser) {
    switch (parser) {
    case 0:
        return info.read();
    case 1:
        return info.readGen1();
    case 2:
        return info.readGen2_1();
    default:
        return info.readGen2_2();
    }
}

const char usualPlate[] = "AB 123 CD";

// The files' first insertions.
QStringList first(int count) {
    return QStringList({QStringLiteral("F, S|100|0|0|0|0"), QStringLiteral("F, S|300|0|0|0|0")})
        .mid(0, count);
}

// The one shape of the tables of files; `lines` are the debug lines but for the activities' own.
void fileColumns() {
    columns<QByteArray, QString, QStringList, QString, int, int>("bytes", "error", "activities",
                                                                 "plate", "lines", "parser");
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
    QTEST(failure(parse(*info, parser)), "error");
    QTEST(info->getPlateString(), "plate");
    QTEST(activities(*info), "activities");
    QCOMPARE(debugLines.lines().size(), lines + 4 * activities(*info).size());
}

// Rows for what goes wrong with one array of the second generation: `step` is "header", "records"
// or "size".
void spoil(const QByteArray& name, Generation gen, bool inDay, unsigned char type,
           const QByteArray& step, const QByteArray& error) {
    Block blocks[] = {gen2Arrays(gen, 1), gen2Arrays(gen, 2, recordAt(gen, 100))};
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
    const int lines = (inDay ? 2 : 1) + (step == "header" ? 1 : 0);
    const auto with = [&](const Array& bad) {
        *array = bad;
        row(name + " spoilt " + QByteArray::number(bad.recordSize),
            bytesOf(gen, 1, blocks[0]) + bytesOf(gen, 2, blocks[1]) + '?', error, taken, plate,
            lines);
    };
    // Only card records may be the last bytes of a file.
    const auto endAt = [&](Block::iterator end) {
        row(name + " cut",
            (inDay ? bytesOf(gen, 1, blocks[0]) : "") +
                bytesOf(gen, inDay ? 2 : 1, Block(block.begin(), end)),
            error, taken, plate, inDay ? 2 : 1);
    };
    if (step == "header" && type == 0x01)
        endAt(array);
    else if (step == (isPlate ? "size" : "records") && type != 0x0D)
        endAt(array + 1);
    if (step == "header") {
        with({static_cast<unsigned char>(type ^ 0x80), good.recordSize, good.count, good.records});
    } else if (step == "records") {
        with({type, good.recordSize, 0xFFFF, good.records});
    } else {
        for (const int size :
             {0, good.recordSize - 1, good.recordSize + 1, good.recordSize + 0x100})
            with({type, size, 1, filler(size)});
        if (isPlate)
            with({type, good.recordSize, 0, ""});
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
        const auto state = columns<QByteArray>("state");
        for (const char* const name : {"never opened", "missing", "vanished", "empty"})
            state(name, name);
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
        for (const int parser : {0, 1, 2, 3})
            QVERIFY(failure(parse(info, parser))
                        .endsWith(QLatin1String("() file not mmapped, or not large enough")));
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
        fileColumns();
        for (const QStringList& line : dataRows(QStringLiteral("parsers.txt"))) {
            for (const QString& tag : line[2].split(QLatin1Char(' '))) {
                const QByteArray begin =
                    QByteArray::fromHex(tag.toLatin1()) + QByteArray(406, '\0') + "\1PLATE";
                row((line[0] + line[1] + tag).toLatin1(),
                    begin.leftJustified(line[1].toInt(), '\0', true), line[3].toLatin1(), {},
                    line.size() > 4 ? "PLATE" : "", 1, line[0].toInt());
            }
        }
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
        const auto read = [](unsigned int position, const QByteArray& header) {
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
        for (const QStringList& line : dataRows(QStringLiteral("headers.txt")))
            QCOMPARE(read(line[0].toUInt(), line[1].toLatin1()).trimmed(), line[2]);
    }

    void skipsRecords() {
        for (const QStringList& line : dataRows(QStringLiteral("skips.txt"))) {
            const auto info = load(filler(line[0].toInt()));
            unsigned int position = line[1].toUInt();
            const bool good =
                info->skipRecordData(position, line[2].toUShort(), line[3].toUShort());
            QCOMPARE(QStringLiteral("%1 %2").arg(good).arg(position), line[4]);
        }
    }

    void gen1_data() {
        fileColumns();
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
        behind("half a signature, like a day", day.chopped(128) + "\x76\x02--------", 1);
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
        for (const QStringList& cut : dataRows(QStringLiteral("gen1cuts.txt")))
            row(cut[0].toLatin1(), bytes.left(cut[0].toInt()), cut.value(2).toLatin1(),
                first(cut[1].toInt()));
    }
    void gen1() { readFile(); }

    void gen2Messages_data() {
        fileColumns();
        for (const QStringList& line : dataRows(QStringLiteral("messages.txt"))) {
            const QByteArrayList words = line[0].toLatin1().split(' ');
            spoil(line[0].toLatin1(),
                  words[0].startsWith('2') ? Generation::Gen2V1 : Generation::Gen2V2,
                  words[0].endsWith('2'), static_cast<unsigned char>(words[1].toInt(nullptr, 16)),
                  words[2], line[1].toLatin1());
        }
    }
    void gen2Messages() { readFile(); }

    void gen2_data() {
        fileColumns();
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
                const char* const notFound = days > 0 ? ""
                                             : v2     ? "VehicleInfo readGen2_2() TREP31 not found"
                                                      : "VehicleInfo readGen2_1() TREP21 not found";
                ends("one byte", "v", notFound);
                ends("a tag alone", tag, notFound);
                ends("three bytes", "???");
                ends("the other version's day", (v2 ? "\x76\x22" : "\x76\x32") + day(100).mid(2));
                ends("half a tag", "\x77" + tag.mid(1) + '?');
                ends("other half of a tag", "\x76\x02?");
                ends("another overview", overview);
            }
        }
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
    void gen2() { readFile(); }

    void fields_data() {
        fileColumns();
        const auto bytes = [](const QString& text, int size) {
            return QByteArray::fromPercentEncoding(text.toUtf8()).leftJustified(size, ' ');
        };
        for (const QStringList& line : dataRows(QStringLiteral("fields.txt"))) {
            for (const Generation gen : generations) {
                const QByteArray name = line.last().toUtf8() + QByteArray::number(int(gen));
                if (line.size() == 2) {
                    row(name, fileOf(gen, {}, bytes(line[0], 14)), "", {},
                        line[1].toUtf8().constData());
                    continue;
                }
                // The second record shows that the first one's size is right.
                row(name,
                    fileOf(gen, {rawRecord(gen, QByteArray::fromHex(line[0].toLatin1()),
                                           bytes(line[1], 36), bytes(line[2], 36)) +
                                 recordAt(gen, 100)}),
                    "", QStringList(line[3]) + first(1));
            }
        }
    }
    void fields() { readFile(); }

    void repeats_data() {
        fileColumns();
        for (const QStringList& line : dataRows(QStringLiteral("repeats.txt"))) {
            for (const Generation gen : generations) {
                QVector<QByteArray> records;
                quint32 ordinal = 0;
                for (const QString& day : line[0].split(QLatin1Char('|'))) {
                    records << QByteArray();
                    for (const QString& time : day.split(QLatin1Char(' '), Qt::SkipEmptyParts))
                        records.last() += recordAt(gen, time.toUInt(), ++ordinal);
                }
                const bool other = gen == Generation::Gen1 && line.size() > 2;
                QStringList taken = line[other ? 2 : 1].split(QLatin1Char(' '));
                for (QString& one : taken)
                    one = QStringLiteral("F, S|%1|0|0|0").arg(one);
                row(line[0].toLatin1() + QByteArray::number(int(gen)), fileOf(gen, records), "",
                    taken);
            }
        }
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
