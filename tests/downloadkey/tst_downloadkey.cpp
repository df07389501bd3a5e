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

using downloadkey::DownloadKey;
using samples::Generation;

namespace {

using Files = QMap<QString, QByteArray>; // contents by name

// Newest first, which is the order of the lists.
const QString card1 = "download/card1_2403160900.C1B";
const QString card2 = "download/card2_2403150830.C1B";
const QString unit1 = "download/unit1_2403140700.V1B";
const QString unit2 = "download/unit2_2403130600.V1B";

const QByteArray noDownload(999, 'x');
const Files usualFiles = {
    {card1, smallCard("card1")}, {card2, smallCard("card2")}, {unit1, smallVehicleUnit("unit1")}};

// What is heard when they are read.
const QString whole =
    "0% 16% 33% 50% card1 66% card2 83% unit1 100% remount done(card1,card2|unit1)";

void writeFiles(const TestKey& key, const Files& files) {
    for (auto file = files.begin(); file != files.end(); ++file)
        key.write(file.key(), file.value());
}

// A host with the usual files on a key, and another key with one card.
struct Scene {
    Scene() {
        writeFiles(key, usualFiles);
        other.write(card1, smallCard("other"));
    }
    TestKey key;
    TestKey other;
    RecordingHost host;
};
using Action = std::function<void(Scene&)>;

} // namespace

Q_DECLARE_METATYPE(Action)

