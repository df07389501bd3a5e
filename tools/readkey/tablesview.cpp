// Tables for people: every driver, every vehicle with its insertions, every file.
#include "sections.h"
#include "views.h"

namespace readkey {

namespace {

QString driversText(const Logbook& book, const Clock& clock, const Paper& paper) {
    const std::vector<Column> columns = {
        {"Driver", Column::Name},          {"Card number", Column::Left}, {"Gen", Column::Left},
        {"Card downloaded", Column::Left}, {"Insertions", Column::Right},
    };
    Table table(columns);
    for (const DriverSummary& driver : book.drivers)
        table.addRow(
            {orDash(driver.name), orDash(driver.cardNumber),
             driver.cardDownload ? QString::number(driver.cardGeneration) : QStringLiteral("-"),
             clock.minute(driver.cardDownload), QString::number(driver.insertions)});
    return table.section("Drivers", paper);
}

QString slotName(quint16 slot) {
    return slot == driverSlot ? QStringLiteral("driver")
           : slot == 1        ? QStringLiteral("co-driver")
                              : QString::number(slot);
}

template <typename Number>
QString numberOrDash(const std::optional<Number>& number) {
    return number ? QString::number(*number) : QStringLiteral("-");
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
                  numberOrDash(insertion.odometerAtInsertion),
                  numberOrDash(insertion.odometerAtWithdrawal),
                  numberOrDash(insertion.distance())});
}

QString vehicleHeading(const VehicleSummary& vehicle, const Clock& clock, const Paper& paper) {
    QString heading = QStringLiteral("Vehicle ") + printable(orDash(vehicle.plate));
    if (vehicle.lastDownload)
        heading += QStringLiteral(", downloaded ") + clock.minute(vehicle.lastDownload);
    return QLatin1Char('\n') + paper.heading(heading);
}

// The logbook's insertions and gaps are ordered by vehicle.
void writeVehicles(const Logbook& book, const Clock& clock, const Paper& paper, QIODevice& out) {
    auto insertion = book.insertions.begin();
    auto gap = book.gaps.begin();
    for (size_t vehicle = 0; vehicle < book.vehicles.size(); ++vehicle) {
        const std::vector<Column> columns = {
            {"Driver", Column::Name}, {"Slot", Column::Left},     {"From", Column::Left},
            {"To", Column::Left},     {"km from", Column::Right}, {"km to", Column::Right},
            {"km", Column::Right},
        };
        Table table(columns);
        const auto addGapsUntil = [&](qint64 time) {
            for (; gap != book.gaps.end() && gap->vehicle == vehicle && gap->to <= time; ++gap)
                addGap(table, *gap, clock);
        };
        for (; insertion != book.insertions.end() && insertion->vehicle == vehicle; ++insertion) {
            addGapsUntil(insertion->inserted);
            addInsertion(table, *insertion, book.drivers[insertion->driver].name, clock);
        }
        addGapsUntil(std::numeric_limits<qint64>::max());
        const QString rows =
            table.isEmpty() ? QStringLiteral("  no card insertions\n") : table.text(paper);
        out.write((vehicleHeading(book.vehicles[vehicle], clock, paper) + rows).toUtf8());
    }
}

} // namespace

void writeTables(const Logbook& book, const Options& options, QIODevice& out) {
    const Clock clock{options.utc};
    const Paper paper = Paper::ofStandardOutput();
    const QString noVehicles = QLatin1Char('\n') + paper.heading(QStringLiteral("Vehicles: none"));
    out.write((openingText(book, options) + QLatin1Char('\n') + driversText(book, clock, paper) +
               (book.vehicles.empty() ? noVehicles : QString()))
                  .toUtf8());
    writeVehicles(book, clock, paper, out);
    out.write(closingText(book, clock, paper).toUtf8());
}

} // namespace readkey
