// A key from open() to readDone(): what is listed and in what order, what the host hears and when,
// and that neither a damaged key nor a host that acts in the middle of a read upsets it.
#include "downloadkey/downloadkey.h"
#include "samples/memoryfile.h"
#include "tests/support/datatable.h"
#include "tests/support/debuglines.h"
#include "tests/support/recordinghost.h"
#include "tests/support/samplefiles.h"

#include "scard/scardcards.h"

#include <QtTest/QtTest>

#include <typeinfo>

#include <sys/stat.h>

using downloadkey::DownloadKey;
using samples::Generation;

namespace {

// Newest first, which is the order of the lists.
const QString card1 = "download/card1_2403160900.C1B";
const QString card2 = "download/card2_2403150830.C1B";
const QString unit1 = "download/unit1_2403140700.V1B";
const QString unit2 = "download/unit2_2403130600.V1B";

const QByteArray noDownload(999, 'x');

// What is heard when the usual files are read.
const QString whole =
    "0% 16% 33% 50% card1 66% card2 83% unit1 100% remount done(card1,card2|unit1)";

// A host with the usual files on a key, and another key with one card.
struct Scene {
    Scene() {
        key.write(card1, smallCard("card1"));
        key.write(card2, smallCard("card2"));
        key.write(unit1, smallVehicleUnit("unit1"));
        other.write(card1, smallCard("other"));
    }
    TestKey key;
    TestKey other;
    RecordingHost host;
};
using Action = std::function<void(Scene&)>;

void closeKey(Scene& scene) {
    scene.host.library.close();
}
Action removed(const QString& file) {
    return [file](Scene& scene) { scene.key.remove(file); };
}
Action emptied(const QString& dir) {
    return [dir](Scene& scene) {
        scene.key.remove(dir);
        scene.key.makeDir(dir);
    };
}
Action written(const QString& file, const QByteArray& contents) {
    return [file, contents](Scene& scene) { scene.key.write(file, contents); };
}

} // namespace

Q_DECLARE_METATYPE(Action)

class DownloadKeyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Debug lines are off, because they slow the tests down; DebugLines turns them on.
    void init() { QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false); }

    // Hosts connect by these names and types.
    void signalsHaveTheirTypesAndParameterNames() {
        const QMetaObject& meta = DownloadKey::staticMetaObject;
        QByteArrayList found;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            found << meta.method(i).methodSignature() + ' ' +
                         meta.method(i).parameterNames().join(' ');
        QCOMPARE(found, (QByteArrayList{
                            "error(aux::Error) err",
                            "readDone(std::vector<std::shared_ptr<scard::SCardGeneric> >,"
                            "std::vector<std::shared_ptr<VehicleInfo> >,bool)"
                            " driverCards vehicleInfos parsingError",
                            "downloadFile(QString,QDateTime) filename downloadTimestamp",
                            "progress(int) relative",
                        }));
    }

    void onlyLogsInitUninitAndClose() {
        RecordingHost host;
        const DebugLines lines;
        QVERIFY(host.library.init().isEmpty());
        QVERIFY(host.library.close().isEmpty());
        QVERIFY(host.library.close().isEmpty());
        QVERIFY(host.library.uninit().isEmpty());
        QCOMPARE(lines.lines, QStringList({"Downloadkey init", "Downloadkey close",
                                           "Downloadkey close", "Downloadkey uninit"}));
        QCOMPARE(host.heard, QStringList());
    }

    void listsNewestFirst_data() {
        tableRows<QString, QString, QString>("lists.txt", "listed", "skipped", "ignored");
    }
    void listsNewestFirst() {
        QFETCH(QString, listed);
        QFETCH(QString, skipped);
        QFETCH(QString, ignored);
        const auto namesOf = [](const QString& text) {
            return text.split(' ', Qt::SkipEmptyParts);
        };
        const TestKey key;
        for (const QString& name : namesOf(listed + ' ' + skipped + ' ' + ignored))
            key.write("download/" + name, "12345");
        RecordingHost host;
        QStringList lines{"Downloadkey open"};
        for (const QString& name : namesOf(skipped))
            lines << QString("DownloadKey::open() skip: \"%1\"").arg(name);
        const DebugLines collector;
        QCOMPARE(host.open(key), QString());
        QCOMPARE(collector.lines, lines);
        // Every listed file of five bytes is offered, although none of them can be parsed.
        host.read();
        QCOMPARE(host.offeredPaths.replaceInStrings(QRegularExpression("^.*/"), ""),
                 namesOf(listed));
    }

    // Moscow's clocks went back from 02:00 to 01:00 at 22:00 UTC, with no summer time before or
    // after. Two such times are in the order in which the clock showed them.
    void ordersByLocalTimeWhenClocksGoBack() {
        const QByteArray zone = qgetenv("TZ");
        const auto restore = qScopeGuard([&zone] { qputenv("TZ", zone); });
        qputenv("TZ", "Europe/Moscow");
        const TestKey key;
        for (const char* name : {"1410252140.C1B", "1410252150.C1B", "1410252210.C1B"})
            key.write(QString("download/") + name, "12345");
        RecordingHost host;
        QCOMPARE(host.openAndRead(key),
                 QString("0% 1410252150.C1B 66% 1410252140.C1B 83% 1410252210.C1B "
                         "100% remount failed"));
    }

    void listsOnlyReadableFiles() {
        const TestKey key;
        key.write(card1, smallCard("card1"));
        key.makeDir(card2);
        QVERIFY(QFile::link(key.path(card1), key.path("download/link_2403150830.C1B")));
        QVERIFY(QFile::link("nowhere", key.path("download/dead_2403150830.C1B")));
        QVERIFY(::mkfifo(qPrintable(key.path(unit1)), 0600) == 0);
        RecordingHost host;
        QCOMPARE(host.openAndRead(key), QString("0% 50% card1 100% remount done(card1|)"));
    }

    void findsTheDownloadDirectory_data() {
        const auto row = columns<QString, QString>("file", "offered");
        row("in capitals", "DOWNLOAD/2403150830.C1B", "DOWNLOAD/2403150830.C1B");
        row("two, of which the first counts", "download/2403150830.C1B DOWNLOAD/2403150830.C1B",
            "download/2403150830.C1B");
        row("a file of that name", "download DOWNLOAD/2403150830.C1B", "DOWNLOAD/2403150830.C1B");
    }
    void findsTheDownloadDirectory() {
        QFETCH(QString, file);
        QFETCH(QString, offered);
        const TestKey key{QString()};
        for (const QString& name : file.split(' '))
            key.write(name, "12345");
        RecordingHost host;
        host.openAndRead(key);
        QCOMPARE(host.offeredPaths, QStringList(key.path(offered)));
    }

    void createsTheDownloadedDirectory_data() {
        const auto row = columns<QVariant, QVariant, bool>("disabled", "enabled", "isCreated");
        row("not enabled", false, {}, false);
        row("enabled", {}, true, true);
        row("disabled and enabled", true, true, false);
        row("texts", "false", "true", true);
    }
    // It is known while a key is open.
    void createsTheDownloadedDirectory() {
        QFETCH(QVariant, disabled);
        QFETCH(QVariant, enabled);
        QFETCH(bool, isCreated);
        Scene scene;
        RecordingHost& host = scene.host;
        host.configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, disabled);
        host.configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, enabled);
        const QString directory = isCreated ? scene.key.path("downloaded") : QDir::currentPath();
        for (int i = 0; i < 2; ++i) { // the second open() finds what the first one created
            QCOMPARE(host.library.getDownloadedDir(), QString());
            QCOMPARE(host.open(scene.key), QString());
            QCOMPARE(QFileInfo(scene.key.path("downloaded")).isDir(), isCreated);
            QCOMPARE(host.library.getDownloadedDir(), directory);
            closeKey(scene);
        }
        QCOMPARE(host.logged, QStringList());

        // The last one that was created is known while another key is open.
        host.configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, true);
        QCOMPARE(host.open(scene.other), QString());
        QCOMPARE(host.library.getDownloadedDir(), directory);
        scene.other.remove("download");
        QCOMPARE(host.library.getDownloadedDir(), QString());
    }

    // First because the path is relative, then because of a file. The key is opened all the same,
    // and what the host does when it hears of it is done before the files are listed.
    void logsThatTheDownloadedDirectoryCannotBeCreated() {
        const TestKey key;
        for (const QString& mount : {QDir().relativeFilePath(key.mountPath()), key.mountPath()}) {
            RecordingHost host;
            host.configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, true);
            host.when("log", [&] { key.write(card1, smallCard("card1")); });
            const QString text =
                "Could not create directory path on USB Stick: " + mount + "/downloaded";
            const DebugLines lines;
            QCOMPARE(host.open(mount), QString());
            QCOMPARE(lines.lines, QStringList({"Downloadkey open",
                                               "open libdownloadkey: " + text + " (10304)"}));
            QCOMPARE(host.logged, QStringList("2|libdownloadkey|" + text + "|10304"));
            QCOMPARE(host.library.getDownloadedDir(), key.path("downloaded"));
            QCOMPARE(host.read(), QString("0% 50% card1 100% remount done(card1|)"));
            QVERIFY(!QFileInfo(key.path("downloaded")).isDir());
            key.write("downloaded", "a file");
        }
    }

    // "put in" is before open(), "opened" is between open() and read(), and the others are what the
    // host hears.
    void readsEachFile_data() {
        const auto row = columns<QString, Action, QString>("event", "action", "heard");
        const auto nothing = [](Scene& /*scene*/) {};
        row("cards, then vehicle units, then all are offered", "put in", nothing, whole);
        row("no files", "put in", emptied("download"), "0% remount done(|)");
        row("second generation", "put in",
            written(unit2, smallVehicleUnit("unit2", Generation::Gen2V2)),
            "0% 12% 25% 37% 50% card1 62% card2 75% unit1 87% unit2 100% remount "
            "done(card1,card2|unit1,unit2)");
        row("not a vehicle unit", "put in", written(unit2, noDownload),
            "0% 12% 25% 37% card1 62% card2 75% unit1 87% unit2 100% remount failed");

        row("the key is pulled", "opened", removed("download"),
            "libdownloadkey|No DownloadKey mounted|0");
        row("the key is pulled after a card", "16%", removed("download"), "0% 16% remount failed");
        // A card is offered whatever its size, a vehicle unit is not.
        row("a vehicle unit shrinks to 3 bytes", "opened", written(unit1, "xxx"),
            "0% 16% 33% card1 66% card2 83% remount failed");
        row("a parsed vehicle unit shrinks to 4 bytes", "card1", written(unit1, "xxxx"),
            "0% 16% 33% 50% card1 66% card2 83% remount failed");
        row("a parsed vehicle unit shrinks to 5 bytes", "card1", written(unit1, "xxxxx"), whole);
        row("a parsed card becomes empty", "50%", written(card2, ""), whole);
        row("a parsed card is removed", "50%", removed(card1),
            "0% 16% 33% 50% card2 83% unit1 100% remount failed");
        row("a parsed card becomes a directory", "50%", emptied(card2),
            "0% 16% 33% 50% card1 66% unit1 100% remount failed");
    }
    void readsEachFile() {
        QFETCH(QString, event);
        QFETCH(Action, action);
        Scene scene;
        if (event == "put in")
            action(scene);
        QCOMPARE(scene.host.open(scene.key), QString());
        if (event == "opened")
            action(scene);
        else if (event != "put in")
            scene.host.when(event, [&] { action(scene); });
        QTEST(scene.host.read(), "heard");
    }

    void letsTheHostActDuringARead_data() {
        const auto row = columns<QString, Action, QString>("event", "action", "heard");
        // The file at hand is finished.
        row("close", "opened", closeKey, "0% remount done(|)");
        row("close after a card", "16%", closeKey, "0% 16% remount done(card1|)");
        row("close at an offer", "card1", closeKey,
            "0% 16% 33% 50% card1 66% remount done(card1,card2|unit1)");
        row("close at the remount", "remount", closeKey, whole);
        // The lists are those of the start.
        row(
            "open with another file", "16%",
            [](Scene& scene) {
                scene.key.write(unit2, smallVehicleUnit("unit2"));
                scene.host.open(scene.key);
            },
            whole);
        row(
            "read", "33%", [](Scene& scene) { scene.host.library.read(); },
            "0% 16% 33% 0% 16% 33% 50% card1 66% card2 83% unit1 100% remount "
            "done(card1,card2|unit1) 50% card1 66% card2 83% unit1 100% remount "
            "done(card1,card2|unit1)");
    }
    void letsTheHostActDuringARead() { readsEachFile(); }

    void continuesWithAKeyThatIsOpenedMeanwhile() {
        Scene scene;
        scene.host.when("33%", [&] { scene.host.open(scene.other); });
        QCOMPARE(scene.host.openAndRead(scene.key), QString("0% 16% 33% card1 66% remount failed"));
        QCOMPARE(scene.host.offeredPaths, QStringList(scene.other.path(card1)));
        QCOMPARE(scene.host.remounted, QStringList(scene.other.mountPath()));
    }

    // The last one stays open if the next cannot be opened.
    void readsOneKeyAfterAnother() {
        Scene scene;
        QCOMPARE(scene.host.openAndRead(scene.key), whole);
        QCOMPARE(scene.host.open(scene.other), QString()); // which has no vehicle unit
        scene.key.makeDir("none/Download");
        const QString noKey = scene.key.path("none");
        const QString text =
            "libdownloadkey|open: Download directory does not exist: %1/download|0";
        QCOMPARE(scene.host.open(noKey), text.arg(noKey));
        QCOMPARE(scene.host.read(), QString("0% 50% card1 100% remount done(other|)"));
        QCOMPARE(scene.host.remounted, QStringList({scene.key.mountPath(), noKey}));
    }

    void findsNothingWithoutAKey() {
        RecordingHost host;
        QCOMPARE(host.read(), QString("0% remount done(|)"));
        QCOMPARE(host.remounted, QStringList("."));
    }

    // "queued" is what the host had queued at the signal before. The file at which it closes the
    // key is finished.
    void runsTheEventLoopBeforeEachFile() {
        Scene scene;
        const auto hear = [&scene] { scene.host.hear("queued"); };
        QObject::connect(&scene.host.library, &DownloadKey::progress, [&scene, hear] {
            QMetaObject::invokeMethod(&scene.host.library, hear, Qt::QueuedConnection);
        });
        QCOMPARE(scene.host.openAndRead(scene.key),
                 QString("0% queued 16% queued 33% queued 50% queued card1 66% queued card2 83% "
                         "queued unit1 100% remount done(card1,card2|unit1)"));
        scene.host.when("queued", [&] { closeKey(scene); });
        QCOMPARE(scene.host.read(), QString("0% queued queued 16% remount done(card1|)"));
    }

    void saysWhyACardIsNotRead_data() {
        const auto row = columns<QByteArray, QString, QStringList>("card", "heard", "lines");
        const QString load = "read(): Load to RAM: \"card1_2403160900.C1B\"";
        const QString failed = "0% 50% card1 75% unit1 100% remount failed";
        row("too small", "1234", failed, {});
        row("workshop card", smallCard("card1", 2),
            "0% 50% card1 75% unit1 100% remount done(|unit1)",
            {load, "File is not a driver card file, skip:  \"card1_2403160900.C1B\""});
        row("not a card", noDownload, failed,
            {load, "read: Failed reading ddd file information:  \"card1_2403160900.C1B\""});
        row("cut", smallCard("card1").chopped(1), failed,
            {load, "read: Failed calc ddd data size:  \"card1_2403160900.C1B\""});
        row("no data", samples::cardBlock(0x0501, 0, "\1"), failed,
            {load, "read: Failed reading ddd data:  \"card1_2403160900.C1B\""});
    }
    void saysWhyACardIsNotRead() {
        QFETCH(QByteArray, card);
        QFETCH(QStringList, lines);
        const TestKey key;
        key.write(card1, card);
        key.write(unit1, smallVehicleUnit("unit1"));
        RecordingHost host;
        QCOMPARE(host.open(key), QString());
        const DebugLines collector;
        QTEST(host.read(), "heard");
        lines << "read(): Load to RAM: \"unit1_2403140700.V1B\"";
        QCOMPARE(collector.lines.filter(QRegularExpression("^(?!VehicleInfo: |  )")), lines);
    }

    // Paths below the mount directory as it was given, relative here; local times, objects that
    // outlive the key, and no file of the key open while the host has its turn.
    void handsOverWhatItRead() {
        const TestKey key{QString()};
        const QString mount = "./" + QDir().relativeFilePath(key.path("my k\u00e9y"));
        key.write("my k\u00e9y/" + card1, smallCard("card1", 1, 2));
        key.write("my k\u00e9y/" + unit1, smallVehicleUnit("unit1"));
        RecordingHost host;
        QStringList openFiles;
        QObject::connect(&host.library, &DownloadKey::progress, &host.library, [&openFiles] {
            for (const auto& descriptor : QDir("/proc/self/fd").entryInfoList(QDir::Files))
                openFiles << descriptor.symLinkTarget();
        });
        QCOMPARE(host.open(mount), QString());
        host.read();
        QCOMPARE(openFiles.filter("/download/"), QStringList());
        QCOMPARE(host.remounted, QStringList(mount));
        QCOMPARE(host.offeredPaths, QStringList({mount + '/' + card1, mount + '/' + unit1}));
        const QDateTime cardTime(QDate(2024, 3, 16), QTime(9, 0), Qt::UTC);
        const QDateTime unitTime(QDate(2024, 3, 14), QTime(7, 0), Qt::UTC);
        QCOMPARE(host.offeredTimes, QList<QDateTime>({cardTime, unitTime}));
        QCOMPARE(host.offeredTimes.at(0).timeSpec(), Qt::LocalTime);

        host.library.close();
        QCOMPARE(host.cards.at(0)->holderName(), QString("Jo Sample"));
        QCOMPARE(host.cards.at(0)->downloadTime(), cardTime);
        QCOMPARE(host.cards.at(0)->downloadTime().timeSpec(), Qt::UTC);
        QCOMPARE(host.cards.at(0)->region(), scard::FilenameRegion::Unknown);
        QCOMPARE(host.cards.at(0).use_count(), 1L);
        QCOMPARE(host.units.at(0)->getDriverActivities().size(), std::size_t(1));
    }

    void parsesTheNewestHundredOfEachKind() {
        const TestKey key;
        QStringList newestFirst;
        for (int i = 0; i < 102; ++i) { // one of each kind a minute
            const QString time = QString::asprintf("240315%02d%02d", i / 60, i % 60);
            const QByteArray number = QByteArray::number(i);
            key.write("download/" + number + '_' + time + ".C1B", smallCard(number));
            key.write("download/" + number + '_' + time + ".V1B", smallVehicleUnit(number));
            newestFirst.prepend(number);
        }
        RecordingHost host;
        const QString heard = host.openAndRead(key);
        const QString hundred = newestFirst.mid(0, 100).join(',');
        QVERIFY(heard.endsWith(" 100% remount done(" + hundred + '|' + hundred + ')'));
        QVERIFY(heard.contains(" 49% 101 49% 100 50% ")); // after 200 to 202 of 404 steps
        QCOMPARE(host.offeredPaths.size(), 204);
    }

    void createsTheObjectForEachCardType() {
        QStringList types;
        for (const int type : {1, 2, 3, 4}) {
            for (const int generation : {1, 2}) {
                MemoryFile file(smallCard("card1", static_cast<unsigned char>(type), generation));
                scard::SCardGeneric generic(file, QDateTime(), scard::FilenameRegion::Unknown);
                QVERIFY(generic.readCardInfo().isEmpty());
                const auto specific = RecordingHost().library.generateSpecific(generic);
                QVERIFY(specific.get() != &generic && specific->getCardType() == type);
                const scard::SCardGeneric& object = *specific;
                types << typeid(object).name();
            }
        }
        QCOMPARE(types, QStringList({"N5scard13SCardDriverG1E", "N5scard13SCardDriverG2E",
                                     "N5scard15SCardWorkshopG1E", "N5scard15SCardWorkshopG2E",
                                     "N5scard12SCardGenericE", "N5scard12SCardGenericE",
                                     "N5scard14SCardCompanyG1E", "N5scard14SCardCompanyG2E"}));
    }
};

QTEST_GUILESS_MAIN(DownloadKeyTest)
#include "tst_downloadkey.moc"
