#include "ConverterFixture.h"

#include "metrics/Boat.h"
#include "support/LogFixture.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QUuid>
#include <cmath>
#include <cstdio>

ConverterRun::ConverterRun() = default;

QString ConverterRun::write(const QString& name, const std::string& text) {
    QFile file(dir_.filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(text.data(), static_cast<qint64>(text.size()));
    return file.fileName();
}

QStringList ConverterRun::entries() const {
    return QDir(dir_.path()).entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
}

ConverterRun::Outcome ConverterRun::run(const QStringList& arguments,
                                        const std::function<void()>& childSetup) {
    QProcess process;
    if (childSetup)
        process.setChildProcessModifier(childSetup);
    process.start(LOGUTILS_PROGRAM, arguments);
    process.waitForFinished(60000);
    Outcome outcome;
    outcome.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    outcome.out = process.readAllStandardOutput().toStdString();
    outcome.err = process.readAllStandardError().toStdString();
    return outcome;
}

ConverterRun::Outcome ConverterRun::convert(const QString& output, const QStringList& inputs,
                                            const QStringList& extra) {
    return run(QStringList{"convert", "-o", output, "--boatLength", "10", "--gpsOffset", "1"} + extra +
               inputs);
}

std::shared_ptr<LogFileAsset> ConverterRun::open(const QString& output) const {
    DiagnosticsCapture quiet;
    auto boat = Boat::create("Test", "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    return LogFileAsset::open(output, boat, QUuid::createUuid(), 0.0, TimeZone::utc());
}

double cell(const LogFileAsset& asset, std::int64_t row, const std::string& metric) {
    auto value = asset.boatLog()->value({row, {}}, BoatMetric(metric));
    return value ? value->value() : NAN;
}

std::string nmeaSentence(const std::string& body) {
    unsigned sum = 0;
    for (char c : body)
        sum ^= static_cast<unsigned char>(c);
    char tail[8];
    std::snprintf(tail, sizeof tail, "*%02X", sum);
    return "$" + body + tail + "\n";
}
