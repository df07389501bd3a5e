// A key from open() to readDone(): what is listed and in what order, what the host hears and when,
// and that neither a damaged key nor a host that acts in the middle of a read upsets it.
#include "downloadkey/downloadkey.h"
#include "samples/samples.h"
#include "tests/support/debuglines.h"
#include "tests/support/table.h"
#include "tests/support/testkey.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "scard/scardcards.h"

#include <QtTest/QtTest>

#include <functional>
#include <optional>
#include <sys/stat.h>
#include <typeinfo>

using downloadkey::DownloadKey;
using downloadkey::VehicleInfo;

namespace {

QString operator""_s(const char* text, std::size_t size) {
    return QString::fromUtf8(text, static_cast<int>(size));
}

QStringList words(const QString& text) {
    return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QByteArray card(const QByteArray& number, unsigned char type = 1, int generation = 1) {
    samples::Card sample;
    sample.type = type;
    sample.generation = generation;
    sample.cardNumber = number;
    return samples::cardFile(sample);
}

QByteArray vehicleUnit(const QByteArray& plate,
                       samples::Generation generation = samples::Generation::Gen1) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.plate = plate;
    unit.furtherBlocks = false;
    unit.trailer = "x";
    unit.days.resize(1);
    unit.days[0].date = 1710374400; // 2024-03-14
    unit.days[0].cardRecords.resize(1);
    return samples::vehicleUnitFile(unit);
}

// The contents of a file by a word: a kind of card or vehicle unit, a way to fail, or a size.
QByteArray contents(const QString& word, const QByteArray& name) {
    const QByteArray whole = card(name);
    const QHash<QString, QByteArray> known = {
        {"card"_s, whole},
        {"card2"_s, card(name, 1, 2)},
        {"workshop"_s, card(name, 2)},
        {"control"_s, card(name, 3)},
        {"company"_s, card(name, 4, 2)},
        {"cut"_s, whole.left(whole.size() - 1)},           // calcDataSize() fails
        {"nodata"_s, samples::cardBlock(0x0501, 0, "\1")}, // readData() fails
        {"unit"_s, vehicleUnit(name)},
        {"unit21"_s, vehicleUnit(name, samples::Generation::Gen2V1)},
        {"unit22"_s, vehicleUnit(name, samples::Generation::Gen2V2)},
    };
    return known.value(word, QByteArray(word.toInt(), 'x'));
}

// Four files by their first letters. Newest first, which is the order of the lists.
QString fileOf(const QString& letter) {
    const QStringList names =
        words("A_2403160900.C1B B_2403150830.C1B V_2403140700.V1B W_2403130600.V1B"_s);
    const QString name = names.filter(letter + "_"_s).value(0);
    return name.isEmpty() ? letter : "download/"_s + name;
}

// A DownloadKey with a key to read, another key to change to, and the story of all that the host
// hears, in its order: "16%" is progress, a file is what stands before the '_' of its name, the
// objects of "done" are told by their card number or plate, and "FAILED" is the result of a read.
struct Host {
    Host() {
        const auto connect = [this](auto signal, auto slot) {
            QObject::connect(&library, signal, &library, slot);
        };
        connect(&DownloadKey::error, [this](const auto& err) { hear("error:"_s + textOf(err)); });
        connect(&DownloadKey::progress, [this](int i) { hear(QString::number(i) + "%"_s); });
        connect(&DownloadKey::downloadFile, [this](const QString& path, const QDateTime& time) {
            times << time;
            paths << path;
            hear(shortened(path).section(QLatin1Char('_'), 0, 0).remove("KEY/download/"_s));
        });
        connect(&DownloadKey::readDone, [this](auto parsedCards, auto parsedUnits, bool error) {
            cards = parsedCards;
            vehicles = parsedUnits;
            hear(error ? "parsing error"_s : done());
        });
        aux::SystemHelper::setRemountHandler([this](const QString& path) {
            hear(path == key.mountPath() ? "remount"_s : "remount:"_s + shortened(path));
            return false;
        });
        logging::Logger::setSink([this](const aux::Error& error, logging::Level level) {
            hear("log:%1:"_s.arg(static_cast<int>(level)) + shortened(textOf(error)));
        });
    }
    ~Host() {
        aux::SystemHelper::setRemountHandler(nullptr);
        logging::Logger::setSink(nullptr);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void hear(const QString& event) {
        heard << event;
        if (!deeds.isEmpty() && event == trigger)
            act(std::exchange(deeds, QString()));
    }
    QString shortened(QString text) const {
        return text.replace(key.mountPath(), "KEY"_s).replace(other.mountPath(), "OTHER"_s);
    }
    QString done() const {
        QStringList numbers, plates;
        for (const auto& parsed : cards)
            numbers << parsed->cardNumber();
        for (const auto& parsed : vehicles)
            plates << parsed->getPlateString();
        return "done["_s + numbers.join(","_s) + "]["_s + plates.join(","_s) + "]"_s;
    }
    QString story() const { return heard.join(QLatin1Char(' ')); }

    void tell(const aux::Error& error) {
        if (!error.isEmpty())
            heard << shortened(textOf(error));
    }
    void open(const QString& mountPath) {
        QDir dir(mountPath);
        tell(library.open(dir));
        if (dir != QDir(mountPath))
            heard << "changes its argument"_s;
    }
    void open() { open(key.mountPath()); }
    void read() {
        const QString result = textOf(library.read());
        if (result == "libdownloadkey|DownloadKey: Error occured during download.|0"_s)
            heard << "FAILED"_s;
        else if (!result.isEmpty())
            heard << result;
    }
    // The names that are on the lists, drivers before vehicles: no file that holds five bytes is
    // refused when it is handed over.
    QStringList listed() {
        paths.clear();
        library.read();
        return paths.replaceInStrings(QRegularExpression("^.*/"_s), QString());
    }

    // Does what it is told, as "write A=card V=unit, at 16% remove A; close, open, read". Files of
    // one letter are those of fileOf(). "at" waits for what the host hears, or for the event loop.
    void act(const QString& orders) {
        for (const QString& order : orders.split(", "_s)) {
            const QString what = order.section(QLatin1Char(' '), 1);
            const QString first = words(what).value(0);
            const QString later = what.section(QLatin1Char(' '), 1);
            const QHash<QString, std::function<void()>> verbs = {
                {"write"_s, [&] { write(what); }},
                {"remove"_s, [&] { key.remove(fileOf(what)); }},
                {"makedir"_s, [&] { key.makeDir(fileOf(what)); }},
                {"link"_s, [&] { QFile::link(later, key.path(fileOf(first))); }},
                {"fifo"_s, [&] { mkfifo(qPrintable(key.path(fileOf(what))), 0600); }},
                {"flag"_s, [&] { set(first, later == "true"_s); }},
                {"number"_s, [&] { set(first, later.toInt()); }},
                {"text"_s, [&] { set(first, later); }},
                {"init"_s, [&] { tell(library.init()); }},
                {"open"_s, [&] { open(); }},
                {"switch"_s, [&] { open(other.mountPath()); }},         // to the other key
                {"mistake"_s, [&] { open(other.path("download"_s)); }}, // opens what is no key
                {"read"_s, [&] { read(); }},
                {"close"_s, [&] { tell(library.close()); }},
                {"uninit"_s, [&] { tell(library.uninit()); }},
                {"dir"_s, [&] { tellDir(library.getDownloadedDir()); }},
                {"isdir"_s, [&] { heard << QString::number(QDir(key.path(what)).exists()); }},
                {"debug"_s, [&] { collector.emplace(); }},
                {"quiet"_s,
                 [&] { QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false); }},
                {"lines"_s, [&] { tellLines(); }},
                {"error"_s, [&] { raise(what); }},
                {"events"_s, [] { QCoreApplication::processEvents(); }},
                {"at"_s, [&] { schedule(first, later); }},
            };
            verbs[order.section(QLatin1Char(' '), 0, 0)]();
        }
    }
    void write(const QString& files) const {
        for (const QString& file : words(files)) {
            const QString name = file.section(QLatin1Char('='), 0, 0);
            key.write(fileOf(name), contents(file.section(QLatin1Char('='), 1), name.toUtf8()));
        }
    }
    void raise(const QString& text) {
        const aux::Error error(aux::ErrorData("host"_s, QString(text), 7));
        QMetaObject::invokeMethod(&library, "error", Qt::QueuedConnection,
                                  Q_ARG(aux::Error, error));
    }
    void set(const QString& code, const QVariant& value) {
        configuration.setValue(static_cast<aux::SettingsCode>(code.toInt()), value);
    }
    void tellDir(const QString& path) {
        heard << (path == QDir::currentPath() ? "CURRENT"_s : shortened(path)) + "."_s;
    }
    // The lines of the front object. A vehicle unit's own begin with "VehicleInfo" or a blank.
    void tellLines() {
        const QRegularExpression own("^(?!VehicleInfo| )"_s);
        heard << shortened(DebugLines::lines().filter(own).join("; "_s)) + "."_s;
        collector.reset();
    }
    void schedule(const QString& event, const QString& orders) {
        deeds = QString(orders).replace(";"_s, ","_s);
        trigger = event;
        if (event == "event-loop"_s)
            QTimer::singleShot(0, &library, [this] { hear("event-loop"_s); });
    }

