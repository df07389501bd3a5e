#include "tableoutput.h"

#include "console.h"
#include "text.h"

#include "downloadkey/filenames.h"
#include "scard/scardgeneric.h"

#include <QtCore/QVector>

#include <algorithm>

namespace readkey {

namespace {

enum class Align { Left, Right };

// Rows of cells in columns as wide as their widest cell.
class Table {
public:
    explicit Table(const QVector<Align>& alignment, const QStringList& header)
        : m_alignment(alignment) {
        addRow(header);
    }

    void addRow(const QStringList& cells) {
        QStringList row;
        for (const QString& cell : cells)
            row.append(printable(cell));
        m_rows.append(row);
    }

    QString text() const {
        QVector<int> widths(m_alignment.size());
        for (const QStringList& row : m_rows)
            for (int i = 0; i < row.size(); ++i)
                widths[i] = std::max(widths[i], displayWidth(row[i]));
        QString result;
        for (const QStringList& row : m_rows) {
            QString line;
            for (int i = 0; i < row.size(); ++i) {
                const QString blanks(widths[i] - displayWidth(row[i]), QLatin1Char(' '));
                line += QLatin1String("  ") +
                        (m_alignment[i] == Align::Left ? row[i] + blanks : blanks + row[i]);
            }
            while (line.endsWith(QLatin1Char(' ')))
                line.chop(1);
            result += line + QLatin1Char('\n');
        }
        return result;
    }

private:
    QVector<Align> m_alignment;
    QVector<QStringList> m_rows;
};

QString counted(size_t count, const QString& one, const QString& many) {
    return QString::number(count) + QLatin1Char(' ') + (count == 1 ? one : many);
}

QString cardTypeName(int type) {
    switch (type) {
    case 1:
        return QStringLiteral("driver");
    case 2:
        return QStringLiteral("workshop");
    case 3:
        return QStringLiteral("control");
    case 4:
        return QStringLiteral("company");
    default:
        return QString::number(type);
    }
}

QString slotName(quint16 slot) {
    return slot == 0   ? QStringLiteral("driver")
           : slot == 1 ? QStringLiteral("co-driver")
                       : QString::number(slot);
}

QString distance(const downloadkey::VehicleInfo::_FeDriverActivities& activity) {
    if (activity.odometerAtInsertion == NoOdometer || activity.odometerAtWithdrawal == NoOdometer ||
        activity.odometerAtWithdrawal < activity.odometerAtInsertion)
        return QStringLiteral("-");
    return QString::number(activity.odometerAtWithdrawal - activity.odometerAtInsertion);
}

QString cardsText(const KeyContents& contents) {
    if (contents.cards.empty())
        return QStringLiteral("Driver cards: none\n");
    Table table({Align::Left, Align::Right, Align::Left, Align::Left},
                {QStringLiteral("Type"), QStringLiteral("Gen"), QStringLiteral("Card number"),
                 QStringLiteral("Holder")});
    for (const auto& card : contents.cards)
        table.addRow({cardTypeName(card->getCardType()),
                      card->is2ndGeneneration() ? QStringLiteral("2") : QStringLiteral("1"),
                      card->cardNumber(), card->holderName()});
    return QStringLiteral("Driver cards\n") + table.text();
}

QString vehicleText(const VehicleFile& vehicle,
                    const std::vector<downloadkey::VehicleInfo::_FeDriverActivities>& activities) {
    QDateTime time;
    getModificationTimeFromFileName(vehicle.name, time);
    const QString heading = QStringLiteral("\nVehicle %1, downloaded %2 (%3)\n")
                                .arg(printable(vehicle.info->getPlateString()), localTime(time),
                                     printable(vehicle.name));
    if (activities.empty())
        return heading + QStringLiteral("  no card insertions\n");
    const QString none = QStringLiteral("-");
    Table table({Align::Left, Align::Left, Align::Left, Align::Left, Align::Right, Align::Right,
                 Align::Right},
                {QStringLiteral("Holder"), QStringLiteral("Slot"), QStringLiteral("From"),
                 QStringLiteral("To"), QStringLiteral("km from"), QStringLiteral("km to"),
                 QStringLiteral("Distance")});
    for (const auto& activity : activities)
        table.addRow({activity.holderName, slotName(activity.slot),
                      localTime(activity.insertionTime), localTime(activity.withdrawalTime),
                      odometer(activity.odometerAtInsertion, none),
                      odometer(activity.odometerAtWithdrawal, none), distance(activity)});
    return heading + table.text();
}

QString filesText(const KeyContents& contents) {
    if (contents.offered.empty())
        return QStringLiteral("\nFiles: none\n");
    static const QString copyNames[] = {QString(), QStringLiteral("copied"), QStringLiteral("kept"),
                                        QStringLiteral("NOT COPIED")};
    Table table({Align::Left, Align::Left, Align::Left, Align::Left},
                {QStringLiteral("Downloaded"), QStringLiteral("Kind"), QStringLiteral("Name"),
                 contents.offered.front().copy == OfferedFile::NotAsked ? QString()
                                                                        : QStringLiteral("Copy")});
    for (const OfferedFile& offered : contents.offered)
        table.addRow({localTime(offered.file.time),
                      offered.isCard ? QStringLiteral("card") : QStringLiteral("vehicle"),
                      offered.file.name, copyNames[offered.copy]});
    return QStringLiteral("\nFiles\n") + table.text();
}

QString summaryText(const KeyContents& contents, size_t insertions) {
    QString result =
        QLatin1Char('\n') +
        QStringList{
            counted(contents.offered.size(), QStringLiteral("file"), QStringLiteral("files")),
            counted(contents.cards.size(), QStringLiteral("driver card"),
                    QStringLiteral("driver cards")),
            counted(contents.vehicles.size(), QStringLiteral("vehicle download"),
                    QStringLiteral("vehicle downloads")),
            counted(insertions, QStringLiteral("card insertion"),
                    QStringLiteral("card insertions"))}
            .join(QStringLiteral(", "));
    if (contents.others > 0)
        result += QStringLiteral("; ") + counted(static_cast<size_t>(contents.others),
                                                 QStringLiteral("other entry left alone"),
                                                 QStringLiteral("other entries left alone"));
    for (const bool card : {true, false}) {
        const auto count =
            std::count_if(contents.offered.begin(), contents.offered.end(),
                          [card](const OfferedFile& file) { return file.isCard == card; });
        if (count > ParsedFiles)
            result += QStringLiteral("; only the %1 newest %2 files were looked into")
                          .arg(ParsedFiles)
                          .arg(card ? QStringLiteral("card") : QStringLiteral("vehicle"));
    }
    return result + QStringLiteral(".\n");
}

} // namespace

void TableOutput::contents(const KeyContents& contents) {
    if (!contents.complete)
        out().write(QStringLiteral(
            "THE KEY WAS NOT READ COMPLETELY: see the errors. What follows could be read.\n\n"));
    out().write(cardsText(contents));
    if (contents.vehicles.empty())
        out().write(QStringLiteral("\nVehicles: none\n"));
    size_t insertions = 0;
    for (const VehicleFile& vehicle : contents.vehicles) {
        const auto activities = vehicle.info->getDriverActivities();
        insertions += activities.size();
        out().write(vehicleText(vehicle, activities));
    }
    out().write(filesText(contents));
    out().write(summaryText(contents, insertions));
}

} // namespace readkey
