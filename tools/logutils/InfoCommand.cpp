#include "InfoCommand.h"

#include "boatlog/LogFileAsset.h"
#include "boatlog/LogSummary.h"
#include "core/Diagnostics.h"
#include "metrics/Boat.h"
#include "readers/Hdf5LogReader.h"
#include "readers/LineReader.h"

#include <QFileInfo>
#include <QUuid>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

int InfoCommand::run(const std::string& path) {
    // The reader's own lines ("Loaded …", warnings) go to stderr; stdout holds only the JSON.
    Diagnostics::setStream(stderr);
    const QString file = QString::fromStdString(path);
    if (!QFileInfo(file).isFile()) {
        std::fprintf(stderr, "Error: no file at %s\n", path.c_str());
        return 2;
    }
    // Only an HDF5 file is handed to the library: it is a boat log or nothing.
    std::string reason;
    auto lines = LineReader::openFile(path, reason);
    if (!lines || !Hdf5LogReader::recognises(lines->head())) {
        std::fprintf(stderr, "Error: %s is not a readable boat log\n", path.c_str());
        return 2;
    }
    lines.reset();
    auto boat =
        Boat::create(QFileInfo(file).completeBaseName(), "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    auto asset =
        LogFileAsset::open(QFileInfo(file).absoluteFilePath(), boat, QUuid::createUuid(), 0.0, std::nullopt);
    if (!asset) {
        std::fprintf(stderr, "Error: %s is not a readable boat log\n", path.c_str());
        return 2;
    }
    ordered_json json = logSummary(*asset);
    std::cout << json.dump(2) << std::endl;
    return 0;
}
