#pragma once

#include "boatlog/LogFileAsset.h"
#include "core/TimeZone.h"

#include <QString>
#include <QStringList>
#include <atomic>
#include <functional>
#include <memory>

class Boat;

struct LogImportResult {
    std::shared_ptr<LogFileAsset> asset;
    // Why there is no asset, in words for the user; empty when there was nothing to import.
    QString failure;
    bool cancelled = false;
};

// Which way chosen files take: one HDF5 boat log opens as it is; anything else the converter
// reads, all files in one run; files it cannot read give nothing at all.
enum class LogImportRoad { none, direct, convert };
LogImportRoad logImportRoad(const QStringList& files);
// Whether the converter reads files of this name ("csv", "gpx", "vcc", "kml", "log", "hdf5").
bool isConvertibleLogFile(const QString& path);

// Where converted logs wait until a save copies them into a package: one folder per process,
// removed when the process ends.
QString logImportFolder();

// Imports files as one log of `boat`. A converted log goes to logImportFolder() under a new UUID;
// `zone` reads the clock times of a log whose converter recorded no zone of its own. Converter
// output lines go to `line`. Synchronous and slow: the desktop program calls it off the main
// thread. The asset is not added to any document.
LogImportResult importLogs(const QStringList& files, const std::shared_ptr<Boat>& boat, const TimeZone& zone,
                           const std::function<void(const QString&)>& line,
                           const std::atomic<bool>* cancel = nullptr);
