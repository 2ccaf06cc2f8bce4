#include "map/RaceMap.h"

#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "document/RaceAtPosition.h"
#include "map/BoatLogReading.h"
#include "map/ColorBlending.h"
#include "map/Geodesy.h"
#include "map/MapScene.h"
#include "map/TrackColorScale.h"
#include "metrics/Boat.h"
#include "race/Race.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

using Case = BoatMetric::Case;

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double raceLeadIn = 600.0;
constexpr double markLaylineLength = 5000.0;
constexpr double startLaylineLength = 1000.0;
// Beyond 45° off the wind a start-line layline says nothing useful; the mark's keep the target.
constexpr double startLaylineMaximumAngle = 45.0;
// Races and log sets whose colour scales are kept: a day's races, and then some.
constexpr std::size_t scaleCacheSize = 16;

bool differ(MapCoordinate a, MapCoordinate b) {
    return std::fabs(a.latitude - b.latitude) >= epsilon || std::fabs(a.longitude - b.longitude) >= epsilon;
}

// The whole seconds of a time to gun. Non-finite or absurd values map to a number outside every
// window below.
std::int64_t wholeSeconds(double seconds) {
    if (!(std::fabs(seconds) < 1e15))
        return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(std::trunc(seconds));
}

// The last five minutes before the gun. Compared unsigned, so a negative count never qualifies.
bool inBurnLineWindow(double timeToGun) {
    return static_cast<std::uint64_t>(wholeSeconds(timeToGun)) <= 300u;
}

// From five minutes before the gun until ten seconds after it the mark laylines would only clutter
// the start. At ten seconds after the gun they take over from the start-line laylines, which
// show while the time to gun is above -10: one set or the other, never both, never neither.
bool inStartWindow(double timeToGun) {
    const std::int64_t seconds = wholeSeconds(timeToGun);
    return seconds > -10 && seconds <= 300;
}

std::optional<double> coordinateValue(const QString& text) {
    bool ok = false;
    // QString::toDouble reads the C locale's notation whatever the user's locale.
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

} // namespace

RaceMap::RaceMap(MapScene& map) : map_(map) {}

RaceMap::~RaceMap() {
    MapScene::ChangeBatch batch(map_);
    removeAnnotationGroups();
    for (MapOverlayPtr* overlay :
         {&laylines_, &portLayline_, &starboardLayline_, &markRoomCircle_, &startLine_, &burnLine_})
        removeOverlay(*overlay);
    map_.removeAnnotation(markAnnotation_);
}

void RaceMap::setDocument(Document* document) {
    document_ = document;
    lastCameraUpdate_.reset();
    markSearch_ = {};
    scaleCache_.clear();
    mainBoat_ = document ? document->mainBoat() : nullptr;
    rebuildAnnotationGroups();
    auto t = timeToShow();
    if (!t)
        return;
    // A new document is a jump, not playback: the camera turns at once.
    update(*t, true);
    if (!mainBoat_)
        return;
    auto log = boatLogAt(*document, mainBoat_, *t);
    if (!log)
        return;
    auto view = log->view(*t, true);
    auto position = BoatLogReading::position(view);
    if (!position)
        return;
    auto heading = BoatLogReading::heading(view);
    setRegion(heading ? Geodesy::destination(*position, *heading, mainBoat_->boatLength() * 0.5) : *position,
              raceRegionMetres);
}

void RaceMap::setTrackIntervals(const TrackIntervals& intervals) {
    intervals_ = intervals;
    for (auto& [boat, group] : boatAnnotationGroups_) {
        const bool isMain = mainBoat_ && mainBoat_ == boat;
        group->pastBoatTrackInterval = isMain ? intervals_.past : intervals_.pastAux;
        group->futureBoatTrackInterval = isMain ? intervals_.future : intervals_.futureAux;
    }
    if (auto t = timeToShow())
        update(*t, false);
}

void RaceMap::setTrackColorMetric(std::optional<BoatMetric> metric) {
    if (metric == trackColorMetric_)
        return;
    trackColorMetric_ = std::move(metric);
    if (auto t = timeToShow())
        update(*t, false);
}