namespace {

void closeKey(Scene& scene) {
    scene.host.library.close();
}
void addFileAndOpen(Scene& scene) {
    scene.key.write(unit2, smallVehicleUnit("unit2"));
    scene.host.open(scene.key);
}
Action removed(const QString& file) {
    return [file](Scene& scene) { scene.key.remove(file); };
}
Action replacedByADirectory(const QString& file) {
    return [file](Scene& scene) {
        scene.key.remove(file);
        scene.key.makeDir(file);
    };
}
Action replacedByBytes(const QString& file, int count) {
    return [file, count](Scene& scene) { scene.key.write(file, QByteArray(count, 'x')); };
}

// `action` comes after open() at "opened", or else when the host hears the event.
QString readWith(const QString& event, const Action& action) {
    Scene scene;
    scene.host.open(scene.key);
    if (event == "opened")
        action(scene);
    else
        scene.host.when(event, [&] { action(scene); });
    return scene.host.read();
}

void queueAtEachProgress(RecordingHost& host) {
    const auto hear = [&host] { host.hear("queued"); };
    QObject::connect(&host.library, &DownloadKey::progress, &host.library, [&host, hear] {
        QMetaObject::invokeMethod(&host.library, hear, Qt::QueuedConnection);
    });
}

const char noDownloadDir[] =
    "libdownloadkey|open: Download directory does not exist: %1/download|0";

} // namespace

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
        {
            const DebugLines collector;
            QCOMPARE(host.open(key), QString());
            QCOMPARE(collector.lines, lines);
        }
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
        key.makeLink("download/link_2403150830.C1B", key.path(card1));
        key.makeLink("download/dead_2403150830.C1B", "nowhere");
        key.makePipe(unit1);
        RecordingHost host;
        QCOMPARE(host.openAndRead(key), QString("0% 50% card1 100% remount done(card1|)"));
    }

    void findsTheDownloadDirectory_data() {
        tableRows<QString, QString>("downloaddirs.txt", "files", "offered");
    }
    void findsTheDownloadDirectory() {
        QFETCH(QString, files);
        QFETCH(QString, offered);
        const TestKey key{QString()};
        for (const QString& file : files.split(' '))
            key.write(file, "12345");
        RecordingHost host;
        QCOMPARE(host.open(key),
                 offered.isEmpty() ? QString(noDownloadDir).arg(key.mountPath()) : QString());
        host.read();
        QCOMPARE(host.offeredPaths.value(0), offered.isEmpty() ? QString() : key.path(offered));
    }

    void createsTheDownloadedDirectory_data() {
        const auto row = columns<QVariant, QVariant, bool>("disabled", "enabled", "isCreated");
        row("neither is set", {}, {}, false);
        row("enabled", {}, true, true);
        row("not disabled", false, {}, false);
        row("not disabled, enabled", false, true, true);
        row("disabled and enabled", true, true, false);
        row("texts", "false", "true", true);
    }
    void createsTheDownloadedDirectory() {
        QFETCH(QVariant, disabled);
        QFETCH(QVariant, enabled);
        QFETCH(bool, isCreated);
        const TestKey key;
        RecordingHost host;
        host.configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, disabled);
        host.configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, enabled);
        for (int i = 0; i < 2; ++i) { // the second open() finds what the first one created
            QCOMPARE(host.open(key), QString());
            QCOMPARE(QFileInfo(key.path("downloaded")).isDir(), isCreated);
            QCOMPARE(host.library.getDownloadedDir(),
                     isCreated ? key.path("downloaded") : QDir::currentPath());
            QCOMPARE(host.logged, QStringList());
        }
    }

    // The key is opened all the same. What the host does when it hears of it is done before the
    // files are listed.
    void logsThatTheDownloadedDirectoryCannotBeCreated() {
        const TestKey key;
        key.write("downloaded", "a file");
        RecordingHost host;
        host.configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, true);
        host.when("log", [&] { key.write(card1, smallCard("card1")); });
        const QString text =
            "Could not create directory path on USB Stick: " + key.path("downloaded");
        {
            const DebugLines lines;
            QCOMPARE(host.open(key), QString());
            QCOMPARE(lines.lines, QStringList({"Downloadkey open",
                                               "open libdownloadkey: " + text + " (10304)"}));
        }
        QCOMPARE(host.logged, QStringList("2|libdownloadkey|" + text + "|10304"));
        QCOMPARE(host.library.getDownloadedDir(), key.path("downloaded"));
        QCOMPARE(host.read(), QString("0% 50% card1 100% remount done(card1|)"));
    }

    void doesNotCreateTheDownloadedDirectoryBelowARelativePath() {
        const TestKey key;
        const QString before = QDir::currentPath();
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });
        QVERIFY(QDir::setCurrent(key.path("..")));
        RecordingHost host;
        host.configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, true);
        QCOMPARE(host.open(QFileInfo(key.mountPath()).fileName()), QString());
        QCOMPARE(host.logged.size(), 1);
        QCOMPARE(QDir(key.mountPath()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList("download"));
    }

    void keepsTheLastDownloadedDirThatItCreated() {
        Scene scene;
        scene.host.configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, true);
        QCOMPARE(scene.host.open(scene.key), QString());
        scene.host.configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, true);
        QCOMPARE(scene.host.open(scene.other), QString());
        QCOMPARE(scene.host.library.getDownloadedDir(), scene.key.path("downloaded"));
    }

    void hasNoDownloadedDirWithoutAKey() {
        Scene scene;
        QCOMPARE(scene.host.library.getDownloadedDir(), QString());
        QCOMPARE(scene.host.open(scene.key), QString());
        scene.key.remove("download");
        QCOMPARE(scene.host.library.getDownloadedDir(), QString());
        scene.key.makeDir("download");
        QCOMPARE(scene.host.library.getDownloadedDir(), QDir::currentPath());
        scene.host.library.close();
        QCOMPARE(scene.host.library.getDownloadedDir(), QString());
    }

    void readsEachFile_data() {
        const auto row = columns<Files, QString>("files", "heard");
        row("none", {}, "0% remount done(|)");
        row("cards, then vehicle units, then all are offered", usualFiles, whole);
        row("second generation",
            {{card1, smallCard("card1", 1, 2)},
             {unit1, smallVehicleUnit("unit1", Generation::Gen2V1)},
             {unit2, smallVehicleUnit("unit2", Generation::Gen2V2)}},
            "0% 16% 33% 50% card1 66% unit1 83% unit2 100% remount done(card1|unit1,unit2)");
        // A card is offered whatever its size, a vehicle unit is not.
        row("card of 5 bytes", {{card1, "12345"}}, "0% card1 100% remount failed");
        row("vehicle unit of 5 bytes", {{unit1, "12345"}}, "0% unit1 100% remount failed");
        row("not vehicle units", {{unit1, noDownload}, {unit2, smallVehicleUnit("unit2")}},
            "0% 50% unit1 75% unit2 100% remount failed");
    }
    void readsEachFile() {
        QFETCH(Files, files);
        const TestKey key;
        writeFiles(key, files);
        RecordingHost host;
        QTEST(host.openAndRead(key), "heard");
    }

    void letsTheHostActDuringARead_data() {
        const Action openNoKey = [](Scene& scene) { scene.host.open("nowhere"); };
        const Action readAgain = [](Scene& scene) { scene.host.library.read(); };
        const auto row = columns<QString, Action, QString>("event", "action", "heard");
        // The file at hand is finished.
        row("close", "opened", closeKey, "0% remount done(|)");
        row("close at the start", "0%", closeKey, "0% remount done(|)");
        row("close after a card", "16%", closeKey, "0% 16% remount done(card1|)");
        row("close when all are parsed", "50%", closeKey,
            "0% 16% 33% 50% remount done(card1,card2|unit1)");
        row("close at an offer", "card1", closeKey,
            "0% 16% 33% 50% card1 66% remount done(card1,card2|unit1)");
        row("close at the remount", "remount", closeKey, whole);
        // The lists are those of the start.
        row("open with another file", "16%", addFileAndOpen, whole);
        row("open what is not a key", "16%", openNoKey, whole);
        row("read", "33%", readAgain,
            "0% 16% 33% 0% 16% 33% 50% card1 66% card2 83% unit1 100% remount "
            "done(card1,card2|unit1) 50% card1 66% card2 83% unit1 100% remount "
            "done(card1,card2|unit1)");
    }
    void letsTheHostActDuringARead() {
        QFETCH(QString, event);
        QFETCH(Action, action);
        QTEST(readWith(event, action), "heard");
    }

    // "opened" is after open() and before read().
    void readsTheRestOfAKeyThatIsPulledOrChanged_data() {
        const auto row = columns<QString, Action, QString>("event", "action", "heard");
        row("the key is pulled", "opened", removed("download"),
            "libdownloadkey|No DownloadKey mounted|0");
        row("a card is removed", "opened", removed(card1),
            "0% 33% 50% card2 83% unit1 100% remount failed");
        // A card is offered whatever its size, a vehicle unit is not.
        row("a card shrinks to 3 bytes", "opened", replacedByBytes(card1, 3),
            "0% 33% 50% card1 66% card2 83% unit1 100% remount failed");
        row("a vehicle unit shrinks to 3 bytes", "opened", replacedByBytes(unit1, 3),
            "0% 16% 33% card1 66% card2 83% remount failed");
        row("the key is pulled after a card", "16%", removed("download"), "0% 16% remount failed");
        row("a parsed card is removed", "50%", removed(card1),
            "0% 16% 33% 50% card2 83% unit1 100% remount failed");
        row("a parsed card becomes a directory", "50%", replacedByADirectory(card2),
            "0% 16% 33% 50% card1 66% unit1 100% remount failed");
        row("a parsed card becomes empty", "50%", replacedByBytes(card2, 0), whole);
        row("a parsed vehicle unit shrinks to 4 bytes", "card1", replacedByBytes(unit1, 4),
            "0% 16% 33% 50% card1 66% card2 83% remount failed");
        row("a parsed vehicle unit shrinks to 5 bytes", "card1", replacedByBytes(unit1, 5), whole);
    }
    void readsTheRestOfAKeyThatIsPulledOrChanged() { letsTheHostActDuringARead(); }

    void continuesWithAKeyThatIsOpenedMeanwhile() {
        Scene scene;
        scene.host.when("33%", [&] { scene.host.open(scene.other); });
        QCOMPARE(scene.host.openAndRead(scene.key), QString("0% 16% 33% card1 66% remount failed"));
        QCOMPARE(scene.host.offeredPaths, QStringList(scene.other.path(card1)));
        QCOMPARE(scene.host.remounted, QStringList(scene.other.mountPath()));
    }

    void keepsTheKeyOpenIfTheNextCannotBeOpened() {
        Scene scene;
        QCOMPARE(scene.host.open(scene.other), QString());
        const QString noKey = scene.key.path("download");
        QCOMPARE(scene.host.open(noKey), QString(noDownloadDir).arg(noKey));
        QCOMPARE(scene.host.read(), QString("0% 50% card1 100% remount done(other|)"));
        QCOMPARE(scene.host.remounted, QStringList(noKey));
    }

    void readWithoutAKeyFindsNothing() {
        RecordingHost host;
        QCOMPARE(host.read(), QString("0% remount done(|)"));
        QCOMPARE(host.remounted, QStringList("."));
    }

    void readsOneKeyAfterAnother() {
        Scene scene;
        const QString first = scene.host.openAndRead(scene.key);
        QCOMPARE(scene.host.read(), first);
        QCOMPARE(scene.host.openAndRead(scene.other),
                 QString("0% 50% card1 100% remount done(other|)"));
        QCOMPARE(scene.host.openAndRead(scene.key), first);
    }

    // "queued" is what the host had queued at the signal before.
    void runsTheEventLoopBeforeEachFile() {
        Scene scene;
        queueAtEachProgress(scene.host);
        QCOMPARE(scene.host.openAndRead(scene.key),
                 QString("0% queued 16% queued 33% queued 50% queued card1 66% queued card2 83% "
                         "queued unit1 100% remount done(card1,card2|unit1)"));
    }

    void finishesItsFileIfTheEventLoopClosesTheKey() {
        Scene scene;
        queueAtEachProgress(scene.host);
        scene.host.when("queued", [&] { closeKey(scene); });
        QCOMPARE(scene.host.openAndRead(scene.key), QString("0% queued 16% remount done(card1|)"));
    }

    void saysWhyACardIsNotRead_data() {
        const auto row = columns<QByteArray, QString, QStringList>("card", "heard", "lines");
        const QString load = "read(): Load to RAM: \"card1_2403160900.C1B\"";
        const QString failed = "0% 50% card1 75% unit1 100% remount failed";
        row("too small", "1234", failed, {});
        row("driver card", smallCard("card1"),
            "0% 25% 50% card1 75% unit1 100% remount done(card1|unit1)", {load});
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
        writeFiles(key, {{card1, card}, {unit1, smallVehicleUnit("unit1")}});
        RecordingHost host;
        QCOMPARE(host.open(key), QString());
        const DebugLines collector;
        QTEST(host.read(), "heard");
        lines << "read(): Load to RAM: \"unit1_2403140700.V1B\"";
        QCOMPARE(collector.lines.filter(QRegularExpression("^(?!VehicleInfo: |  )")), lines);
        collector.lines.clear();
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
        host.read();
        QCOMPARE(collector.lines, QStringList());
    }

    // Paths below the mount directory as it was given, relative here; local times, objects that
    // outlive the key, and no file of the key open while the host has its turn.
    void handsOverWhatItRead() {
        const QString mount = "./my k\u00e9y";
        const TestKey key{QString()};
        key.write("my k\u00e9y/" + card1, smallCard("card1", 1, 2));
        key.write("my k\u00e9y/" + unit1, smallVehicleUnit("unit1"));
        const QString before = QDir::currentPath();
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });
        QVERIFY(QDir::setCurrent(key.mountPath()));

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
        const std::type_info* const other = &typeid(scard::SCardGeneric);
        const std::type_info* const expected[4][2] = {
            {&typeid(scard::SCardDriverG1), &typeid(scard::SCardDriverG2)},
            {&typeid(scard::SCardWorkshopG1), &typeid(scard::SCardWorkshopG2)},
            {other, other}, // control card
            {&typeid(scard::SCardCompanyG1), &typeid(scard::SCardCompanyG2)}};
        for (const int type : {1, 2, 3, 4}) {
            for (const int generation : {1, 2}) {
                MemoryFile file(smallCard("card1", static_cast<unsigned char>(type), generation));
                scard::SCardGeneric generic(file, QDateTime(), scard::FilenameRegion::Unknown);
                QVERIFY(generic.readCardInfo().isEmpty());
                const auto specific = RecordingHost().library.generateSpecific(generic);
                const scard::SCardGeneric& object = *specific;
                QVERIFY(&object != &generic);
                QCOMPARE(typeid(object).name(), expected[type - 1][generation - 1]->name());
                QVERIFY(specific->calcDataSize().isEmpty() && specific->readData().isEmpty());
                QCOMPARE(specific->cardNumber(), QString("card1"));
            }
        }
    }
};

QTEST_GUILESS_MAIN(DownloadKeyTest)
#include "tst_downloadkey.moc"
