// Tables for people: every driver, every vehicle with its insertions, every file.
#include "sections.h"
#include "views.h"

namespace readkey {

namespace {

QString driversText(const Logbook& book, const Clock& clock, const Paper& paper) {
    if (book.drivers.empty())
        return paper.heading(QStringLiteral("Drivers: none")) + QLatin1Char('\n');
    Table table({{"Driver", Table::Column::Name},
                 {"Card number"},
                 {"Gen"},
                 {"Card downloaded"},
                 {"Insertions", Table::Column::Right}});
    for (const DriverSummary& driver : book.drivers)
        table.addRow(
            {driver.name, orDash(driver.cardNumber),
             driver.cardDownload ? QString::number(driver.cardGeneration) : QStringLiteral("-"),
             driver.cardDownload ? clock.minute(*driver.cardDownload) : QStringLiteral("-"),
             QString::number(driver.insertions.size())});
    return paper.heading(QStringLiteral("Drivers")) + QLatin1Char('\n') + table.text(paper);
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

QString vehicleText(const Logbook& book, const VehicleSummary& vehicle, const Clock& clock,
                    const Paper& paper) {
    QString heading = QStringLiteral("Vehicle ") + printable(orDash(vehicle.plate));
    if (vehicle.lastDownload != 0)
        heading += QStringLiteral(", downloaded ") + clock.minute(vehicle.lastDownload);
    heading = QLatin1Char('\n') + paper.heading(heading) + QLatin1Char('\n');
    if (vehicle.insertions.empty() && vehicle.gaps.empty())
        return heading + QStringLiteral("  no card insertions\n");
    Table table({{"Driver", Table::Column::Name},
                 {"Slot"},
                 {"From"},
                 {"To"},
                 {"km from", Table::Column::Right},
                 {"km to", Table::Column::Right},
                 {"km", Table::Column::Right}});
    auto gap = vehicle.gaps.begin();
    const auto addGapsUntil = [&](qint64 time) {
        for (; gap != vehicle.gaps.end(); ++gap) {
            if (book.gaps[static_cast<size_t>(*gap)].to > time)
                return;
            addGap(table, book.gaps[static_cast<size_t>(*gap)], clock);
        }
    };
    for (const int number : vehicle.insertions) {
        const Insertion& insertion = book.insertions[static_cast<size_t>(number)];
        addGapsUntil(insertion.inserted);
        table.addRow({book.drivers[static_cast<size_t>(insertion.driver)].name,
                      slotName(insertion.slot), clock.minute(insertion.inserted),
                      insertion.withdrawn ? clock.end(insertion.inserted, *insertion.withdrawn)
                                          : QStringLiteral("-"),
                      numberOrDash(insertion.odometerAtInsertion),
                      numberOrDash(insertion.odometerAtWithdrawal),
                      numberOrDash(insertion.distance())});
    }
    addGapsUntil(std::numeric_limits<qint64>::max());
    return heading + table.text(paper);
}

} // namespace

void writeTables(const Logbook& book, const Options& options, QIODevice& out) {
    const Clock clock(options.utc);
    const Paper paper = Paper::ofStandardOutput();
    out.write((openingText(book, options) + QLatin1Char('\n') + driversText(book, clock, paper))
                  .toUtf8());
    if (book.vehicles.empty())
        out.write((QLatin1Char('\n') + paper.heading(QStringLiteral("Vehicles: none")) +
                   QLatin1Char('\n'))
                      .toUtf8());
    for (const VehicleSummary& vehicle : book.vehicles)
        out.write(vehicleText(book, vehicle, clock, paper).toUtf8());
    out.write(closingText(book, clock, paper).toUtf8());
}

} // namespace readkey