    TestKey key;
    TestKey other;
    aux::Configuration configuration;
    DownloadKey library{configuration};
    QStringList heard;
    QStringList paths;
    QList<QDateTime> times;
    std::vector<std::shared_ptr<scard::SCardGeneric>> cards;
    std::vector<std::shared_ptr<VehicleInfo>> vehicles;
    QString trigger; // on hearing this, do the deeds
    QString deeds;
    std::optional<DebugLines> collector;
};

} // namespace

class DownloadKeyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // A collector of debug lines turns them on; without one they would only slow the tests down.
    void initTestCase() { QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false); }

    void metaObjectOfTheClass() {
        const QMetaObject& meta = DownloadKey::staticMetaObject;
        aux::Configuration configuration;
        DownloadKey key(configuration);
        QCOMPARE(QByteArray(meta.className()), QByteArray("downloadkey::DownloadKey"));
        QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
        QCOMPARE(meta.propertyCount(), meta.propertyOffset());
        QCOMPARE(meta.enumeratorCount(), meta.enumeratorOffset());
        QCOMPARE(meta.classInfoCount(), meta.classInfoOffset());
        QCOMPARE(meta.constructorCount(), 0);
        QVERIFY(!key.parent());
        QCOMPARE(key.metaObject(), &meta);
        QCOMPARE(key.qt_metacast("downloadkey::DownloadKey"), static_cast<void*>(&key));
        QCOMPARE(key.qt_metacast("QObject"), static_cast<void*>(static_cast<QObject*>(&key)));
        for (const char* name :
             {"DownloadKey", "downloadkey::VehicleInfo", static_cast<const char*>(nullptr)})
            QVERIFY(!key.qt_metacast(name));

        int index = meta.methodOffset();
        const auto check = [&](const char* signature, const QByteArrayList& names) {
            const QMetaMethod method = meta.method(index++);
            QCOMPARE(method.methodSignature(), QByteArray(signature));
            QCOMPARE(method.parameterNames(), names);
            QCOMPARE(method.methodType(), QMetaMethod::Signal);
            QCOMPARE(method.access(), QMetaMethod::Public);
            QCOMPARE(method.returnType(), int(QMetaType::Void));
            // Only the error's type is offered to Qt; the second answer is a remembered one.
            for (int argument = 0; argument < 2 * names.size(); ++argument) {
                int position = argument % names.size();
                int answer = -2;
                void* arguments[] = {&answer, &position};
                QMetaObject::metacall(&key, QMetaObject::RegisterMethodArgumentMetaType,
                                      method.methodIndex(), arguments);
                QCOMPARE(answer, names[0] == "err" ? qMetaTypeId<aux::Error>() : -1);
            }
        };
        check("error(aux::Error)", {"err"});
        check("readDone(std::vector<std::shared_ptr<scard::SCardGeneric> >,"
              "std::vector<std::shared_ptr<VehicleInfo> >,bool)",
              {"driverCards", "vehicleInfos", "parsingError"});
        check("downloadFile(QString,QDateTime)", {"filename", "downloadTimestamp"});
        check("progress(int)", {"relative"});
        QCOMPARE(index, meta.methodCount());
        const int type = QMetaType::type("aux::Error");
        QCOMPARE(type, qMetaTypeId<aux::Error>());
        QCOMPARE(int(QMetaType::typeFlags(type)), 0x103);
        QVERIFY(!QMetaType::metaObjectForType(type));
    }

    // Names in the order in which they are listed, those that a debug line says are skipped, and
    // those that are not even looked at.
    void lists_data() {
        const auto row = columns<QString, QString, QString>("listed", "skipped", "ignored");
        for (const QStringList& fields : dataRows("lists.txt"_s))
            row(fields[0].toUtf8(), fields[0], fields.value(1), fields.value(2));
    }

    void lists() {
        QFETCH(QString, listed);
        QFETCH(QString, skipped);
        QFETCH(QString, ignored);
        Host host;
        for (const QString& file : words(listed + " "_s + skipped + " "_s + ignored))
            host.key.write("download/"_s + file, "12345");
        {
            const DebugLines collector;
            host.open();
        }
        QStringList lines{"Downloadkey open"_s};
        for (const QString& name : words(skipped))
            lines << "DownloadKey::open() skip: \"%1\""_s.arg(name);
        QCOMPARE(DebugLines::lines(), lines);
        QCOMPARE(host.listed(), words(listed));
    }

    // Moscow's clocks went back from 02:00 to 01:00 at 22:00 UTC, with no summer time before or
    // after. Two such times are in the order in which the clock showed them.
    void ordersByLocalTimeWhereClocksWentBack() {
        const QByteArray zone = qgetenv("TZ");
        const auto restore = qScopeGuard([&zone] { qputenv("TZ", zone); });
        qputenv("TZ", "Europe/Moscow");
        Host host;
        for (const char* name : {"1410252140.C1B", "1410252150.C1B", "1410252210.C1B"})
            host.key.write("download/"_s + QLatin1String(name), "12345");
        host.open();
        QCOMPARE(host.listed(), words("1410252150.C1B 1410252140.C1B 1410252210.C1B"_s));
    }

    void keepsTheListingsOrderOfEqualTimes() {
        Host host;
        QStringList names;
        for (char letter = 'A'; letter <= 'Z'; ++letter) {
            names << QLatin1Char(letter) + "_2403150830.C1B"_s;
            host.key.write("download/"_s + names.back(), "12345");
        }
        host.open();
        QCOMPARE(host.listed(), names);
    }

    // A key with years of downloads: far from the time that comparing every name with every other
    // takes.
    void listsManyFiles() {
        if (!qgetenv("TZ").isEmpty() && qgetenv("TZ") != "UTC")
            QSKIP("takes long, and once is enough");
        Host host;
        for (int i = 0; i < 10000; ++i)
            host.key.write(QString::asprintf("download/%d_%02d%02d010000.%s", i, i % 100, i % 14,
                                             i % 2 ? "V1B" : "C1B"),
                           QByteArray());
        QElapsedTimer timer;
        timer.start();
        host.open();
        QVERIFY2(timer.elapsed() < 5000, QByteArray::number(timer.elapsed()).constData());
        // The 5000 cards but for 715 of month 0; the empty vehicle units are not handed over.
        QCOMPARE(host.listed().size(), 4285);
    }

    // Each line: what is done, " -> ", and what comes of it.
    void stories_data() {
        const auto row = columns<QString, QString>("orders", "story");
        for (const QStringList& fields : dataRows("stories.txt"_s))
            row(fields[0].toUtf8(), fields[0], fields[1]);
    }

    void stories() {
        QFETCH(QString, orders);
        Host host;
        host.other.write(fileOf("A"_s), card("1"));
        host.other.write(fileOf("B"_s), card("2"));
        host.other.write(fileOf("V"_s), vehicleUnit("2"));
        host.act(orders);
        QTEST(host.story(), "story");
        QVERIFY(!host.other.exists("downloaded"_s));
        QVERIFY(!host.other.exists("download/downloaded"_s));
    }

    // The payloads in full: paths below the mount directory as it was given, absolute or relative,
    // local times, objects that outlive the key, and no file of the key open while the host has its
    // turn.
    void handsOverWhatItRead_data() {
        const auto row = columns<bool>("relative");
        row("absolute", false);
        row("relative", true);
    }

    void handsOverWhatItRead() {
        const TestKey key{QString()};
        const QString name = "my k\u00e9y"_s;
        key.makeDir(name + "/download"_s);
        key.write(name + "/"_s + fileOf("A"_s), card("DF00000000000017", 1, 2));
        key.write(name + "/"_s + fileOf("B"_s), card("DF00000000000018", 1, 1));
        key.write(name + "/"_s + fileOf("V"_s), vehicleUnit("AB 123 CD"));
        const QString before = QDir::currentPath();
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });
        QFETCH(bool, relative);
        QVERIFY(!relative || QDir::setCurrent(key.mountPath()));
        const QString mount = relative ? name : key.path(name);

        Host host;
        QStringList openFiles;
        const auto look = [&] {
            for (const auto& descriptor : QDir("/proc/self/fd"_s).entryInfoList(QDir::Files))
                openFiles << descriptor.symLinkTarget();
        };
        QObject::connect(&host.library, &DownloadKey::progress, &host.library, look);
        QObject::connect(&host.library, &DownloadKey::downloadFile, &host.library, look);
        host.open(mount);
        host.read();
        QVERIFY(host.heard.contains("remount:"_s + mount));
        QString shown;
        for (int i = 0; i < host.paths.size(); ++i) {
            QCOMPARE(host.times.at(i).timeSpec(), Qt::LocalTime);
            shown += host.paths[i] + host.times[i].toUTC().toString(" yyyy-MM-dd hh:mm:ss;"_s);
        }
        QCOMPARE(shown, "%1/download/A_2403160900.C1B 2024-03-16 09:00:00;"
                        "%1/download/B_2403150830.C1B 2024-03-15 08:30:00;"
                        "%1/download/V_2403140700.V1B 2024-03-14 07:00:00;"_s.arg(mount));
        QCOMPARE(openFiles.filter("/download/"_s), QStringList());

        host.library.close();
        QCOMPARE(host.done(), "done[DF00000000000017,DF00000000000018][AB 123 CD]"_s);
        const scard::SCardGeneric& first = *host.cards.at(0);
        const scard::SCardGeneric& second = *host.cards.at(1);
        QVERIFY(typeid(first) == typeid(scard::SCardDriverG2));
        QVERIFY(typeid(second) == typeid(scard::SCardDriverG1));
        QCOMPARE(first.holderName(), "Jo Sample"_s);
        QCOMPARE(host.vehicles.at(0)->getDriverActivities().size(), std::size_t(1));
        QCOMPARE(host.cards.at(0).use_count(), 1L);
        QCOMPARE(host.vehicles.at(0).use_count(), 1L);
    }

    void parsesTheNewestHundred_data() {
        // "lastParsed" is the progress when the last file has been parsed.
        const auto row = columns<int, int, QString>("cardCount", "unitCount", "lastParsed");
        row("150 cards", 150, 0, "40%"_s);
        row("150 vehicle units", 0, 150, "40%"_s);
        row("100 cards", 100, 0, "50%"_s);
        row("101 cards, 1 vehicle unit", 101, 1, "49%"_s); // 101 of 203
    }

    void parsesTheNewestHundred() {
        QFETCH(int, cardCount);
        QFETCH(int, unitCount);
        Host host;
        // One a minute: the last is the newest. The cards have only what the parser needs.
        const auto write = [&](char kind, int i, const QByteArray& bytes) {
            host.key.write(
                QString::asprintf("download/%d_240315%02d%02d.%c1B", i, i / 60, i % 60, kind),
                bytes);
        };
        for (int i = 0; i < cardCount; ++i) {
            const QByteArray data = '\0' + QByteArray::number(i).leftJustified(136);
            write('C', i,
                  samples::cardBlock(0x0501, 0, "\1") + samples::cardBlock(0x0520, 0, data));
        }
        for (int i = 0; i < unitCount; ++i)
            write('V', i, vehicleUnit(QByteArray::number(i)));
        host.open();
        host.read();

        const int parsed = qMin(cardCount, 100) + qMin(unitCount, 100);
        QTEST(host.heard.at(parsed), "lastParsed");
        QVERIFY(!host.heard.at(parsed + 1).endsWith("%"_s));
        QCOMPARE(host.paths.size(), cardCount + unitCount);
        QCOMPARE(host.heard.at(host.heard.size() - 3), "100%"_s);
        const auto newest = [](int count) {
            QStringList numbers;
            for (int i = count - 1; i >= qMax(0, count - 100); --i)
                numbers << QString::number(i);
            return "["_s + numbers.join(","_s) + "]"_s;
        };
        QCOMPARE(host.heard.last(), "done"_s + newest(cardCount) + newest(unitCount));
    }

    void generateSpecific() {
        const auto check = [](int type, int generation, const std::type_info& expected) {
            Host host;
            host.key.write("A"_s,
                           card("DF00000000000017", static_cast<unsigned char>(type), generation));
            QFile file(host.key.path("A"_s));
            QVERIFY(file.open(QIODevice::ReadOnly));
            scard::SCardGeneric generic(file, QDateTime(), scard::FilenameRegion{});
            if (type != 0)
                QVERIFY(generic.readCardInfo().isEmpty());

            const auto specific = host.library.generateSpecific(generic);
            QVERIFY(specific && specific.get() != &generic);
            const scard::SCardGeneric& object = *specific;
            QCOMPARE(QByteArray(typeid(object).name()), QByteArray(expected.name()));
            QCOMPARE(object.getCardType(), type);
            QCOMPARE(object.is2ndGeneneration(), generation == 2);
            QCOMPARE(specific.use_count(), 1L);
            QVERIFY(specific->calcDataSize().isEmpty());
            QVERIFY(specific->readData().isEmpty());
            QCOMPARE(object.cardNumber(), "DF00000000000017"_s);
            QCOMPARE(generic.cardNumber(), QString()); // the given card is left as it was
        };
        check(1, 1, typeid(scard::SCardDriverG1));
        check(1, 2, typeid(scard::SCardDriverG2));
        check(2, 1, typeid(scard::SCardWorkshopG1));
        check(2, 2, typeid(scard::SCardWorkshopG2));
        check(3, 1, typeid(scard::SCardGeneric));
        check(3, 2, typeid(scard::SCardGeneric));
        check(4, 1, typeid(scard::SCardCompanyG1));
        check(4, 2, typeid(scard::SCardCompanyG2));
        check(0, 0, typeid(scard::SCardGeneric)); // not asked for its information yet
    }
};

QTEST_GUILESS_MAIN(DownloadKeyTest)
#include "tst_downloadkey.moc"
