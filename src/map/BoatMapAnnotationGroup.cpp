#include "map/BoatMapAnnotationGroup.h"

#include "boatlog/BoatLog.h"
#include "boatlog/DoubleArrayBoatLog.h"
#include "core/FatalError.h"
#include "map/BoatLogReading.h"
#include "map/ColorBlending.h"
#include "map/Geodesy.h"
#include "map/MapScene.h"
#include "map/TrackColorMap.h"
#include "map/TrackColorScale.h"
#include "metrics/Boat.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using Case = BoatMetric::Case;

// The triangle of a boat `length` long, from its stern along `heading`: the beam is a 3.5th of
// the length, so even a short boat reads as pointing somewhere.
std::vector<MapCoordinate> triangle(MapCoordinate bow, MapCoordinate stern, double heading, double length) {
    const double halfBeam = (length / 3.5) * 0.5;
    return {bow, Geodesy::destination(stern, heading - 90.0, halfBeam),
            Geodesy::destination(stern, heading + 90.0, halfBeam)};
}

// Reads the positions straight from the log's array: a fleet's tracks are tens of thousands of
// records per tick, too many for a lookup per value. False when the array cannot answer.
// `records`, when given, receives the record of each point.
bool appendArrayPositions(const DoubleArrayBoatLog& log, std::int64_t first, std::int64_t last,
                          std::vector<MapCoordinate>& points, std::vector<std::int64_t>* records) {
    const std::int64_t lat = log.metricsMapping().column(BoatMetric::Case::Lat);
    const std::int64_t lon = log.metricsMapping().column(BoatMetric::Case::Lon);
    const std::int64_t row = log.rowSize();
    const std::int64_t size = static_cast<std::int64_t>(log.values().size());
    // A short value array (a damaged file) takes the checked path.
    if (lat == MetricColumnMap::none || lon == MetricColumnMap::none || row <= 0 || first < 0 ||
        size - 1 - std::max(lat, lon) < 0 || last > (size - 1 - std::max(lat, lon)) / row)
        return false;
    const double* values = log.values().data();
    for (std::int64_t r = first; r <= last; ++r) {
        const double latitude = values[r * row + lat];
        const double longitude = values[r * row + lon];
        if (!std::isnan(latitude) && !std::isnan(longitude)) {
            points.push_back({latitude, longitude});
            if (records)
                records->push_back(r);
        }
    }
    return true;
}

// Appends the positions of the records first…last that have one.
void appendPositions(const BoatLog& log, BoatLogIndex first, BoatLogIndex last,
                     std::vector<MapCoordinate>& points, std::vector<std::int64_t>* records = nullptr) {
    if (last < first)
        return;
    points.reserve(points.size() + static_cast<std::size_t>(last.index - first.index + 2));
    if (records)
        records->reserve(records->size() + static_cast<std::size_t>(last.index - first.index + 1));
    if (auto* array = dynamic_cast<const DoubleArrayBoatLog*>(&log))
        if (appendArrayPositions(*array, first.index, last.index, points, records))
            return;
    const BoatMetric lat(Case::Lat);
    const BoatMetric lon(Case::Lon);
    for (BoatLogIndex i = first;; i = log.indexAfter(i)) {
        auto latitude = log.value(i, lat);
        auto longitude = log.value(i, lon);
        if (latitude && longitude) {
            points.push_back({latitude->value(), longitude->value()});
            if (records)
                records->push_back(i.index);
        }
        if (i.index >= last.index)
            break;
    }
}

} // namespace

BoatMapAnnotationGroup::BoatMapAnnotationGroup(std::shared_ptr<Boat> boat)
    : boat_(std::move(boat)), wormTime30Annotation_(std::make_shared<MapAnnotation>()),
      wormTime60Annotation_(std::make_shared<MapAnnotation>()),
      windAnnotation_(std::make_shared<WindAnnotation>()),
      titleAnnotation_(std::make_shared<MapAnnotation>()) {}

