#pragma once

#include "boatlog/LogFileAsset.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <functional>
#include <memory>
#include <string>

// Runs logutils-cli on files written into a temporary folder.
class ConverterRun {
public:
    ConverterRun();

    // Writes `text` to a file of that name in the folder; answers its path.
    QString write(const QString& name, const std::string& text);
    QString path(const QString& name) const { return dir_.filePath(name); }
    QStringList entries() const;

    struct Outcome {
        int exitCode = -1;
        std::string out;
        std::string err;
    };
    // `logutils-cli convert -o OUT --boatLength 10 --gpsOffset 1 EXTRA… INPUTS…`
    Outcome convert(const QString& output, const QStringList& inputs, const QStringList& extra = {});
    // `childSetup` runs in the child before the converter starts (to set a resource limit, say).
    static Outcome run(const QStringList& arguments, const std::function<void()>& childSetup = {});

    // Opens a converted log as the desktop program does.
    std::shared_ptr<LogFileAsset> open(const QString& output) const;

private:
    QTemporaryDir dir_;
};

// The value of `metric` in record `row`, NaN when absent.
double cell(const LogFileAsset& asset, std::int64_t row, const std::string& metric);
// "$" + body + "*" + checksum + line feed: an NMEA 0183 sentence as instruments send it.
std::string nmeaSentence(const std::string& body);
