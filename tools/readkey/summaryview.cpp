// Totals by vehicle and by driver, for people.
#include "sections.h"
#include "views.h"

namespace readkey {

namespace {

// "95 d", and whether a download is due since.
QString ageText(const Logbook& book, qint64 download, bool isOverdue) {
    return QString::number((book.newestDownload - download) / secondsPerDay) +
           QLatin1String(isOverdue ? " d overdue" : " d");
}

QString hours(qint64 seconds) {
    return QString::number(static_cast<double>(seconds) / 3600, 'f', 1);
}

QString vehiclesText(const Logbook& book, const Clock& clock, const Paper& paper) {
    if (book.vehicles.empty())
        return paper.heading(QStringLiteral("Vehicles: none")) + QLatin1Char('\n');
    Table table({{"Vehicle", Table::Column::Name},
                 {"Downloaded"},
                 {"Age"},
                 {"Ins.", Table::Column::Right},
                 {"Drivers", Table::Column::Right},
                 {"Hours", Table::Column::Right},
                 {"km", Table::Column::Right},
                 {"km without card", Table::Column::Right}});
    for (const VehicleSummary& vehicle : book.vehicles) {
        const bool isKnown = vehicle.lastDownload != 0;
        table.addRow(
            {orDash(vehicle.plate),
             isKnown ? clock.minute(vehicle.lastDownload) : QStringLiteral("-"),
             isKnown ? ageText(book, vehicle.lastDownload, vehicle.overdue) : QStringLiteral("-"),
             QString::number(vehicle.insertions.size()), QString::number(vehicle.drivers.size()),
             hours(vehicle.seconds), QString::number(vehicle.kilometres),
             QString::number(vehicle.kilometresWithoutCard)},
            vehicle.overdue);
    }
    return paper.heading(QStringLiteral("Vehicles")) + QLatin1Char('\n') + table.text(paper);
}

QString driversText(const Logbook& book, const Clock& clock, const Paper& paper) {
    if (book.drivers.empty())
        return paper.heading(QStringLiteral("Drivers: none")) + QLatin1Char('\n');
    Table table({{"Driver", Table::Column::Name},
                 {"Card downloaded"},
                 {"Age"},
                 {"Ins.", Table::Column::Right},
                 {"Vehicles", Table::Column::Right},
                 {"Hours", Table::Column::Right},
                 {"km", Table::Column::Right}});
    for (const DriverSummary& driver : book.drivers) {
        table.addRow(
            {driver.name,
             driver.cardDownload ? clock.minute(*driver.cardDownload) : QStringLiteral("-"),
             driver.cardDownload ? ageText(book, *driver.cardDownload, driver.overdue)
                                 : QStringLiteral("-"),
             QString::number(driver.insertions.size()), QString::number(driver.vehicles.size()),
             hours(driver.seconds), QString::number(driver.kilometres)},
            driver.overdue);
    }
    return paper.heading(QStringLiteral("Drivers")) + QLatin1Char('\n') + table.text(paper);
}

} // namespace

void writeSummary(const Logbook& book, const Options& options, QIODevice& out) {
    const Clock clock(options.utc);
    const Paper paper = Paper::ofStandardOutput();
    const QChar newline = QLatin1Char('\n');
    out.write((openingText(book, options) + newline + vehiclesText(book, clock, paper) + newline +
               driversText(book, clock, paper) + closingText(book, clock, paper))
                  .toUtf8());
}

} // namespace readkey