void BoatMapAnnotationGroup::update(MapScene& map, const BoatLog* log, Instant t) {
    MapScene::ChangeBatch batch(map);
    std::optional<BoatLogView> view;
    if (log)
        view = log->view(t, true);
    const std::optional<double> heading = BoatLogReading::heading(view);

    map.removeOverlay(boatOutline_);
    boatOutline_.reset();

    std::optional<MapCoordinate> labelPoint;
    if (heading) {
        auto stern = view ? BoatLogReading::position(*view, Case::LatStern, Case::LonStern) : std::nullopt;
        auto bow = view ? BoatLogReading::position(*view, Case::LatBow, Case::LonBow) : std::nullopt;
        auto center = view ? BoatLogReading::position(*view, Case::LatCenter, Case::LonCenter) : std::nullopt;
        if (stern && bow && center) {
            // The log knows where bow and stern are: its own length wins over the configured one.
            const double length = Geodesy::haversineDistance(*stern, *bow);
            boatOutline_ = MapOverlay::polygon(triangle(*bow, *stern, *heading, length));
            labelPoint = center;
        } else if (auto p = BoatLogReading::position(log ? log->view(t, false) : std::nullopt)) {
            // The GPS position is taken as the stern.
            const double length = boat_->boatLength();
            boatOutline_ = MapOverlay::polygon(
                triangle(Geodesy::destination(*p, *heading, length), *p, *heading, length));
            labelPoint = Geodesy::destination(*p, *heading, length * 0.5);
        }
    }
    if (boatOutline_) {
        map.insertOverlay(boatOutline_, map.overlayCount());
        titleAnnotation_->setCoordinate(*labelPoint);
    }
    show(map, titleAnnotation_, titleAnnotationAdded_, boatOutline_ != nullptr);

    const std::optional<MapCoordinate> position = BoatLogReading::position(view);
    const std::optional<double> twd = BoatLogReading::degrees(view, Case::TWD);
    if (position && twd) {
        windAnnotation_->setCoordinate(*position);
        // The view turns with the map; the arrow must keep pointing at the true wind.
        windAnnotation_->setHeading(*twd - map.heading());
        windAnnotation_->setWindSpeed(
            BoatLogReading::value(view, Case::TWS, UnitSpeed::knots()).value_or(0.0));
    }
    show(map, windAnnotation_, windAnnotationAdded_, position && twd);

    map.removeOverlay(boatTrackLine_);
    boatTrackLine_.reset();
    map.removeOverlay(boatTrackLineFuture_);
    boatTrackLineFuture_.reset();
    boatTrackLineLevels_.reset();

    if (pastBoatTrackInterval > 0 && log) {
        std::vector<MapCoordinate> points;
        std::vector<std::int64_t> records;
        const bool colored = trackColorScale_ != nullptr;
        auto first = BoatLogReading::firstIndexAtOrAfter(*log, t - pastBoatTrackInterval);
        auto last = BoatLogReading::lastIndexAtOrBefore(*log, t);
        if (first && last)
            appendPositions(*log, *first, *last, points, colored ? &records : nullptr);
        if (position)
            points.push_back(*position);
        if (!points.empty()) {
            if (colored) {
                std::optional<double> now;
                if (position)
                    now = BoatLogReading::value(view, trackColorScale_->metric(),
                                                trackColorScale_->metric().unit())
                              .value_or(std::numeric_limits<double>::quiet_NaN());
                boatTrackLineLevels_ = pastTrackLevels(*log, first, last, records, now);
            }
            boatTrackLine_ = MapOverlay::polyline(std::move(points));
            insertTrack(map, boatTrackLine_);
        }
    }
    if (futureBoatTrackInterval > 0 && log) {
        std::vector<MapCoordinate> points;
        if (position)
            points.push_back(*position);
        auto first = log->firstIndexAfter(t);
        auto last = BoatLogReading::lastIndexAtOrBefore(*log, t + futureBoatTrackInterval);
        if (first && last)
            appendPositions(*log, *first, *last, points);
        if (!points.empty()) {
            boatTrackLineFuture_ = MapOverlay::polyline(std::move(points));
            insertTrack(map, boatTrackLineFuture_);
        }
    }

    // A worm mark shows only while the future track reaches that far.
    auto placeWormMark = [&](const MapAnnotationPtr& mark, bool& added, double ahead) {
        std::optional<MapCoordinate> there;
        if (futureBoatTrackInterval >= ahead && log)
            there = BoatLogReading::position(log->view(t + ahead, true));
        if (there)
            mark->setCoordinate(*there);
        show(map, mark, added, there.has_value());
    };
    placeWormMark(wormTime30Annotation_, wormTime30AnnotationAdded_, 30.0);
    placeWormMark(wormTime60Annotation_, wormTime60AnnotationAdded_, 60.0);
}

void BoatMapAnnotationGroup::removeFromMap(MapScene& map) {
    MapScene::ChangeBatch batch(map);
    show(map, wormTime30Annotation_, wormTime30AnnotationAdded_, false);
    show(map, wormTime60Annotation_, wormTime60AnnotationAdded_, false);
    show(map, windAnnotation_, windAnnotationAdded_, false);
    show(map, titleAnnotation_, titleAnnotationAdded_, false);
    for (MapOverlayPtr* overlay : {&boatOutline_, &boatTrackLine_, &boatTrackLineFuture_}) {
        map.removeOverlay(*overlay);
        overlay->reset();
    }
    boatTrackLineLevels_.reset();
}

