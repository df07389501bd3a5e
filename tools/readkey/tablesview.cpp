// Tables for people: every driver and every vehicle with its insertions, or with --summary only
// their totals. Both end with the files, the failures, and a line of counts.
#include "table.h"
#include "views.h"

#include <QtCore/QLocale>

#include <limits>

namespace readkey {

namespace {

// "1,240"
QString grouped(qint64 number) {
    return QLocale(QLocale::English).toString(number);
}

QString hours(qint64 seconds) {
    return QString::number(static_cast<double>(seconds) / 3600, 'f', 1) + QStringLiteral(" h");
}

// "95 d", "95 d overdue", or "never".
QString ageText(const Download& download) {
    if (!download.age)
        return download.isOverdue ? QStringLiteral("never") : QStringLiteral("-");
    return QString::number(*download.age) + QLatin1String(download.isOverdue ? " d overdue" : " d");
}

// "3: 1,240 km, 31.5 h", and the kilometres without a card or data; empty if nothing crosses.
QString crossingText(const Totals& totals, const char* link = ": ") {
    QStringList parts;
    const auto add = [&parts](qint64 kilometres, const char* what) {
        if (kilometres > 0)
            parts.append(grouped(kilometres) + QLatin1String(what));
    };
    if (totals.insertions > 0)
        parts = QStringList{grouped(totals.insertions) + QLatin1String(link) +
                                grouped(totals.kilometres) + QStringLiteral(" km"),
                            hours(totals.seconds)};
    add(totals.kilometresWithoutCard, " km without card");
    add(totals.kilometresWithoutData, " km without data");
    return parts.join(QStringLiteral(", "));
}

// The same as a line.
QString crossingLine(const Totals& totals) {
    const QString text =
        crossingText(totals, totals.insertions == 1 ? " of these crosses the period: "
                                                    : " of these cross the period: ");
    const QLatin1String begin(totals.insertions > 0 ? "  " : "  Crossing the period: ");
    return text.isEmpty() ? text : begin + text + QLatin1Char('\n');
}

QString openingText(const Logbook& book, const Options& options) {
    QString result = QStringLiteral("Times are %1\nAges count to %2\n")
                         .arg(Clock{options.utc}.zone(), book.asOf.toString(Qt::ISODate));
    if (book.counts.fromFuture > 0)
        result += QStringLiteral("From the future, and not counted: %1\n")
                      .arg(counted(book.counts.fromFuture, "download"));
    if (options.filter.isActive())
        result += QStringLiteral("Only what matches the filter is shown: %1 of %2\n")
                      .arg(book.insertions.size())
                      .arg(counted(book.insertionsFound, "insertion"));
    return result + crossingLine(book.crossing) + QLatin1Char('\n');
}

// A line for each card; only the first has the totals.
void addDriver(Table& table, const Logbook& book, const DriverSummary& driver, const Clock& clock) {
    bool isFirst = true;
    const auto once = [&isFirst](const QString& text) { return isFirst ? text : QString(); };
    for (const CardSummary& card : driver.cards) {
        const Download& download = card.lastDownload;
        table.addRow(
            {once(nameOf(driver)), orDash(card.number),
             card.generation > 0 ? QString::number(card.generation) : QStringLiteral("-"),
             clock.minute(download.time),
             (book.counts.driverCards == 0 ? QStringLiteral("no card files") : ageText(download)) +
                 QLatin1String(card.counts || !download.age ? "" : ", not counted"),
             once(QString::number(driver.totals.insertions)),
             once(QString::number(driver.vehicles)), once(hours(driver.totals.seconds)),
             once(QString::number(driver.totals.kilometres)), once(crossingText(driver.crossing))},
            download.isOverdue);
        isFirst = false;
    }
}

QString driversText(const Logbook& book, const Paper& paper) {
    Table table({Column::name("Driver"), Column::left("Card number", 7), Column::left("Gen", 1),
                 Column::left("Card downloaded", 4), Column::left("Age"), Column::right("Ins.", 3),
                 Column::right("Vehicles", 2), Column::right("Card in", 6), Column::right("km"),
                 Column::left("Crossing the period", 5)});
    bool isAmbiguous = false;
    for (const DriverSummary& driver : book.drivers) {
        addDriver(table, book, driver, paper.clock);
        isAmbiguous |= driver.holders > 1;
    }
    return table.section("Drivers", paper) +
           (isAmbiguous ? QStringLiteral("  If several drivers have one name, an insertion may be "
                                         "of any of them.\n")
                        : QString());
}

QString slotName(quint16 slot) {
    return slot == driverSlot ? QStringLiteral("driver")
           : slot == 1        ? QStringLiteral("co-driver")
                              : QString::number(slot);
}

QString numberText(std::optional<qint64> number) {
    return number ? QString::number(*number) : QStringLiteral("-");
}

void addStretch(Table& table, const QString& driver, quint16 slot, const Stretch& stretch,
                const Clock& clock) {
    table.addRow({driver, slotName(slot), clock.minute(stretch.from),
                  clock.end(stretch.from, stretch.to), numberText(stretch.odometerFrom),
                  numberText(stretch.odometerTo), numberText(stretch.distance())});
}

QString vehicleHeading(const VehicleSummary& vehicle, const Clock& clock) {
    return QStringLiteral("Vehicle %1, downloaded %2 (%3)")
        .arg(printable(orDash(vehicle.plate)), clock.minute(vehicle.lastDownload.time),
             ageText(vehicle.lastDownload));
}

// The logbook's insertions and gaps are ordered by vehicle.
void writeVehicles(const Logbook& book, const Paper& paper, QIODevice& out) {
    auto insertion = book.insertions.begin();
    auto gap = book.gaps.begin();
    for (const VehicleSummary& vehicle : book.vehicles) {
        Table table({Column::name("Driver"), Column::left("Slot", 3), Column::left("From"),
                     Column::left("To", 4), Column::right("km from", 1), Column::right("km to", 2),
                     Column::right("km")});
        const auto addGapsUntil = [&](qint64 time) {
            for (; gap != book.gaps.end() && gap->vehicle == &vehicle && gap->to <= time; ++gap)
                addStretch(table, QStringLiteral("(no %1)").arg(QLatin1String(gapNames[gap->kind])),
                           driverSlot, *gap, paper.clock);
        };
        for (; insertion != book.insertions.end() && insertion->vehicle == &vehicle; ++insertion) {
            addGapsUntil(insertion->from);
            addStretch(table, nameOf(*insertion->driver), insertion->slot, *insertion, paper.clock);
        }
        addGapsUntil(std::numeric_limits<qint64>::max());
        const QString rows =
            table.isEmpty() ? QStringLiteral("  no card insertions\n") : table.text(paper);
        out.write((QLatin1Char('\n') + paper.heading(vehicleHeading(vehicle, paper.clock)) + rows +
                   crossingLine(vehicle.crossing))
                      .toUtf8());
    }
}

QString vehicleTotals(const Logbook& book, const Paper& paper) {
    Table table({Column::name("Vehicle"), Column::left("Downloaded", 3), Column::left("Age"),
                 Column::right("Ins.", 2), Column::right("Drivers", 1), Column::right("Card in", 5),
                 Column::right("km", 6), Column::right("km without card"),
                 Column::right("km without data", 7), Column::left("Crossing the period", 4)});
    for (const VehicleSummary& vehicle : book.vehicles) {
        const Totals& totals = vehicle.totals;
        table.addRow(
            {orDash(vehicle.plate), paper.clock.minute(vehicle.lastDownload.time),
             ageText(vehicle.lastDownload), QString::number(totals.insertions),
             QString::number(vehicle.drivers), hours(totals.seconds),
             QString::number(totals.kilometres), QString::number(totals.kilometresWithoutCard),
             QString::number(totals.kilometresWithoutData), crossingText(vehicle.crossing)},
            vehicle.lastDownload.isOverdue);
    }
    return table.section("Vehicles", paper);
}

QString filesText(const Logbook& book, const Paper& paper) {
    Table table({Column::name("Key", 30), Column::left("Copy"), Column::name("Name", 30),
                 Column::left("Contents")});
    for (const LogFile& file : book.files)
        table.addRow({book.hasSeveralKeys ? file.key : QString(),
                      QLatin1String(copyNames[file.copy]), file.name, file.contents},
                     file.status == LogFile::Failed || file.copy == FileCopier::Failed);
    return table.section("Files", paper);
}

QString failuresText(const Logbook& book, const Paper& paper) {
    if (book.failures.empty())
        return {};
    QString result = QLatin1Char('\n') + paper.heading(QStringLiteral("Failed"));
    for (const Failure& failure : book.failures) {
        const QString text = QStringLiteral("  %1: %2").arg(book.placeOf(failure), failure.reason);
        result += paper.alarm(printable(text)) + QLatin1Char('\n');
    }
    return result;
}

// "12 files, 4 driver cards, 6 vehicle downloads, 24 insertions, 12 copied, 1 failed."
QString countsText(const Logbook& book) {
    const FileCounts& counts = book.counts;
    QString result =
        QStringList{counted(counts.files, "file"), counted(counts.driverCards, "driver card"),
                    counted(counts.vehicles, "vehicle download"),
                    counted(book.insertions.size(), "insertion")}
            .join(QStringLiteral(", "));
    if (book.insertions.size() < book.insertionsFound)
        result += QStringLiteral(" of %1").arg(book.insertionsFound);
    const auto addUnlessZero = [&result](size_t count, const char* what) {
        if (count > 0)
            result += QStringLiteral(", %1 %2").arg(count).arg(QLatin1String(what));
    };
    addUnlessZero(counts.copies[FileCopier::Copied], "copied");
    addUnlessZero(counts.copies[FileCopier::Kept], "kept");
    addUnlessZero(counts.copies[FileCopier::Failed], "not copied");
    addUnlessZero(counts.failed, "failed");
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
               driversText(book, paper) + closingText(book, paper))
                  .toUtf8());
}

} // namespace readkey
