#include <downloadkey/downloadkey.h>

#include <auxiliary/configuration.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    aux::Configuration configuration;
    downloadkey::DownloadKey key(configuration);
    using downloadkey::DownloadKey;
    QObject::connect(&key, &DownloadKey::downloadFile,
                     [](const QString& file) { qInfo() << file; });
    QObject::connect(&key, &DownloadKey::readDone, [](const auto&, const auto& vehicles) {
        for (const auto& vehicle : vehicles)
            for (const auto& activity : vehicle->getDriverActivities())
                qInfo() << vehicle->getPlateString() << activity.holderName
                        << activity.insertionTime;
    });
    QDir mountDir(QString::fromLocal8Bit(argv[argc - 1]));
    return key.open(mountDir).isEmpty() && key.read().isEmpty() ? 0 : 1;
}
