// Whole sample keys: that what they tell of drivers and vehicles could be true, and what oddities
// add to them.
#include "downloadkey/vehicleinfo.h"
#include "samples/samples.h"
#include "tests/support/memoryfile.h"

#include <QtCore/QLoggingCategory>
#include <QtTest/QtTest>

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace {

struct Insertion {
    QString plate;
    QString holder;
    int slot;
    qint64 from;
    qint64 to;
    qint64 odometerFrom;
    qint64 odometerTo;

    bool isOpen() const { return to == 0xFFFFFFFF; }
};

bool isVehicleFile(const samples::KeyFile& file) {
    return file.bytes.startsWith("\x76\x01") || file.bytes.startsWith("\x76\x21") ||
           file.bytes.startsWith("\x76\x31");
}

std::vector<Insertion> insertionsOf(const QByteArray& bytes) {
    MemoryFile file(bytes);
    downloadkey::VehicleInfo info(file);
    std::vector<Insertion> insertions;
    if (!info.read().isEmpty())
        return insertions;
    for (const auto& activity : info.getDriverActivities())
        insertions.push_back({info.getPlateString(), activity.holderName, int(activity.slot),
                              activity.insertionTime.toSecsSinceEpoch(),
                              activity.withdrawalTime.toSecsSinceEpoch(),
                              activity.odometerAtInsertion, activity.odometerAtWithdrawal});
    return insertions;
}

std::vector<Insertion> insertionsOf(const std::vector<samples::KeyFile>& files) {
    std::vector<Insertion> insertions;
    for (const samples::KeyFile& file : files) {
        if (isVehicleFile(file)) {
            for (const Insertion& insertion : insertionsOf(file.bytes))
                insertions.push_back(insertion);
        }
    }
    std::sort(insertions.begin(), insertions.end(),
              [](const Insertion& a, const Insertion& b) { return a.from < b.from; });
    return insertions;
}

samples::KeyOptions options(int days, int records, int files, std::uint32_t seed,
                            bool oddities = false) {
    return {days, records, files, seed, oddities};
}

} // namespace

Q_DECLARE_METATYPE(samples::KeyOptions)

