#pragma once

#include <QString>
#include <QUuid>
#include <string>
#include <vector>

// One file of a package's BoatLogs/ folder and where it comes from.
struct PackageFile {
    QString source; // absolute path of the file now
    QString name;   // its name in BoatLogs/
    QUuid logAsset; // the log it belongs to; null for a file no log names
};

// Everything a save writes, taken from the document on its own thread in one go, so that the
// files can be written on another thread while the document stays as it is.
struct PackageWritePlan {
    QString target;      // the package folder, absolute
    std::string content; // content.json
    std::vector<PackageFile> files;
    unsigned long long changeCount = 0; // the document's change count when the plan was made
};
