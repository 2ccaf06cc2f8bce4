#include "document/LogImport.h"

#include "core/FatalError.h"
#include "document/LogConverter.h"
#include "metrics/Boat.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QUuid>

namespace {

QString extensionOf(const QString& path) {
    return QFileInfo(path).suffix().toLower();
}

std::shared_ptr<LogFileAsset> openLog(const QString& path, const std::shared_ptr<Boat>& boat,
                                      const TimeZone& zone, QString& failure) {
    QString reason;
    auto asset = LogFileAsset::open(path, boat, QUuid::createUuid(), 0, std::nullopt, &reason);
    if (!asset) {
        failure =
            QStringLiteral("%1 cannot be used as a boat log: %2.").arg(QFileInfo(path).fileName(), reason);
        return nullptr;
    }
    if (!asset->parseContextTimeZone())
        asset->setFileTimeZone(zone);
    return asset;
}

} // namespace

bool isConvertibleLogFile(const QString& path) {
    static const QStringList convertible{"csv", "gpx", "vcc", "kml", "log", "hdf5"};
    return convertible.contains(extensionOf(path));
}

LogImportRoad logImportRoad(const QStringList& files) {
    if (files.size() == 1 && extensionOf(files.front()) == QLatin1String("hdf5"))
        return LogImportRoad::direct;
    // Files the converter cannot read are left out of its run; it is given the rest.
    for (const QString& file : files)
        if (isConvertibleLogFile(file))
            return LogImportRoad::convert;
    return LogImportRoad::none;
}

QString logImportFolder() {
    static QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/wakeline-XXXXXX"));
    return folder.path();
}

LogImportResult importLogs(const QStringList& files, const std::shared_ptr<Boat>& boat, const TimeZone& zone,
                           const std::function<void(const QString&)>& line, const std::atomic<bool>* cancel) {
    if (!boat)
        fatalError("Importing logs needs a boat");
    LogImportResult result;
    switch (logImportRoad(files)) {
    case LogImportRoad::none:
        return result;
    case LogImportRoad::direct:
        result.asset = openLog(files.front(), boat, zone, result.failure);
        return result;
    case LogImportRoad::convert:
        break;
    }

    const QString folder = logImportFolder();
    if (folder.isEmpty()) {
        result.failure = QStringLiteral("No temporary folder could be made for the converted log.");
        return result;
    }
    LogConverter::Request request;
    for (const QString& file : files)
        if (isConvertibleLogFile(file))
            request.inputs << file;
    request.boatLength = boat->boatLength();
    request.gpsOffset = boat->gpsOffset();
    request.output = QDir(folder).filePath(QUuid::createUuid().toString(QUuid::WithoutBraces) + ".hdf5");
    LogConverter::Result run = LogConverter::run(request, line, cancel);
    result.cancelled = run.cancelled;
    if (!run.succeeded()) {
        result.failure = run.failure;
        return result;
    }
    result.asset = openLog(request.output, boat, zone, result.failure);
    if (!result.asset)
        QFile::remove(request.output);
    return result;
}
