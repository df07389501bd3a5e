// Tables for people: every driver and every vehicle with its insertions, or with --summary only
// their totals. Both end with the files, the failures, and a line of counts.
#include "views.h"

namespace readkey {

namespace {

// "95 d", "95 d overdue", or "never".
QString ageText(const Download& download) {
    if (!download.age)
        return download.isOverdue ? QStringLiteral("never") : QStringLiteral("-");
    return QString::number(*download.age) + QLatin1String(download.isOverdue ? " d overdue" : " d");
}

// crossingText() as a line.
QString crossingLine(const Totals& totals, const Paper& paper) {
    const QString text = crossingText(totals, paper,
                                      totals.insertions == 1 ? " of these crosses the period: "
                                                             : " of these cross the period: ");
    const QLatin1String begin(totals.insertions > 0 ? "  " : "  Crossing the period: ");
    return text.isEmpty() ? text : begin + text + QLatin1Char('\n');
}

QString openingText(const Logbook& book, const Options& options, const Paper& paper) {
    QString result = QStringLiteral("Times are %1\nAges count to %2\n")
                         .arg(paper.clock.zone(), book.asOf.toString(Qt::ISODate));
    if (book.counts.fromFuture > 0)
        result += QStringLiteral("From the future, and not counted: %1\n")
                      .arg(counted(book.counts.fromFuture, "download"));
    if (options.filter.isActive())
        result += QStringLiteral("Only what matches the filter is shown: %1 of %2\n")
                      .arg(book.totals.insertions)
                      .arg(counted(book.insertionsFound, "insertion"));
    return result + crossingLine(book.crossing, paper) + QLatin1Char('\n');
}

QString slotName(quint16 slot) {
    return slot > 1 ? QString::number(slot) : QLatin1String(slot == 0 ? "driver" : "co-driver");
}

// The logbook's stretches are ordered by vehicle.
void writeVehicles(const Logbook& book, const Paper& paper, QIODevice& out) {
    auto next = book.stretches.begin();
    for (const VehicleSummary& vehicle : book.vehicles) {
        Table table({Column{"Driver", Name}, Column{"Slot", Left, 3}, Column{"From"},
                     Column{"To", Left, 4}, Column{"km from", Right, 1}, Column{"km to", Right, 2},
                     Column{"km", Right}});
        for (; next != book.stretches.end() && next->vehicle == &vehicle; ++next)
            table.addRow({next->driver ? nameOf(*next->driver)
                                       : QStringLiteral("(no %1)").arg(
                                             QLatin1String(missingNames[next->kind])),
                          slotName(next->slot), paper.clock.minute(next->from),
                          paper.clock.end(next->from, next->to), paper.number(next->odometerFrom),
                          paper.number(next->odometerTo), paper.number(next->distance())});
        const QString heading =
            QStringLiteral("Vehicle %1, downloaded %2 (%3)")
                .arg(printable(orDash(vehicle.plate)),
                     paper.clock.minute(vehicle.lastDownload.time), ageText(vehicle.lastDownload));
        out.write(
            (QLatin1Char('\n') + paper.heading(heading) +
             (table.isEmpty() ? QStringLiteral("  no card insertions\n") : table.text(paper)) +
             crossingLine(vehicle.crossing, paper))
                .toUtf8());
    }
}

QString failuresText(const Logbook& book, const Paper& paper) {
    QString result;
    for (const Failure& failure : book.failures)
        result += paper.alarm(printable(
                      QStringLiteral("  %1: %2").arg(book.placeOf(failure), failure.reason))) +
                  QLatin1Char('\n');
    return result.isEmpty() ? result
                            : QLatin1Char('\n') + paper.heading(QStringLiteral("Failed")) + result;
}

// "12 files, 4 driver cards, 6 vehicle downloads, 24 insertions, 12 copied, 1 failed."
QString countsText(const Logbook& book) {
    const FileCounts& counts = book.counts;
    QString result =
        QStringList{counted(counts.files, "file"), counted(counts.driverCards, "driver card"),
                    counted(counts.vehicles, "vehicle download"),
                    counted(book.totals.insertions, "insertion")}
            .join(QStringLiteral(", "));
    if (book.totals.insertions < book.insertionsFound)
        result += QStringLiteral(" of %1").arg(book.insertionsFound);
    const auto addUnlessZero = [&result](qint64 count, const char* what) {
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

QString driversText(const Logbook& book, const Paper& paper) {
    return driverTable(book, paper).section("Drivers", paper) +
           (book.hasSharedNames ? QStringLiteral("  If several drivers have one name, an insertion "
                                                 "may be of any of them.\n")
                                : QString());
}

QString closingText(const Logbook& book, const Paper& paper) {
    return QLatin1Char('\n') + fileTable(book, paper).section("Files", paper) +
           failuresText(book, paper) + QLatin1Char('\n') + countsText(book);
}

} // namespace

QString crossingText(const Totals& totals, const Paper& paper, const char* link) {
    QStringList parts;
    const auto add = [&](qint64 kilometres, const char* what) {
        if (kilometres > 0)
            parts.append(paper.grouped(kilometres) + QLatin1String(what));
    };
    if (totals.insertions > 0)
        parts += paper.grouped(totals.insertions) + QLatin1String(link) +
                 paper.grouped(totals.kilometres) +
                 QLatin1String(paper.isPage ? " km, card in " : " km, ") +
                 paper.hours(totals.seconds);
    add(totals.kilometresWithoutCard, " km without card");
    add(totals.kilometresWithoutData, " km without data");
    return parts.join(QStringLiteral("; "));
}

Table vehicleTable(const Logbook& book, const Paper& paper) {
    Table table({Column{"Vehicle", Name}, Column{"Downloaded", Left, 3},
                 Column{"Age", Left, 0, "number age"}, Column{"Ins.", Right, 2},
                 Column{"Drivers", Right, 1}, Column{"Card in", Right, 5}, Column{"km", Right, 6},
                 Column{"km without card", Right, 0, "without"},
                 Column{"km without data", Right, 7}, Column{"Crossing the period", Left, 4}});
    for (const VehicleSummary& vehicle : book.vehicles) {
        const Totals& totals = vehicle.totals;
        table.addRow({orDash(vehicle.plate), paper.clock.minute(vehicle.lastDownload.time),
                      ageText(vehicle.lastDownload), paper.number(totals.insertions),
                      paper.number(vehicle.drivers), paper.hours(totals.seconds),
                      paper.number(totals.kilometres),
                      paper.number(book.ofGaps(totals.kilometresWithoutCard)),
                      paper.number(book.ofGaps(totals.kilometresWithoutData)),
                      crossingText(vehicle.crossing, paper)},
                     QByteArray(vehicle.lastDownload.isOverdue ? "overdue" : "") +
                         (totals.kilometresWithoutCard > 0 ? " gaps" : ""));
    }
    return table;
}

// A line for each card; only the first has the totals.
Table driverTable(const Logbook& book, const Paper& paper) {
    Table table({Column{"Driver", Name}, Column{"Card number", Left, 7, "cards"},
                 Column{"Gen", Left, 1, "detail"}, Column{"Card downloaded", Left, 4, "detail"},
                 Column{"Age", Left, 0, "number age"}, Column{"Ins.", Right, 3},
                 Column{"Vehicles", Right, 2}, Column{"Card in", Right, 6}, Column{"km", Right},
                 Column{"Crossing the period", Left, 5}});
    for (const DriverSummary& driver : book.drivers) {
        QString name = nameOf(driver);
        QStringList totals{paper.number(driver.totals.insertions), paper.number(driver.vehicles),
                           paper.hours(driver.totals.seconds),
                           paper.number(driver.totals.kilometres),
                           crossingText(driver.crossing, paper)};
        for (const CardSummary& card : driver.cards) {
            const Download& download = card.lastDownload;
            const QString age =
                book.counts.driverCards == 0 ? QStringLiteral("no card files") : ageText(download);
            table.addRow(
                QStringList{
                    name, orDash(card.number), paper.number(card.generation),
                    paper.clock.minute(download.time),
                    age + QLatin1String(card.counts || !download.age ? "" : ", not counted")} +
                    totals,
                download.isOverdue ? "overdue" : "");
            name.clear();
            std::fill(totals.begin(), totals.end(), QString());
        }
    }
    return table;
}

Table fileTable(const Logbook& book, const Paper& paper) {
    Table table({Column{"Key", Path}, Column{"Copy"}, Column{"Name", Path}, Column{"Downloaded"},
                 Column{"Contents"}});
    for (const LogFile& file : book.files)
        table.addRow({book.hasSeveralKeys ? file.key : QString(),
                      QLatin1String(copyNames[file.copy]), file.name,
                      paper.isPage ? paper.clock.minute(file.downloaded) : QString(),
                      file.contents},
                     file.copy == FileCopier::Failed ? "failed" : statusNames[file.status]);
    return table;
}

void writeTables(const Logbook& book, const Options& options, QIODevice& out) {
    const Paper paper = Paper::ofStandardOutput(options.utc);
    out.write((openingText(book, options, paper) + driversText(book, paper)).toUtf8());
    if (book.vehicles.empty())
        out.write('\n' + paper.heading(QStringLiteral("Vehicles: none")).toUtf8());
    writeVehicles(book, paper, out);
    out.write(closingText(book, paper).toUtf8());
}

void writeSummary(const Logbook& book, const Options& options, QIODevice& out) {
    const Paper paper = Paper::ofStandardOutput(options.utc);
    out.write((openingText(book, options, paper) +
               vehicleTable(book, paper).section("Vehicles", paper) + QLatin1Char('\n') +
               driversText(book, paper) + closingText(book, paper))
                  .toUtf8());
}

} // namespace readkey
