#pragma once

#include "core/Instant.h"
#include "map/MapAnnotation.h"
#include "map/MapAnnotationViewStyle.h"
#include "map/MapOverlay.h"
#include "map/MapOverlayRenderer.h"
#include "map/TrackVertexColors.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class Boat;
class BoatLog;
class MapScene;
class TrackColorScale;
struct BoatLogIndex;

// Everything the race map shows of one boat: its outline, past and future tracks, the worm
// marks where it will be in 30 s and 60 s, the wind arrow at the boat and its name label.
// The four annotations are made once and moved; the three overlays are made anew each update.
class BoatMapAnnotationGroup {
public:
    explicit BoatMapAnnotationGroup(std::shared_ptr<Boat> boat);
    BoatMapAnnotationGroup(const BoatMapAnnotationGroup&) = delete;
    BoatMapAnnotationGroup& operator=(const BoatMapAnnotationGroup&) = delete;

    const std::shared_ptr<Boat>& boat() const { return boat_; }

    // Seconds.
    double pastBoatTrackInterval = 300.0;
    double futureBoatTrackInterval = 120.0;
    // The past track's colours by a metric from the next update on; none: the boat's colour.
    static constexpr double coloredTrackLineWidth = 2.0;
    void setTrackColorScale(std::shared_ptr<const TrackColorScale> scale);
    const std::shared_ptr<const TrackColorScale>& trackColorScale() const { return trackColorScale_; }

    // Shows the boat at `t` from `log` (none: the boat has no log, and shows nothing).
    void update(MapScene& map, const BoatLog* log, Instant t);
    // Takes the group's annotations and overlays off the map.
    void removeFromMap(MapScene& map);

    // Whether the overlay is one of the group's three.
    bool owns(const MapOverlay& overlay) const;
    // Only for the group's own overlays: anything else stops the program.
    MapOverlayRenderer renderer(const MapOverlay& overlay) const;
    // None for an annotation that is not the group's.
    std::optional<MapAnnotationViewStyle> viewFor(const MapAnnotation& annotation) const;

    const std::shared_ptr<MapAnnotation>& wormTime30Annotation() const { return wormTime30Annotation_; }
    bool wormTime30AnnotationAdded() const { return wormTime30AnnotationAdded_; }
    const std::shared_ptr<MapAnnotation>& wormTime60Annotation() const { return wormTime60Annotation_; }
    bool wormTime60AnnotationAdded() const { return wormTime60AnnotationAdded_; }
    const std::shared_ptr<WindAnnotation>& windAnnotation() const { return windAnnotation_; }
    bool windAnnotationAdded() const { return windAnnotationAdded_; }
    const std::shared_ptr<MapAnnotation>& titleAnnotation() const { return titleAnnotation_; }
    bool titleAnnotationAdded() const { return titleAnnotationAdded_; }
    const MapOverlayPtr& boatOutline() const { return boatOutline_; }
    const MapOverlayPtr& boatTrackLine() const { return boatTrackLine_; }
    const MapOverlayPtr& boatTrackLineFuture() const { return boatTrackLineFuture_; }
    // The colour levels of the past track's vertices; none while it has its boat's colour.
    const std::shared_ptr<const std::vector<std::uint8_t>>& boatTrackLineLevels() const {
        return boatTrackLineLevels_;
    }
    // The log records the past track's colours were read from, for checks.
    const TrackVertexColors& trackVertexColors() const { return trackColors_; }

private:
    // Shows or hides an annotation, keeping its "added" flag in step with the map.
    static void show(MapScene& map, const MapAnnotationPtr& annotation, bool& added, bool visible);
    // Below the outline, else at the bottom.
    void insertTrack(MapScene& map, const MapOverlayPtr& track) const;
    // The levels of the past track's points: those of `records`, then the one of the value at
    // the boat's position when the track ends there (NaN: missing). None when no point has one.
    std::shared_ptr<const std::vector<std::uint8_t>> pastTrackLevels(const BoatLog& log,
                                                                     const std::optional<BoatLogIndex>& first,
                                                                     const std::optional<BoatLogIndex>& last,
                                                                     const std::vector<std::int64_t>& records,
                                                                     std::optional<double> valueAtPosition);

    std::shared_ptr<Boat> boat_;
    std::shared_ptr<MapAnnotation> wormTime30Annotation_;
    bool wormTime30AnnotationAdded_ = false;
    std::shared_ptr<MapAnnotation> wormTime60Annotation_;
    bool wormTime60AnnotationAdded_ = false;
    std::shared_ptr<WindAnnotation> windAnnotation_;
    bool windAnnotationAdded_ = false;
    std::shared_ptr<MapAnnotation> titleAnnotation_;
    bool titleAnnotationAdded_ = false;
    MapOverlayPtr boatOutline_;
    MapOverlayPtr boatTrackLine_;
    MapOverlayPtr boatTrackLineFuture_;
    std::shared_ptr<const TrackColorScale> trackColorScale_;
    TrackVertexColors trackColors_;
    std::shared_ptr<const std::vector<std::uint8_t>> boatTrackLineLevels_;
};
