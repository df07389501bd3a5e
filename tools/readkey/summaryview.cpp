// Totals by vehicle and by driver, for people.
#include "sections.h"
#include "views.h"

namespace readkey {

namespace {

// "95 d", and whether a download is due since.
QString ageText(const Logbook& book, std::optional<qint64> download, bool isOverdue) {
    if (!download || !book.newestDownload)
        return QStringLiteral("-");
    return QString::number((*book.newestDownload - *download) / secondsPerDay) +
           QLatin1String(isOverdue ? " d overdue" : " d");
}

QString hours(qint64 seconds) {
    return QString::number(static_cast<double>(seconds) / 3600, 'f', 1);
}

QString vehiclesText(const Logbook& book, const Clock& clock, const Paper& paper) {
    const std::vector<Column> columns = {
        {"Vehicle", Column::Name}, {"Downloaded", Column::Left},       {"Age", Column::Left},
        {"Ins.", Column::Right},   {"Drivers", Column::Right},         {"Hours", Column::Right},
        {"km", Column::Right},     {"km without card", Column::Right},
    };
    Table table(columns);
    for (const VehicleSummary& vehicle : book.vehicles)
        table.addRow({orDash(vehicle.plate), clock.minute(vehicle.lastDownload),
                      ageText(book, vehicle.lastDownload, vehicle.overdue),
                      QString::number(vehicle.insertions), QString::number(vehicle.drivers.size()),
                      hours(vehicle.seconds), QString::number(vehicle.kilometres),
                      QString::number(vehicle.kilometresWithoutCard)},
                     vehicle.overdue);
    return table.section("Vehicles", paper);
}

QString driversText(const Logbook& book, const Clock& clock, const Paper& paper) {
    const std::vector<Column> columns = {
        {"Driver", Column::Name}, {"Card downloaded", Column::Left}, {"Age", Column::Left},
        {"Ins.", Column::Right},  {"Vehicles", Column::Right},       {"Hours", Column::Right},
        {"km", Column::Right},
    };
    Table table(columns);
    for (const DriverSummary& driver : book.drivers)
        table.addRow({orDash(driver.name), clock.minute(driver.cardDownload),
                      ageText(book, driver.cardDownload, driver.overdue),
                      QString::number(driver.insertions), QString::number(driver.vehicles.size()),
                      hours(driver.seconds), QString::number(driver.kilometres)},
                     driver.overdue);
    return table.section("Drivers", paper);
}

} // namespace

void writeSummary(const Logbook& book, const Options& options, QIODevice& out) {
    const Clock clock{options.utc};
    const Paper paper = Paper::ofStandardOutput();
    const QChar newline = QLatin1Char('\n');
    out.write((openingText(book, options) + newline + vehiclesText(book, clock, paper) + newline +
               driversText(book, clock, paper) + closingText(book, clock, paper))
                  .toUtf8());
}

} // namespace readkey
