#include "app/ExamineCommand.h"

#include "app/DocumentSummary.h"
#include "app/TimeArgument.h"
#include "boatlog/BoatLogView.h"
#include "boatlog/LogFileAsset.h"
#include "boatlog/LogSummary.h"
#include "core/Diagnostics.h"
#include "metrics/Boat.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QUuid>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

int usageError(const QString& message) {
    std::fprintf(stderr, "wakeline inspect: %s\n", qPrintable(message));
    std::fprintf(stderr,
                 "usage: wakeline inspect LOG.hdf5 [--zone ID] [--offset S] [--at TIME [--interpolated]] "
                 "[--metric KEY]...\n");
    return 2;
}

ordered_json viewJson(const BoatLogView& view, const std::vector<BoatMetric>& metrics) {
    ordered_json json;
    json["index"] = view.index().index;
    json["time"] = view.time().unixSeconds();
    json["interpolated"] = view.interpolated() != nullptr;
    if (const auto* interpolated = view.interpolated()) {
        json["leftIndex"] = interpolated->leftIndex().index;
        json["rightIndex"] = interpolated->rightIndex().index;
        json["leftWeight"] = interpolated->leftWeight();
    }
    ordered_json values = ordered_json::object();
    for (const auto& metric : metrics) {
        auto value = view.value(metric);
        if (value) {
            values[metric.rawKey()] = {{"value", value->value()},
                                       {"unit", std::string(value->unit().symbol())}};
        } else {
            values[metric.rawKey()] = nullptr;
        }
    }
    json["values"] = std::move(values);
    return json;
}

} // namespace

int ExamineCommand::run(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addPositionalArgument("file", "A converted boat log (.hdf5) or a document package.");
    QCommandLineOption zoneOption("zone", "Time zone of the log's clock times (default UTC).", "ID");
    QCommandLineOption offsetOption("offset", "Time offset in seconds added to the log (default 0).", "S");
    QCommandLineOption atOption("at", "Show the log's values at TIME (Unix seconds or ISO 8601).", "TIME");
    QCommandLineOption interpolatedOption("interpolated", "Blend the neighbouring records at TIME.");
    QCommandLineOption metricOption("metric", "A metric to show at TIME (repeatable; default all).", "KEY");
    parser.addOptions({zoneOption, offsetOption, atOption, interpolatedOption, metricOption});
    if (!parser.parse(arguments))
        return usageError(parser.errorText());
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 1)
        return usageError("expected one file");

    TimeZone zone = TimeZone::utc();
    if (parser.isSet(zoneOption)) {
        auto named = TimeZone::fromIdentifier(parser.value(zoneOption).toStdString());
        if (!named)
            return usageError("unknown time zone \"" + parser.value(zoneOption) + "\"");
        zone = *named;
    }
    double offset = 0.0;
    if (parser.isSet(offsetOption)) {
        bool ok = false;
        offset = parser.value(offsetOption).toDouble(&ok);
        if (!ok)
            return usageError("--offset needs a number of seconds");
    }
    std::optional<Instant> at;
    if (parser.isSet(atOption)) {
        at = parseTimeArgument(parser.value(atOption).toStdString());
        if (!at)
            return usageError("cannot read the time \"" + parser.value(atOption) + "\"");
    }

    // Diagnostics go to stderr so that stdout holds only the JSON.
    Diagnostics::setStream(stderr);
    const QString path = positional.front();
    if (QFileInfo(path).isDir())
        return DocumentSummary::run(path, at);
    auto boat =
        Boat::create(QFileInfo(path).completeBaseName(), "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    QString failure;
    auto asset = LogFileAsset::open(QFileInfo(path).absoluteFilePath(), boat, QUuid::createUuid(), offset,
                                    zone, &failure);
    if (!asset) {
        std::fprintf(stderr, "wakeline inspect: cannot load %s: %s\n", qPrintable(path), qPrintable(failure));
        return 1;
    }
    const DoubleArrayBoatLog& log = *asset->boatLog();

    ordered_json json = logSummary(*asset);

    json["view"] = nullptr;
    if (at) {
        if (auto view = log.view(*at, parser.isSet(interpolatedOption))) {
            std::vector<BoatMetric> metrics;
            if (parser.isSet(metricOption)) {
                for (const QString& key : parser.values(metricOption))
                    metrics.emplace_back(key.toStdString());
            } else {
                metrics = log.availableMetrics();
            }
            json["view"] = viewJson(*view, metrics);
        }
    }
    std::cout << json.dump(2) << std::endl;
    return 0;
}