void RaceMap::playbackPositionChanged(std::optional<Instant> position, bool seeked) {
    if (seeked)
        lastCameraUpdate_.reset();
    if (position)
        update(*position, seeked);
}

void RaceMap::boatsChanged() {
    // The main boat may have changed with the boats.
    mainBoat_ = document_ ? document_->mainBoat() : nullptr;
    rebuildAnnotationGroups();
    lastCameraUpdate_.reset();
    markSearch_ = {};
    if (auto t = timeToShow())
        update(*t, false);
}

void RaceMap::racesChanged() {
    if (auto t = timeToShow())
        update(*t, false);
}

void RaceMap::update(Instant t, bool seeked) {
    MapScene::ChangeBatch batch(map_);
    Document* document = document_;

    // 1. Start line of the race at t.
    startLineCoordinates_.reset();
    if (document)
        if (Race* race = raceAt(*document, t))
            startLineCoordinates_ = startLineCoordinatesOf(*race);

    // 2. Laylines are rebuilt every time.
    removeOverlay(laylines_);
    removeOverlay(portLayline_);
    removeOverlay(starboardLayline_);

    // 3. Every boat.
    updateTrackColorScale(t);
    if (document)
        for (auto& [boat, group] : boatAnnotationGroups_) {
            group->setTrackColorScale(trackColorScale_);
            group->update(map_, boatLogAt(*document, boat, t).get(), t);
        }

    // 4., 5. The main boat's mark, position, heading and time to gun.
    std::shared_ptr<const BoatLog> log;
    if (document && mainBoat_)
        log = boatLogAt(*document, mainBoat_, t);
    std::optional<BoatLogView> view;
    if (log)
        view = log->view(t, true);
    const std::optional<MapCoordinate> mark = log ? findMark(log, t) : std::nullopt;
    const std::optional<MapCoordinate> position = BoatLogReading::position(view);
    const std::optional<double> heading = BoatLogReading::heading(view);
    const std::optional<double> timeToGun =
        BoatLogReading::value(view, Case::TimeToGun, UnitDuration::seconds());

    // 6. Camera position: the boat's middle.
    if (position && heading) {
        const MapCoordinate center = Geodesy::destination(*position, *heading, mainBoat_->boatLength() * 0.5);
        if (!seeked) {
            // Follow the boat only once it strays from the middle of the view.
            const MapRegion region = map_.region();
            if (std::fabs(region.center.latitude - center.latitude) / region.latitudeDelta * 2.0 > 0.4 ||
                std::fabs(region.center.longitude - center.longitude) / region.longitudeDelta * 2.0 > 0.4)
                map_.setCenter(center, true);
        } else {
            setRegion(center, !timeToGun || *timeToGun < 0 ? raceRegionMetres : startRegionMetres);
        }
    }

    // 7. Burn line distance: the present approach speed to the line, carried over the time to the
    // line plus the time to burn.
    burnLineDistance_.reset();
    if (timeToGun && inBurnLineWindow(*timeToGun)) {
        auto belowLine = BoatLogReading::value(view, Case::BelowLine, UnitLength::meters());
        auto timeToLine = BoatLogReading::value(view, Case::TimeToLine, UnitDuration::seconds());
        auto timeToBurn = BoatLogReading::value(view, Case::TimeToBurn, UnitDuration::seconds());
        if (belowLine && timeToLine && timeToBurn)
            burnLineDistance_ = (*timeToBurn + *timeToLine) * (*belowLine / *timeToLine);
    }

    // 8. Laylines.
    const std::optional<double> twd = BoatLogReading::degrees(view, Case::TWD);
    const std::optional<double> targetTwa = BoatLogReading::degrees(view, Case::TargetTWA);
    if (twd && targetTwa && timeToGun) {
        if (!inStartWindow(*timeToGun) && mark) {
            laylines_ = MapOverlay::polyline(
                {Geodesy::destination(*mark, *twd + *targetTwa - 180.0, markLaylineLength), *mark,
                 Geodesy::destination(*mark, *twd - *targetTwa + 180.0, markLaylineLength)});
            map_.addOverlay(laylines_);
        }
        if (startLineCoordinates_ && *timeToGun > -10.0) {
            const double a = std::min(*targetTwa, startLaylineMaximumAngle);
            const MapCoordinate pin = (*startLineCoordinates_)[0];
            const MapCoordinate committee = (*startLineCoordinates_)[1];
            portLayline_ =
                MapOverlay::polyline({pin, Geodesy::destination(pin, *twd - a - 180.0, startLaylineLength)});
            map_.addOverlay(portLayline_);
            starboardLayline_ = MapOverlay::polyline(
                {Geodesy::destination(committee, *twd + a - 180.0, startLaylineLength), committee,
                 Geodesy::destination(committee, *twd - a - 180.0, startLaylineLength)});
            map_.addOverlay(starboardLayline_);
        }
    }

    // 9., 10.
    redrawStartLine();
    redrawBurnLine();

    // 11. Camera heading: wind up, at most every ten seconds so the map does not swing with
    // every shift.
    const Instant now = wallClock_();
    if (!lastCameraUpdate_ || now - *lastCameraUpdate_ > cameraHeadingInterval) {
        lastMapHeading_ = twd.value_or(0.0);
        map_.setCameraHeading(lastMapHeading_, !seeked);
        lastMapHeading_ = map_.heading();
        lastCameraUpdate_ = now;
    }

    // 12. Mark.
    markCoordinate_ = mark;
    updateMark();
}

