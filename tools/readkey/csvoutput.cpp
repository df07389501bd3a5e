#include "csvoutput.h"

#include "console.h"
#include "text.h"

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

QString cellTime(const QDateTime& time) {
    return isOpenEnd(time) ? QString() : utcTime(time);
}

} // namespace

void CsvOutput::openReturned(const aux::Error& error) {
    if (error.isEmpty())
        out().write(QStringLiteral("file,plate,holder,slot,insertion time,odometer,withdrawal time,"
                                   "odometer\r\n"));
}

void CsvOutput::contents(const KeyContents& contents) {
    for (const VehicleFile& vehicle : contents.vehicles) {
        const QString plate = vehicle.info->getPlateString();
        QString lines;
        for (const auto& activity : vehicle.info->getDriverActivities())
            lines += csvLine({vehicle.name, plate, activity.holderName,
                              QString::number(activity.slot), cellTime(activity.insertionTime),
                              odometer(activity.odometerAtInsertion, QString()),
                              cellTime(activity.withdrawalTime),
                              odometer(activity.odometerAtWithdrawal, QString())});
        out().write(lines);
    }
}

} // namespace readkey
