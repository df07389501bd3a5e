// CSV with one header line: insertions, cards or files.
#include "clock.h"
#include "options.h"
#include "text.h"

namespace readkey {

namespace {

QByteArray csvLine(const QStringList& cells) {
    QStringList quoted;
    for (const QString& cell : cells) {
        QString text = printable(cell);
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

QByteArray insertionLines(const Logbook& book) {
    QByteArray result = "key,file,plate,holder,slot,inserted,odometerAtInsertion,withdrawn,"
                        "odometerAtWithdrawal\r\n";
    for (const Insertion& insertion : book.insertions) {
        const LogFile& file = book.files[insertion.file];
        result += csvLine({file.key, file.name, file.plate, book.drivers[insertion.driver].name,
                           QString::number(insertion.slot), timeCell(insertion.inserted),
                           numberText(insertion.odometerAtInsertion), timeCell(insertion.withdrawn),
                           numberText(insertion.odometerAtWithdrawal)});
    }
    return result;
}

QByteArray cardLines(const Logbook& book) {
    QByteArray result = "key,file,downloaded,type,generation,cardNumber,holder\r\n";
    for (const LogFile& file : book.files) {
        if (file.status == LogFile::Ok && file.kind == LogFile::Card)
            result += csvLine({file.key, file.name, timeCell(file.downloaded),
                               cardTypeName(file.cardType), QString::number(file.cardGeneration),
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

} // namespace

void writeCsv(const Logbook& book, const Options& options, QIODevice& out) {
    out.write(options.viewArgument == QLatin1String("cards")   ? cardLines(book)
              : options.viewArgument == QLatin1String("files") ? fileLines(book)
                                                               : insertionLines(book));
}

} // namespace readkey