MapOverlayRenderer RaceMap::rendererFor(const MapOverlay& overlay) {
    for (const auto& [boat, group] : boatAnnotationGroups_)
        if (group->owns(overlay))
            return group->renderer(overlay);
    MapOverlayRenderer renderer;
    renderer.lineWidth = 3.0;
    if (&overlay == startLine_.get()) {
        renderer.strokeColor = whiteColor;
    } else if (&overlay == burnLine_.get()) {
        renderer.strokeColor = RgbColor::pureRed();
    } else if (&overlay == laylines_.get() || &overlay == portLayline_.get() ||
               &overlay == starboardLayline_.get()) {
        renderer.lineWidth = 1.0;
        // The desktop's dark grey: one third white.
        renderer.strokeColor = {1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0};
    } else if (&overlay == markRoomCircle_.get()) {
        renderer.strokeColor = {254.0 / 255.0, 210.0 / 255.0, 61.0 / 255.0};
        renderer.lineDashPattern = {10.0, 10.0};
    } else {
        const RgbColor pink = blended(RgbColor::pureRed(), 0.5, whiteColor);
        renderer.strokeColor = pink;
        renderer.fillColor = pink;
    }
    return renderer;
}

std::optional<MapAnnotationViewStyle> RaceMap::viewFor(const MapAnnotation& annotation) {
    if (markAnnotation_ && &annotation == markAnnotation_.get()) {
        MapAnnotationViewStyle view;
        view.kind = MapAnnotationViewStyle::Kind::Pin;
        view.reuseIdentifier = QStringLiteral("Mark");
        view.imageName = QStringLiteral("YellowPin");
        // A pin 24 × 36 points with its tip on the mark.
        view.width = 24;
        view.height = 36;
        view.centerOffsetY = 18;
        view.color = {254.0 / 255.0, 210.0 / 255.0, 61.0 / 255.0};
        return view;
    }
    for (const auto& [boat, group] : boatAnnotationGroups_)
        if (auto view = group->viewFor(annotation))
            return view;
    return std::nullopt;
}

Race* RaceMap::raceAt(const Document& document, Instant t) {
    Race* best = nullptr;
    for (const auto& race : document.races()) {
        if (t < race->time() - raceLeadIn || t > race->bestGuessFinishTime())
            continue;
        if (!best || race->time() > best->time())
            best = race.get();
    }
    return best;
}

