#include "document/AssetSync.h"

#include "boatlog/BoatLog.h"
#include "boatlog/LogFileAsset.h"
#include "core/Unit.h"
#include "document/Document.h"
#include "media/CameraTrack.h"
#include "media/MediaAsset.h"
#include "metrics/Boat.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace {
constexpr double missing = std::numeric_limits<double>::quiet_NaN();
constexpr double searchSeconds = 600.0;
} // namespace

AssetSync::Proposal AssetSync::propose(const Document& document, const std::shared_ptr<MediaAsset>& asset,
                                       std::shared_ptr<Boat> boat) {
    if (!asset || asset->isPhoto())
        return {std::nullopt, QStringLiteral("only a video can be synced")};
    if (!boat)
        boat = document.mainBoat();
    if (!boat)
        return {std::nullopt, QStringLiteral("the event has no main boat to sync with")};
    std::optional<CameraTrack> track = CameraTrack::read(asset->url().toLocalFile());
    if (!track || track->lockedPoints().size() < 2)
        return {std::nullopt, QStringLiteral("the video has no camera GPS with a locked fix")};
    const CameraSync::Series camera = cameraSeries(*track, asset->startTime());
    const CameraSync::Series data =
        boatSeries(document, boat, Instant(camera.times.front()) - searchSeconds - 1,
                   Instant(camera.times.back()) + searchSeconds + 1);
    if (data.times.size() < 2)
        return {std::nullopt,
                QStringLiteral("%1 has no logged data within 10 minutes of the video").arg(boat->fullName())};
    auto result = CameraSync::find(camera, data, searchSeconds);
    if (!result)
        return {std::nullopt, QStringLiteral("the video and the logs of %1 do not overlap enough to compare")
                                  .arg(boat->fullName())};
    return {result, {}};
}

CameraSync::Series AssetSync::cameraSeries(const CameraTrack& track, Instant start) {
    CameraSync::Series series;
    for (const CameraTrackPoint& point : track.points) {
        if (!point.locked)
            continue;
        const double time = (start + point.fileTime).secondsSinceReference();
        if (!series.times.empty() && time <= series.times.back())
            continue;
        series.times.push_back(time);
        series.speeds.push_back(point.speed);
        series.latitudes.push_back(point.latitude);
        series.longitudes.push_back(point.longitude);
    }
    return series;
}

CameraSync::Series AssetSync::boatSeries(const Document& document, const std::shared_ptr<Boat>& boat,
                                         Instant from, Instant to) {
    struct Row {
        double time, speed, latitude, longitude;
    };
    std::vector<Row> rows;
    const BoatMetric sog(BoatMetric::Case::SOG), lat(BoatMetric::Case::Lat), lon(BoatMetric::Case::Lon);
    auto read = [](const BoatLog& log, BoatLogIndex i, const BoatMetric& metric, const Unit* unit) {
        std::optional<Measurement> value = log.value(i, metric);
        if (!value)
            return missing;
        return unit && value->canConvert(*unit) ? value->converted(*unit).value() : value->value();
    };
    for (const auto& asset : document.logAssets(boat)) {
        const auto& log = asset->boatLog();
        if (!log)
            continue;
        std::optional<BoatLogIndex> last = log->lastIndex();
        if (!last)
            continue;
        // A log that begins inside the window is read from its first record.
        std::optional<BoatLogIndex> first = log->firstIndexAfter(from);
        if (!first && from < log->startIndex().time)
            first = log->startIndex();
        for (std::optional<BoatLogIndex> i = first; i && *i <= *last && i->time <= to;
             i = log->indexAfter(*i)) {
            rows.push_back({i->time.secondsSinceReference(),
                            read(*log, *i, sog, &UnitSpeed::metersPerSecond()), read(*log, *i, lat, nullptr),
                            read(*log, *i, lon, nullptr)});
        }
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.time < b.time; });
    CameraSync::Series series;
    for (const Row& row : rows) {
        if (!series.times.empty() && row.time <= series.times.back())
            continue;
        series.times.push_back(row.time);
        series.speeds.push_back(row.speed);
        series.latitudes.push_back(row.latitude);
        series.longitudes.push_back(row.longitude);
    }
    return series;
}
