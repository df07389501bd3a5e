// CSV with one header line, for each WHAT of --csv. Numbers are whole, yes is 1, no is 0, and an
// unknown value is empty.
#include "views.h"

#include <algorithm>

namespace readkey {

namespace {

// A backslash is doubled, so that the escapes of printable() can be undone.
QByteArray quoted(QString text) {
    text = printable(text.replace(QLatin1Char('\\'), QLatin1String("\\\\")));
    if (text.contains(QLatin1Char('"')) || text.contains(QLatin1Char(',')))
        text = QLatin1Char('"') + text.replace(QLatin1Char('"'), QLatin1String("\"\"")) +
               QLatin1Char('"');
    return text.toUtf8();
}

QByteArray time(std::optional<qint64> seconds) {
    return seconds ? utcTime(*seconds) : QByteArray();
}

QByteArray number(std::optional<qint64> value) {
    return value ? QByteArray::number(*value) : QByteArray();
}

QByteArray line(const QByteArrayList& cells) {
    return cells.join(',') + "\r\n";
}

QByteArray insertionLines(const Logbook& book) {
    QByteArray result = "key,file,plate,holder,slot,inserted,odometerAtInsertion,withdrawn,"
                        "odometerAtWithdrawal,driversOfName,crosses\r\n";
    for (const Stretch& insertion : book.stretches) {
        const LogFile& file = *insertion.file;
        if (insertion.driver)
            result += line({quoted(file.key), quoted(file.name), quoted(file.plate),
                            quoted(insertion.driver->name), number(insertion.slot),
                            time(insertion.from), number(insertion.odometerFrom),
                            time(insertion.to), number(insertion.odometerTo),
                            number(insertion.driver->holders), number(insertion.crosses)});
    }
    return result;
}

QByteArray gapLines(const Logbook& book) {
    QByteArray result = "plate,missing,from,odometerFrom,to,odometerTo,kilometres,crosses\r\n";
    for (const Stretch& gap : book.stretches) {
        if (!gap.driver)
            result += line({quoted(gap.vehicle->plate), missingNames[gap.kind], time(gap.from),
                            number(gap.odometerFrom), time(gap.to), number(gap.odometerTo),
                            number(gap.distance()), number(gap.crosses)});
    }
    return result;
}

// "downloaded,asOf,ageDays,overdue"
QByteArray downloadCells(const Download& download, const Logbook& book) {
    return time(download.time) + ',' + book.asOf.toString(Qt::ISODate).toLatin1() + ',' +
           number(download.age) + ',' + number(download.isOverdue);
}

QByteArray vehicleLines(const Logbook& book) {
    QByteArray result =
        "plate,downloaded,asOf,ageDays,overdue,knownFrom,drivers,insertions,cardInSeconds,"
        "kilometres,kilometresWithoutCard,kilometresWithoutData,crossingInsertions,crossingSeconds,"
        "crossingKilometres,crossingKilometresWithoutCard,crossingKilometresWithoutData\r\n";
    for (const VehicleSummary& vehicle : book.vehicles) {
        QByteArrayList cells{quoted(vehicle.plate), downloadCells(vehicle.lastDownload, book),
                             time(vehicle.knownFrom), number(vehicle.drivers)};
        for (const Totals& totals : {vehicle.totals, vehicle.crossing})
            cells += {number(totals.insertions), number(totals.seconds), number(totals.kilometres),
                      number(book.ofGaps(totals.kilometresWithoutCard)),
                      number(book.ofGaps(totals.kilometresWithoutData))};
        result += line(cells);
    }
    return result;
}

// A line for each card; only the driver's first has the totals, so that columns add up.
QByteArray driverLines(const Logbook& book) {
    QByteArray result = "driver,driversOfName,cardNumber,generation,downloaded,asOf,ageDays,"
                        "overdue,counts,vehicles,insertions,cardInSeconds,kilometres,"
                        "crossingInsertions,crossingSeconds,crossingKilometres\r\n";
    for (const DriverSummary& driver : book.drivers) {
        QByteArrayList totals{number(driver.vehicles)};
        for (const Totals& part : {driver.totals, driver.crossing})
            totals += {number(part.insertions), number(part.seconds), number(part.kilometres)};
        for (const CardSummary& card : driver.cards) {
            result +=
                line(QByteArrayList{quoted(driver.name), number(driver.holders),
                                    quoted(card.number), number(card.generation),
                                    downloadCells(card.lastDownload, book), number(card.counts)} +
                     totals);
            std::fill(totals.begin(), totals.end(), QByteArray());
        }
    }
    return result;
}

QByteArray cardLines(const Logbook& book) {
    QByteArray result = "key,file,downloaded,type,generation,cardNumber,holder\r\n";
    for (const LogFile& file : book.files) {
        if (file.status == LogFile::Ok && file.kind == LogFile::Card)
            result += line({quoted(file.key), quoted(file.name), time(file.downloaded),
                            cardTypeName(file.cardType).toLatin1(), number(file.cardGeneration),
                            quoted(file.cardNumber), quoted(file.holder)});
    }
    return result;
}

QByteArray fileLines(const Logbook& book) {
    QByteArray result = "key,file,kind,downloaded,status,reason,copy,contents\r\n";
    for (const LogFile& file : book.files)
        result += line({quoted(file.key), quoted(file.name), kindNames[file.kind],
                        time(file.downloaded), statusNames[file.status], quoted(file.reason),
                        copyNames[file.copy], quoted(file.contents)});
    return result;
}

const std::pair<const char*, QByteArray (*)(const Logbook&)> kinds[] = {
    {"insertions", insertionLines}, {"gaps", gapLines},   {"vehicles", vehicleLines},
    {"drivers", driverLines},       {"cards", cardLines}, {"files", fileLines},
};

} // namespace

QStringList csvKinds() {
    QStringList result;
    for (const auto& [name, lines] : kinds)
        result.append(QLatin1String(name));
    return result;
}

void writeCsv(const Logbook& book, const Options& options, QIODevice& out) {
    for (const auto& [name, lines] : kinds) {
        if (options.viewArgument == QLatin1String(name))
            out.write(lines(book));
    }
}

} // namespace readkey