std::optional<std::array<MapCoordinate, 2>> RaceMap::startLineCoordinatesOf(const Race& race) {
    auto pinLat = coordinateValue(race.pinLat());
    auto pinLon = coordinateValue(race.pinLon());
    auto rcLat = coordinateValue(race.rcLat());
    auto rcLon = coordinateValue(race.rcLon());
    if (!pinLat || !pinLon || !rcLat || !rcLon)
        return std::nullopt;
    return std::array<MapCoordinate, 2>{MapCoordinate{*pinLat, *pinLon}, MapCoordinate{*rcLat, *rcLon}};
}

std::shared_ptr<const BoatLog> RaceMap::boatLogAt(const Document& document, const std::shared_ptr<Boat>& boat,
                                                  Instant t) {
    std::shared_ptr<const BoatLog> first;
    for (const auto& asset : document.logAssets(boat)) {
        const auto& log = asset->boatLog();
        if (!log)
            continue;
        if (!first)
            first = log;
        auto last = log->lastIndex();
        if (last && log->startIndex().time <= t && t <= last->time)
            return log;
    }
    return first;
}

BoatMapAnnotationGroup* RaceMap::groupFor(const Boat* boat) const {
    for (const auto& [b, group] : boatAnnotationGroups_)
        if (b.get() == boat)
            return group.get();
    return nullptr;
}

void RaceMap::rebuildAnnotationGroups() {
    MapScene::ChangeBatch batch(map_);
    removeAnnotationGroups();
    if (!document_)
        return;
    for (const auto& boat : document_->boats()) {
        auto group = std::make_unique<BoatMapAnnotationGroup>(boat);
        const bool isMain = mainBoat_ && mainBoat_ == boat;
        group->pastBoatTrackInterval = isMain ? intervals_.past : intervals_.pastAux;
        group->futureBoatTrackInterval = isMain ? intervals_.future : intervals_.futureAux;
        boatAnnotationGroups_.emplace_back(boat, std::move(group));
    }
}

void RaceMap::removeAnnotationGroups() {
    for (auto& [boat, group] : boatAnnotationGroups_)
        group->removeFromMap(map_);
    boatAnnotationGroups_.clear();
}

std::optional<Instant> RaceMap::timeToShow() const {
    if (!document_)
        return std::nullopt;
    if (auto position = document_->eventPlaybackPosition())
        return position;
    return document_->eventStartTime();
}

void RaceMap::setRegion(MapCoordinate center, double metres) {
    if (lastZoomLevel_ && map_.zoomLevel() != *lastZoomLevel_) {
        // The user has zoomed: keep their zoom, only follow the boat.
        map_.setCenter(center, false);
        return;
    }
    map_.setRegion(center, metres, metres, false);
    lastZoomLevel_ = map_.zoomLevel();
}

std::optional<MapCoordinate> RaceMap::findMark(const std::shared_ptr<const BoatLog>& log, Instant t) {
    auto last = BoatLogReading::lastIndexAtOrBefore(*log, t);
    if (!last) {
        markSearch_ = {};
        return std::nullopt;
    }
    const bool sameLog = markSearch_.log.lock() == log && markSearch_.searchedUpTo >= 0;
    // Playback moves forward: only the records since the last search are new.
    const std::int64_t stop =
        sameLog && last->index >= markSearch_.searchedUpTo ? markSearch_.searchedUpTo : -1;
    std::optional<BoatLogIndex> found;
    const BoatMetric lat(Case::MkLat);
    const BoatMetric lon(Case::MkLon);
    for (BoatLogIndex i = *last; i.index > stop;) {
        if (log->value(i, lat) && log->value(i, lon)) {
            found = i;
            break;
        }
        if (i.index == 0)
            break;
        i = log->indexBefore(i);
    }
    if (!found && stop >= 0 && markSearch_.found >= 0)
        found = BoatLogIndex{markSearch_.found, markSearch_.foundTime};
    markSearch_ = {log, last->index, found ? found->index : -1, found ? found->time : Instant()};
    if (!found)
        return std::nullopt;
    return BoatLogReading::position(log->directView(*found), Case::MkLat, Case::MkLon);
}