void BoatMapAnnotationGroup::setTrackColorScale(std::shared_ptr<const TrackColorScale> scale) {
    trackColorScale_ = std::move(scale);
    if (!trackColorScale_)
        trackColors_.reset();
}

std::shared_ptr<const std::vector<std::uint8_t>> BoatMapAnnotationGroup::pastTrackLevels(
    const BoatLog& log, const std::optional<BoatLogIndex>& first, const std::optional<BoatLogIndex>& last,
    const std::vector<std::int64_t>& records, std::optional<double> valueAtPosition) {
    auto levels = std::make_shared<std::vector<std::uint8_t>>();
    levels->reserve(records.size() + 1);
    if (first && last && !records.empty()) {
        trackColors_.cover(log, trackColorScale_, *first, *last);
        for (std::int64_t record : records)
            levels->push_back(trackColors_.levelOf(record));
    }
    if (valueAtPosition)
        levels->push_back(trackColorScale_->level(*valueAtPosition));
    if (!TrackVertexColors::fillGaps(*levels))
        return nullptr;
    TrackVertexColors::holdSteps(*levels);
    return levels;
}

bool BoatMapAnnotationGroup::owns(const MapOverlay& overlay) const {
    return &overlay == boatOutline_.get() || &overlay == boatTrackLine_.get() ||
           &overlay == boatTrackLineFuture_.get();
}

MapOverlayRenderer BoatMapAnnotationGroup::renderer(const MapOverlay& overlay) const {
    const RgbColor color = boat_->color();
    MapOverlayRenderer renderer;
    if (&overlay == boatOutline_.get()) {
        renderer.lineWidth = 3.0;
        renderer.strokeColor = color;
        renderer.fillColor = color;
    } else if (&overlay == boatTrackLine_.get()) {
        renderer.lineWidth = 1.0;
        renderer.strokeColor = color;
        if (boatTrackLineLevels_) {
            // A colour is hard to read on a hairline.
            renderer.lineWidth = coloredTrackLineWidth;
            renderer.vertexColorIndices = boatTrackLineLevels_;
            renderer.palette = TrackColorMap::palette();
        }
    } else if (&overlay == boatTrackLineFuture_.get()) {
        renderer.lineWidth = 1.0;
        renderer.strokeColor = blended(color, 0.5, whiteColor);
    } else {
        fatalError("Unsupported overlay");
    }
    return renderer;
}

std::optional<MapAnnotationViewStyle> BoatMapAnnotationGroup::viewFor(const MapAnnotation& annotation) const {
    MapAnnotationViewStyle view;
    if (&annotation == windAnnotation_.get()) {
        view.kind = MapAnnotationViewStyle::Kind::Wind;
        view.reuseIdentifier = QStringLiteral("Wind");
        view.width = 80;
        view.height = 80;
        view.color = blackColor;
    } else if (&annotation == wormTime30Annotation_.get() || &annotation == wormTime60Annotation_.get()) {
        // Both marks look alike and share one identifier.
        view.kind = MapAnnotationViewStyle::Kind::WormTime;
        view.reuseIdentifier = QStringLiteral("Worm60");
        view.width = 6;
        view.height = 6;
        view.color = blended(boat_->color(), 0.3, whiteColor);
    } else if (&annotation == titleAnnotation_.get()) {
        view.kind = MapAnnotationViewStyle::Kind::BoatLabel;
        view.reuseIdentifier = QStringLiteral("BoatLabel");
        view.width = 50;
        view.height = 12;
        view.centerOffsetX = 0;
        view.centerOffsetY = 20;
        view.color = blended(boat_->color(), 0.5, blackColor);
        view.title = boat_->shortName();
    } else {
        return std::nullopt;
    }
    return view;
}

void BoatMapAnnotationGroup::show(MapScene& map, const MapAnnotationPtr& annotation, bool& added,
                                  bool visible) {
    if (visible && !added) {
        map.addAnnotation(annotation);
        added = true;
    } else if (!visible && added) {
        map.removeAnnotation(annotation);
        added = false;
    }
}

void BoatMapAnnotationGroup::insertTrack(MapScene& map, const MapOverlayPtr& track) const {
    auto outlineIndex = map.indexOfOverlay(boatOutline_.get());
    map.insertOverlay(track, outlineIndex.value_or(0));
}
