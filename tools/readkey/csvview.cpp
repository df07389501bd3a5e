// CSV with one header line, of each kind that --csv takes. Numbers are whole, a yes is 1 and a no
// is 0, and what is not known is empty.
#include "clock.h"
#include "options.h"
#include "text.h"

#include <algorithm>

namespace readkey {

namespace {

// A backslash is doubled, so that what printable() shows as an escape can be turned back.
QByteArray csvLine(const QStringList& cells) {
    QStringList quoted;
    for (const QString& cell : cells) {
        QString text = printable(QString(cell).replace(QLatin1Char('\\'), QLatin1String("\\\\")));
        if (text.contains(QLatin1Char('"')) || text.contains(QLatin1Char(',')))
            text = QLatin1Char('"') + text.replace(QLatin1Char('"'), QLatin1String("\"\"")) +
                   QLatin1Char('"');
        quoted.append(text);
    }
    return quoted.join(QLatin1Char(',')).toUtf8() + "\r\n";
}

QString timeCell(std::optional<qint64> seconds) {
    return seconds ? QString::fromLatin1(utcTime(*seconds)) : QString();
}

QString number(qint64 value) {
    return QString::number(value);
}

QByteArray insertionLines(const Logbook& book) {
    QByteArray result = "key,file,plate,holder,slot,inserted,odometerAtInsertion,withdrawn,"
                        "odometerAtWithdrawal,driversOfName,crosses\r\n";
    for (const Insertion& insertion : book.insertions) {
        const LogFile& file = book.files[insertion.file];
        const DriverSummary& driver = book.drivers[insertion.driver];
        result +=
            csvLine({file.key, file.name, file.plate, driver.name, number(insertion.slot),
                     timeCell(insertion.inserted), numberText(insertion.odometerAtInsertion),
                     timeCell(insertion.withdrawn), numberText(insertion.odometerAtWithdrawal),
                     number(driver.holders), number(insertion.crosses)});
    }
    return result;
}

QByteArray gapLines(const Logbook& book) {
    QByteArray result = "plate,missing,from,odometerFrom,to,odometerTo,kilometres,crosses\r\n";
    for (const Gap& gap : book.gaps)
        result +=
            csvLine({book.vehicles[gap.vehicle].plate, QLatin1String(gapNames[gap.kind]),
                     timeCell(gap.from), numberText(gap.odometerFrom), timeCell(gap.to),
                     numberText(gap.odometerTo), numberText(gap.distance()), number(gap.crosses)});
    return result;
}

QByteArray vehicleLines(const Logbook& book) {
    QByteArray result =
        "plate,downloaded,asOf,ageDays,overdue,knownFrom,drivers,insertions,cardInSeconds,"
        "kilometres,kilometresWithoutCard,kilometresWithoutData,crossingInsertions,"
        "crossingSeconds,crossingKilometres,crossingKilometresWithoutCard,"
        "crossingKilometresWithoutData\r\n";
    for (const VehicleSummary& vehicle : book.vehicles) {
        const Download& download = vehicle.lastDownload;
        QStringList cells{vehicle.plate,
                          timeCell(download.time),
                          book.asOf.toString(Qt::ISODate),
                          numberText(download.age),
                          number(download.isOverdue),
                          timeCell(vehicle.knownFrom),
                          number(vehicle.drivers)};
        for (const Totals& totals : {vehicle.totals, vehicle.crossing})
            cells += {number(totals.insertions), number(totals.seconds), number(totals.kilometres),
                      number(totals.kilometresWithoutCard), number(totals.kilometresWithoutData)};
        result += csvLine(cells);
    }
    return result;
}

// A line for each card; the totals of all are in the first, so that columns add up.
QByteArray driverLines(const Logbook& book) {
    QByteArray result = "driver,driversOfName,cardNumber,generation,downloaded,asOf,ageDays,"
                        "overdue,counts,vehicles,"
                        "insertions,cardInSeconds,kilometres,crossingInsertions,crossingSeconds,"
                        "crossingKilometres\r\n";
    for (const DriverSummary& driver : book.drivers) {
        QStringList totals{number(driver.vehicles)};
        for (const Totals& part : {driver.totals, driver.crossing})
            totals += {number(part.insertions), number(part.seconds), number(part.kilometres)};
        for (const CardSummary& card : driver.lines()) {
            const Download& download = card.lastDownload;
            result += csvLine(QStringList{driver.name, number(driver.holders), card.number,
                                          card.generation > 0 ? number(card.generation) : QString(),
                                          timeCell(download.time), book.asOf.toString(Qt::ISODate),
                                          numberText(download.age), number(download.isOverdue),
                                          number(card.counts)} +
                              totals);
            std::fill(totals.begin(), totals.end(), QString());
        }
    }
    return result;
}

QByteArray cardLines(const Logbook& book) {
    QByteArray result = "key,file,downloaded,type,generation,cardNumber,holder\r\n";
    for (const LogFile& file : book.files) {
        if (file.status == LogFile::Ok && file.kind == LogFile::Card)
            result += csvLine({file.key, file.name, timeCell(file.downloaded),
                               cardTypeName(file.cardType), number(file.cardGeneration),
                               file.cardNumber, file.holder});
    }
    return result;
}

QByteArray fileLines(const Logbook& book) {
    QByteArray result = "key,file,kind,downloaded,status,reason,copy,contents\r\n";
    for (const LogFile& file : book.files)
        result += csvLine({file.key, file.name, QLatin1String(kindNames[file.kind]),
                           timeCell(file.downloaded), QLatin1String(statusNames[file.status]),
                           file.reason, QLatin1String(copyNames[file.copy]), file.contents});
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