void RaceMap::redrawStartLine() {
    bool keep = startLine_ && startLineCoordinates_;
    if (keep) {
        const auto& points = startLine_->points();
        keep = points.size() == startLineCoordinates_->size();
        for (std::size_t i = 0; keep && i < points.size(); ++i)
            keep = !differ(points[i], (*startLineCoordinates_)[i]);
    }
    if (!keep)
        removeOverlay(startLine_);
    if (startLineCoordinates_ && !startLine_) {
        startLine_ = MapOverlay::polyline({startLineCoordinates_->begin(), startLineCoordinates_->end()});
        map_.insertOverlay(startLine_, 0);
    }
}

void RaceMap::redrawBurnLine() {
    removeOverlay(burnLine_);
    if (!burnLineDistance_ || !startLineCoordinates_)
        return;
    const MapCoordinate pin = (*startLineCoordinates_)[0];
    const MapCoordinate committee = (*startLineCoordinates_)[1];
    // Square to the line, on its pre-start side.
    const double bearing = Geodesy::initialBearing(pin, committee) + 90.0;
    burnLine_ = MapOverlay::polyline({Geodesy::destination(pin, bearing, *burnLineDistance_),
                                      Geodesy::destination(committee, bearing, *burnLineDistance_)});
    map_.insertOverlay(burnLine_, 0);
}

void RaceMap::updateMark() {
    if (!markCoordinate_) {
        if (markAnnotation_)
            map_.removeAnnotation(markAnnotation_);
    } else if (markAnnotation_) {
        markAnnotation_->setCoordinate(*markCoordinate_);
        map_.addAnnotation(markAnnotation_);
    } else {
        markAnnotation_ = std::make_shared<MapAnnotation>(*markCoordinate_);
        map_.addAnnotation(markAnnotation_);
    }

    if (!markRoomCenterCoordinate_ || !markCoordinate_ ||
        differ(*markCoordinate_, *markRoomCenterCoordinate_))
        removeOverlay(markRoomCircle_);
    if (markCoordinate_ && !markRoomCircle_ && mainBoat_) {
        markRoomCircle_ = MapOverlay::circle(*markCoordinate_, 3.0 * mainBoat_->boatLength());
        markRoomCenterCoordinate_ = markCoordinate_;
        map_.addOverlay(markRoomCircle_);
    }
}

void RaceMap::updateTrackColorScale(Instant t) {
    if (!trackColorMetric_ || !document_) {
        trackColorScale_.reset();
        return;
    }
    std::optional<std::pair<Instant, Instant>> window;
    if (auto race = raceAtPosition(document_->races(), t))
        window = std::pair{race->time(), race->bestGuessFinishTime()};
    scaleLogs_.clear();
    for (const auto& asset : document_->allLogAssets())
        if (asset->boatLog())
            scaleLogs_.push_back(asset->boatLog());
    auto sameLogs = [this](const std::vector<std::weak_ptr<const BoatLog>>& logs) {
        if (logs.size() != scaleLogs_.size())
            return false;
        for (std::size_t i = 0; i < logs.size(); ++i)
            if (logs[i].owner_before(scaleLogs_[i]) || scaleLogs_[i].owner_before(logs[i]))
                return false;
        return true;
    };
    for (const auto& entry : scaleCache_)
        if (entry.metric == *trackColorMetric_ && entry.window == window && sameLogs(entry.logs)) {
            trackColorScale_ = entry.scale;
            return;
        }
    std::shared_ptr<const TrackColorScale> scale;
    if (auto found = TrackColorScale::ofLogs(*trackColorMetric_, scaleLogs_,
                                             window ? std::optional(window->first) : std::nullopt,
                                             window ? std::optional(window->second) : std::nullopt))
        scale = std::make_shared<const TrackColorScale>(std::move(*found));
    if (scaleCache_.size() >= scaleCacheSize)
        scaleCache_.erase(scaleCache_.begin());
    scaleCache_.push_back({*trackColorMetric_, window, {scaleLogs_.begin(), scaleLogs_.end()}, scale});
    trackColorScale_ = std::move(scale);
}

void RaceMap::removeOverlay(MapOverlayPtr& overlay) {
    map_.removeOverlay(overlay);
    overlay.reset();
}
