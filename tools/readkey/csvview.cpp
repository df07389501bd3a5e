// CSV with one header line: insertions, cards or files.
#include "text.h"
#include "views.h"

#include <QtCore/QStringList>

namespace readkey {

namespace {

QString csvLine(const QStringList& cells) {
    QStringList quoted;
    for (const QString& cell : cells) {
        QString text = printable(cell);
        if (text.contains(QLatin1Char('"')) || text.contains(QLatin1Char(',')))
            text = QLatin1Char('"') + text.replace(QLatin1Char('"'), QLatin1String("\"\"")) +
                   QLatin1Char('"');
        quoted.append(text);
    }
    return quoted.join(QLatin1Char(',')) + QLatin1String("\r\n");
}

QString timeCell(qint64 seconds) {
    return QString::fromLatin1(utcTime(seconds));
}

QString downloadCell(const LogFile& file) {
    return file.downloaded.isValid() ? timeCell(file.downloaded.toSecsSinceEpoch()) : QString();
}

template <typename Number>
QString numberCell(const std::optional<Number>& number) {
    return number ? QString::number(*number) : QString();
}

// So many that they are written in pieces.
QString insertionLines(const Logbook& book, QIODevice& out) {
    constexpr int pieceSize = 65536;
    QString result =
        QStringLiteral("key,file,plate,holder,slot,inserted,odometerAtInsertion,withdrawn,"
                       "odometerAtWithdrawal\r\n");
    for (const Insertion& insertion : book.insertions) {
        const LogFile& file = book.files[static_cast<size_t>(insertion.file)];
        const QString& holder = book.drivers[static_cast<size_t>(insertion.driver)].name;
        result += csvLine({file.key, file.name, file.plate,
                           holder == QLatin1String("-") ? QString() : holder,
                           QString::number(insertion.slot), timeCell(insertion.inserted),
                           numberCell(insertion.odometerAtInsertion),
                           insertion.withdrawn ? timeCell(*insertion.withdrawn) : QString(),
                           numberCell(insertion.odometerAtWithdrawal)});
        if (result.size() > pieceSize) {
            out.write(result.toUtf8());
            result.clear();
        }
    }
    return result;
}

QString cardLines(const Logbook& book) {
    QString result = QStringLiteral("key,file,downloaded,type,generation,cardNumber,holder\r\n");
    for (const LogFile& file : book.files) {
        if (file.status == LogFile::Ok && file.kind == LogFile::Card)
            result += csvLine({file.key, file.name, downloadCell(file), cardTypeName(file.cardType),
                               QString::number(file.cardGeneration), file.cardNumber, file.holder});
    }
    return result;
}

QString fileLines(const Logbook& book) {
    static const char* const kinds[] = {"card", "vehicle", ""};
    static const char* const states[] = {"ok", "failed", "skipped"};
    static const char* const copies[] = {"", "copied", "kept", "failed"};
    QString result = QStringLiteral("key,file,kind,downloaded,status,reason,copy,contents\r\n");
    for (const LogFile& file : book.files)
        result += csvLine({file.key, file.name, QLatin1String(kinds[file.kind]), downloadCell(file),
                           QLatin1String(states[file.status]), file.reason,
                           QLatin1String(copies[file.copy]), file.contents});
    return result;
}

} // namespace

void writeCsv(const Logbook& book, const Options& options, QIODevice& out) {
    const QString text = options.viewArgument == QLatin1String("cards") ? cardLines(book)
                         : options.viewArgument == QLatin1String("files")
                             ? fileLines(book)
                             : insertionLines(book, out);
    out.write(text.toUtf8());
}

} // namespace readkey