class TestSampleKey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false); }

    void driversAndOdometersAreConsistent_data() {
        QTest::addColumn<samples::KeyOptions>("options");
        QTest::newRow("as makekey writes it") << samples::KeyOptions();
        QTest::newRow("many teams") << options(14, 2, 100, 2);
        QTest::newRow("a year") << options(365, 6, 6, 3);
        QTest::newRow("as many insertions as a day takes") << options(2, 65535, 2, 4);
    }
    void driversAndOdometersAreConsistent() {
        QFETCH(samples::KeyOptions, options);
        std::map<QString, qint64> freeFrom; // by driver, and by vehicle and slot
        std::map<QString, qint64> odometer; // by vehicle
        const std::vector<Insertion> insertions = insertionsOf(samples::sampleKey(options));
        QVERIFY(insertions.size() > std::size_t(options.files * options.days));
        for (const Insertion& insertion : insertions) {
            const QString place = QStringLiteral("%1/%2").arg(insertion.plate).arg(insertion.slot);
            for (const QString& who : {insertion.holder, place}) {
                QVERIFY2(insertion.from >= freeFrom[who], qPrintable(who));
                freeFrom[who] = insertion.to;
            }
            QVERIFY(insertion.to > insertion.from);
            if (insertion.slot != 0)
                continue;
            QVERIFY2(insertion.odometerFrom >= odometer[insertion.plate], qPrintable(place));
            QVERIFY(insertion.odometerTo >= insertion.odometerFrom);
            odometer[insertion.plate] = insertion.odometerTo;
        }
    }

    void keyLooksLikeALivingFirm() {
        const std::vector<samples::KeyFile> files = samples::sampleKey();
        const std::vector<Insertion> insertions = insertionsOf(files);
        std::set<QString> drivers;
        std::set<std::pair<QString, QString>> pairs;
        int onWeekends = 0;
        int coDriven = 0;
        int open = 0;
        for (const Insertion& insertion : insertions) {
            drivers.insert(insertion.holder);
            pairs.insert({insertion.holder, insertion.plate});
            const QDate day = QDateTime::fromSecsSinceEpoch(insertion.from, Qt::UTC).date();
            onWeekends += day.dayOfWeek() > 5 ? 1 : 0;
            coDriven += insertion.slot;
            open += insertion.isOpen() ? 1 : 0;
        }
        QCOMPARE(drivers.size(), std::size_t(8));
        QVERIFY(pairs.size() >= 12);
        QVERIFY(onWeekends > 0 && onWeekends < 30);
        QVERIFY(coDriven >= 5);
        QCOMPARE(open, 2);
        for (const char16_t* holder :
             {u"Jo, Sample", u"Žofie, Vzorová", u"Ελένη, Δείγμα", u"Вера, Образец"})
            QVERIFY2(drivers.count(QString::fromUtf16(holder)) == 1,
                     qPrintable(QString::fromUtf16(holder)));
    }

    void namesDifferAndHaveEveryShape() {
        QStringList names;
        QByteArray starts;
        samples::KeyOptions some = options(1, 1, 8, 1);
        for (const samples::KeyFile& file : samples::sampleKey(some)) {
            names << file.name;
            starts += file.bytes.left(2).toHex() + ' ';
        }
        QCOMPARE(starts.left(39), QByteArray("7601 0002 7621 0002 7631 0002 7601 7606"));
        for (const char* part :
             {".V1B", ".C1B", ".V1C", ".C1C", ".A1B", ".A1C", ".TGD", "_DF", "_DW", "_DC"})
            QVERIFY2(!names.filter(QLatin1String(part)).isEmpty(), part);
        QCOMPARE(names.removeDuplicates(), 0);
    }

    void sameOptionsGiveTheSameFiles() {
        const samples::KeyOptions some = options(3, 2, 7, 5, true);
        const std::vector<samples::KeyFile> files = samples::sampleKey(some);
        QCOMPARE(files.size(), std::size_t(14 + 6));
        for (int i = 0; i < 14; ++i)
            QCOMPARE(samples::sampleKeyFile(some, i).bytes, files[std::size_t(i)].bytes);
        QVERIFY(samples::sampleKey(options(3, 2, 7, 6))[0].bytes != files[0].bytes);
    }

    void oddFilesAreWhatTheySay() {
        const auto files = samples::oddFiles(options(28, 4, 6, 1, true));
        QStringList names;
        for (const samples::KeyFile& file : files)
            names << file.name;
        QCOMPARE(names, QStringList({QStringLiteral("M_20240312_1200_AB100CD.DDD"),
                                     QStringLiteral("S_20240315_0800_KX106CD.DDD"),
                                     QStringLiteral("V_HOLIDAY_20240311_1816.TGD"),
                                     QStringLiteral("M_20241315_0830_AB100CD.DDD"),
                                     QStringLiteral("BACKUP.DDD"), QStringLiteral("README.TXT")}));
        QVERIFY(isVehicleFile(files[1]));
        QVERIFY(insertionsOf(files[1].bytes).empty());
        QVERIFY(files[2].bytes.startsWith("\xFF\xD8"));
    }

    void olderDownloadOverlapsTheNewerOne() {
        const std::vector<samples::KeyFile> files = samples::sampleKey(options(28, 4, 6, 1, true));
        const std::vector<Insertion> newer = insertionsOf(files[0].bytes);
        const std::vector<Insertion> older = insertionsOf(files[12].bytes);
        QVERIFY(older.size() > 20 && older.size() < newer.size());
        QVERIFY(older.back().isOpen());
        for (std::size_t i = 0; i < older.size(); ++i) {
            QCOMPARE(older[i].from, newer[i].from);
            QCOMPARE(older[i].holder, newer[i].holder);
            QVERIFY(!newer[i].isOpen());
        }
    }

    void cardsStayInOverNightAndVehiclesDriveWithoutOne() {
        const std::vector<samples::KeyFile> files = samples::sampleKey(options(28, 4, 6, 1, true));
        const std::vector<Insertion> insertions = insertionsOf(files[2].bytes);
        int nights = 0;
        std::vector<qint64> gaps;
        for (std::size_t i = 1; i < insertions.size(); ++i) {
            const Insertion& last = insertions[i - 1];
            const bool isRepeated = insertions[i].from == last.from;
            nights += isRepeated && last.from / 86400 + 1 == last.to / 86400 ? 1 : 0;
            if (insertions[i].odometerFrom != last.odometerTo && !isRepeated &&
                last.slot + insertions[i].slot == 0)
                gaps.push_back(insertions[i].odometerFrom - last.odometerTo);
        }
        QCOMPARE(nights, 1);
        QCOMPARE(gaps, std::vector<qint64>({63}));
    }
};

QTEST_GUILESS_MAIN(TestSampleKey)
#include "tst_samplekey.moc"
