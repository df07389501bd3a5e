// Tables for people, in two forms: every driver and every vehicle with its insertions, or their
// totals. Both end with the files, what failed, and a line that counts it all.
#include "options.h"
#include "table.h"

#include <limits>

namespace readkey {

namespace {

// The download time is left out where the terminal is too narrow for it: the names carry it too.
constexpr int widthForTimes = 100;

QString openingText(const Logbook& book, const Options& options) {
    QString result = QStringLiteral("Times are %1\n").arg(Clock{options.utc}.zone());
    if (options.filter.isActive())
        result += QStringLiteral("Only what matches the filter is shown: %1 of %2\n")
                      .arg(book.insertions.size())
                      .arg(counted(book.insertionsFound, "insertion"));
    return result + QLatin1Char('\n');
}

QString driversText(const Logbook& book, const Paper& paper) {
    Table table({Column::name("Driver"), Column::left("Card number"), Column::left("Gen"),
                 Column::left("Card downloaded"), Column::right("Insertions")});
    for (const DriverSummary& driver : book.drivers)
        table.addRow(
            {orDash(driver.name), orDash(driver.cardNumber),
             driver.cardDownload ? QString::number(driver.cardGeneration) : QStringLiteral("-"),
             paper.clock.minute(driver.cardDownload), QString::number(driver.insertions)});
    return table.section("Drivers", paper);
}

QString slotName(quint16 slot) {
    return slot == driverSlot ? QStringLiteral("driver")
           : slot == 1        ? QStringLiteral("co-driver")
                              : QString::number(slot);
}

void addGap(Table& table, const Gap& gap, const Clock& clock) {
    table.addRow({QStringLiteral("(no card)"), slotName(driverSlot), clock.minute(gap.from),
                  clock.end(gap.from, gap.to), QString::number(gap.fromOdometer),
                  QString::number(gap.toOdometer),
                  QString::number(gap.toOdometer - gap.fromOdometer)});
}

void addInsertion(Table& table, const Insertion& insertion, const QString& driver,
                  const Clock& clock) {
    table.addRow({orDash(driver), slotName(insertion.slot), clock.minute(insertion.inserted),
                  clock.end(insertion.inserted, insertion.withdrawn),
                  orDash(numberText(insertion.odometerAtInsertion)),
                  orDash(numberText(insertion.odometerAtWithdrawal)),
                  orDash(numberText(insertion.distance()))});
}

QString vehicleHeading(const VehicleSummary& vehicle, const Paper& paper) {
    QString heading = QStringLiteral("Vehicle ") + printable(orDash(vehicle.plate));
    if (vehicle.lastDownload)
        heading += QStringLiteral(", downloaded ") + paper.clock.minute(vehicle.lastDownload);
    return QLatin1Char('\n') + paper.heading(heading);
}

// The logbook's insertions and gaps are ordered by vehicle.
void writeVehicles(const Logbook& book, const Paper& paper, QIODevice& out) {
    auto insertion = book.insertions.begin();
    auto gap = book.gaps.begin();
    for (size_t vehicle = 0; vehicle < book.vehicles.size(); ++vehicle) {
        Table table({Column::name("Driver"), Column::left("Slot"), Column::left("From"),
                     Column::left("To"), Column::right("km from"), Column::right("km to"),
                     Column::right("km")});
        const auto addGapsUntil = [&](qint64 time) {
            for (; gap != book.gaps.end() && gap->vehicle == vehicle && gap->to <= time; ++gap)
                addGap(table, *gap, paper.clock);
        };
        for (; insertion != book.insertions.end() && insertion->vehicle == vehicle; ++insertion) {
            addGapsUntil(insertion->inserted);
            addInsertion(table, *insertion, book.drivers[insertion->driver].name, paper.clock);
        }
        addGapsUntil(std::numeric_limits<qint64>::max());
        const QString rows =
            table.isEmpty() ? QStringLiteral("  no card insertions\n") : table.text(paper);
        out.write((vehicleHeading(book.vehicles[vehicle], paper) + rows).toUtf8());
    }
}

// "95 d" or "95 d overdue".
QString ageText(const Logbook& book, std::optional<qint64> download, bool isOverdue) {
    if (!download || !book.newestDownload)
        return QStringLiteral("-");
    return QString::number((*book.newestDownload - *download) / secondsPerDay) +
           QLatin1String(isOverdue ? " d overdue" : " d");
}

QString hours(qint64 seconds) {
    return QString::number(static_cast<double>(seconds) / 3600, 'f', 1);
}

QString vehicleTotals(const Logbook& book, const Paper& paper) {
    Table table({Column::name("Vehicle"), Column::left("Downloaded"), Column::left("Age"),
                 Column::right("Ins."), Column::right("Drivers"), Column::right("Hours"),
                 Column::right("km"), Column::right("km without card")});
    for (const VehicleSummary& vehicle : book.vehicles)
        table.addRow({orDash(vehicle.plate), paper.clock.minute(vehicle.lastDownload),
                      ageText(book, vehicle.lastDownload, vehicle.overdue),
                      QString::number(vehicle.insertions), QString::number(vehicle.drivers),
                      hours(vehicle.seconds), QString::number(vehicle.kilometres),
                      QString::number(vehicle.kilometresWithoutCard)},
                     vehicle.overdue);
    return table.section("Vehicles", paper);
}

QString driverTotals(const Logbook& book, const Paper& paper) {
    Table table({Column::name("Driver"), Column::left("Card downloaded"), Column::left("Age"),
                 Column::right("Ins."), Column::right("Vehicles"), Column::right("Hours"),
                 Column::right("km")});
    for (const DriverSummary& driver : book.drivers)
        table.addRow({orDash(driver.name), paper.clock.minute(driver.cardDownload),
                      ageText(book, driver.cardDownload, driver.overdue),
                      QString::number(driver.insertions), QString::number(driver.vehicles),
                      hours(driver.seconds), QString::number(driver.kilometres)},
                     driver.overdue);
    return table.section("Drivers", paper);
}

QString filesText(const Logbook& book, const Paper& paper) {
    Table table({Column::left("Downloaded"), Column::left("Copy"), Column::name("Name", 30),
                 Column::name("Contents")});
    for (const LogFile& file : book.files)
        table.addRow({paper.width < widthForTimes ? QString() : paper.clock.minute(file.downloaded),
                      QLatin1String(copyNames[file.copy]), file.name, file.contents},
                     file.status == LogFile::Failed || file.copy == LogFile::NotCopied);
    return table.section("Files", paper);
}

QString failuresText(const Logbook& book, const Paper& paper) {
    if (book.failures.empty())
        return {};
    QString result = QLatin1Char('\n') + paper.heading(QStringLiteral("Failed"));
    for (const Failure& failure : book.failures) {
        const QString place = failure.file.isEmpty() ? failure.key : failure.file;
        const QString text = QStringLiteral("  %1: %2").arg(place, failure.reason);
        result += paper.alarm(printable(text)) + QLatin1Char('\n');
    }
    return result;
}

// "12 files, 4 driver cards, 6 vehicle downloads, 24 insertions, 12 copied, 1 failed."
QString countsText(const Logbook& book) {
    size_t files = 0;
    size_t cards = 0;
    size_t vehicles = 0;
    size_t failed = 0;
    size_t copies[] = {0, 0, 0, 0};
    for (const LogFile& file : book.files) {
        files += file.status != LogFile::Skipped ? 1 : 0;
        cards += isDriverCard(file.cardType) ? 1 : 0;
        vehicles += file.status == LogFile::Ok && file.kind == LogFile::Vehicle ? 1 : 0;
        failed += file.status == LogFile::Failed ? 1 : 0;
        ++copies[file.copy];
    }
    QString result = QStringList{counted(files, "file"), counted(cards, "driver card"),
                                 counted(vehicles, "vehicle download"),
                                 counted(book.insertions.size(), "insertion")}
                         .join(QStringLiteral(", "));
    if (book.insertions.size() < book.insertionsFound)
        result += QStringLiteral(" of %1").arg(book.insertionsFound);
    const auto addUnlessZero = [&result](size_t count, const char* what) {
        if (count > 0)
            result += QStringLiteral(", %1 %2").arg(count).arg(QLatin1String(what));
    };
    addUnlessZero(copies[LogFile::Copied], "copied");
    addUnlessZero(copies[LogFile::Kept], "kept");
    addUnlessZero(copies[LogFile::NotCopied], "not copied");
    addUnlessZero(failed, "failed");
    if (book.otherEntries > 0)
        result += QStringLiteral("; %1 other %2 left alone")
                      .arg(book.otherEntries)
                      .arg(QLatin1String(book.otherEntries == 1 ? "entry" : "entries"));
    return result + QStringLiteral(".\n");
}

QString closingText(const Logbook& book, const Paper& paper) {
    return QLatin1Char('\n') + filesText(book, paper) + failuresText(book, paper) +
           QLatin1Char('\n') + countsText(book);
}

} // namespace

void writeTables(const Logbook& book, const Options& options, QIODevice& out) {
    const Paper paper = Paper::ofStandardOutput(options.utc);
    out.write((openingText(book, options) + driversText(book, paper)).toUtf8());
    if (book.vehicles.empty())
        out.write('\n' + paper.heading(QStringLiteral("Vehicles: none")).toUtf8());
    writeVehicles(book, paper, out);
    out.write(closingText(book, paper).toUtf8());
}

void writeSummary(const Logbook& book, const Options& options, QIODevice& out) {
    const Paper paper = Paper::ofStandardOutput(options.utc);
    out.write((openingText(book, options) + vehicleTotals(book, paper) + QLatin1Char('\n') +
               driverTotals(book, paper) + closingText(book, paper))
                  .toUtf8());
}

} // namespace readkey
