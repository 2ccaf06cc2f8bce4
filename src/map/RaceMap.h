#pragma once

#include "core/Instant.h"
#include "map/BoatMapAnnotationGroup.h"
#include "map/MapCoordinate.h"
#include "map/MapViewDelegate.h"
#include "map/TrackIntervals.h"
#include "metrics/BoatMetric.h"

#include <QPointer>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

class Boat;
class BoatLog;
class Document;
class MapScene;
class Race;
class TrackColorScale;

// What the race map shows at a playback time and what its camera does: every boat through its
// own BoatMapAnnotationGroup, and for the main boat the race geometry (mark laylines, start line
// with its laylines, burn line, mark pin and mark-room circle). It follows the main boat, turns
// the map wind-up at most every 10 s and zooms in before the start. The widget that owns it
// forwards the document's notifications and draws the scene. A main-thread object.
class RaceMap : public MapViewDelegate {
public:
    // How long the camera heading stays put during playback.
    static constexpr double cameraHeadingInterval = 10.0;
    // Region sizes: the race area, and close in before the gun.
    static constexpr double raceRegionMetres = 1500.0;
    static constexpr double startRegionMetres = 250.0;

    explicit RaceMap(MapScene& map);
    ~RaceMap() override;
    RaceMap(const RaceMap&) = delete;
    RaceMap& operator=(const RaceMap&) = delete;

    // A new document (or none): forgets the camera timing, takes the main boat, rebuilds the
    // groups, shows the playback position (or the event start) and frames the main boat.
    void setDocument(Document* document);
    Document* document() const { return document_; }

    // Track lengths; the groups take theirs at once and the map updates.
    void setTrackIntervals(const TrackIntervals& intervals);
    const TrackIntervals& trackIntervals() const { return intervals_; }

    // The metric the past tracks are coloured by; none: each boat's own colour. The map updates.
    void setTrackColorMetric(std::optional<BoatMetric> metric);
    const std::optional<BoatMetric>& trackColorMetric() const { return trackColorMetric_; }
    // The colour scale of the last update: that of the race at the playback position, or of the
    // whole logs without one. None with the boat colour, and when no log has the metric.
    const std::shared_ptr<const TrackColorScale>& trackColorScale() const { return trackColorScale_; }

    // The document's notifications.
    void playbackPositionChanged(std::optional<Instant> position, bool seeked);
    void boatsChanged();
    void racesChanged();

    // The update at `t`; `seeked` is true after a user seek, false for the clock's own advance.
    void update(Instant t, bool seeked);

    // The wall clock that spaces camera turns; tests drive it by hand.
    void setWallClock(std::function<Instant()> clock) { wallClock_ = std::move(clock); }

    MapOverlayRenderer rendererFor(const MapOverlay& overlay) override;
    std::optional<MapAnnotationViewStyle> viewFor(const MapAnnotation& annotation) override;

    // The race whose window [gun − 600 s, best-guess finish] contains `t`; of several, the one
    // with the latest gun (a later race starts while the previous one may still run).
    static Race* raceAt(const Document& document, Instant t);
    // [pin end, committee end] when all four texts are numbers.
    static std::optional<std::array<MapCoordinate, 2>> startLineCoordinatesOf(const Race& race);
    // The boat's log at `t`: the first of its logs that covers `t`, else its first log.
    static std::shared_ptr<const BoatLog> boatLogAt(const Document& document,
                                                    const std::shared_ptr<Boat>& boat, Instant t);

    // State, for the widget and for checks.
    const std::vector<std::pair<std::shared_ptr<Boat>, std::unique_ptr<BoatMapAnnotationGroup>>>&
    boatAnnotationGroups() const {
        return boatAnnotationGroups_;
    }
    BoatMapAnnotationGroup* groupFor(const Boat* boat) const;
    const std::shared_ptr<Boat>& mainBoat() const { return mainBoat_; }
    const MapOverlayPtr& laylines() const { return laylines_; }
    const MapOverlayPtr& portLayline() const { return portLayline_; }
    const MapOverlayPtr& starboardLayline() const { return starboardLayline_; }
    std::optional<Instant> lastCameraUpdate() const { return lastCameraUpdate_; }
    double lastMapHeading() const { return lastMapHeading_; }
    std::optional<int> lastZoomLevel() const { return lastZoomLevel_; }
    const MapAnnotationPtr& markAnnotation() const { return markAnnotation_; }
    std::optional<MapCoordinate> markCoordinate() const { return markCoordinate_; }
    const MapOverlayPtr& markRoomCircle() const { return markRoomCircle_; }
    std::optional<MapCoordinate> markRoomCenterCoordinate() const { return markRoomCenterCoordinate_; }
    const MapOverlayPtr& startLine() const { return startLine_; }
    std::optional<std::array<MapCoordinate, 2>> startLineCoordinates() const { return startLineCoordinates_; }
    const MapOverlayPtr& burnLine() const { return burnLine_; }
    std::optional<double> burnLineDistance() const { return burnLineDistance_; }

private:
    void rebuildAnnotationGroups();
    void removeAnnotationGroups();
    // The playback position, else the event start; none for an empty document.
    std::optional<Instant> timeToShow() const;
    // Sets a d × d metre region around `center`, unless the user has zoomed since the last one.
    void setRegion(MapCoordinate center, double metres);
    std::optional<MapCoordinate> findMark(const std::shared_ptr<const BoatLog>& log, Instant t);
    void redrawStartLine();
    void redrawBurnLine();
    void updateMark();
    void removeOverlay(MapOverlayPtr& overlay);
    // Takes the colour scale for `t`, working it out only for a race or a set of logs it has not
    // seen: a race of a fleet is millions of records, too many to go through per tick.
    void updateTrackColorScale(Instant t);

    MapScene& map_;
    QPointer<Document> document_;
    std::vector<std::pair<std::shared_ptr<Boat>, std::unique_ptr<BoatMapAnnotationGroup>>>
        boatAnnotationGroups_;
    std::shared_ptr<Boat> mainBoat_;
    MapOverlayPtr laylines_;
    MapOverlayPtr portLayline_;
    MapOverlayPtr starboardLayline_;
    TrackIntervals intervals_;
    std::optional<Instant> lastCameraUpdate_;
    double lastMapHeading_ = 0;
    std::optional<int> lastZoomLevel_;
    MapAnnotationPtr markAnnotation_;
    std::optional<MapCoordinate> markCoordinate_;
    MapOverlayPtr markRoomCircle_;
    std::optional<MapCoordinate> markRoomCenterCoordinate_;
    MapOverlayPtr startLine_;
    std::optional<std::array<MapCoordinate, 2>> startLineCoordinates_;
    MapOverlayPtr burnLine_;
    std::optional<double> burnLineDistance_;

    std::function<Instant()> wallClock_ = &Instant::now;
    // The last mark search (no BoatLogIndex here: this header reaches widget headers that moc reads), so that
    // playback only looks at the records it has not seen yet.
    struct MarkSearch {
        std::weak_ptr<const BoatLog> log;
        std::int64_t searchedUpTo = -1;
        // The latest record with a mark at or before searchedUpTo, or -1; its time rides along.
        std::int64_t found = -1;
        Instant foundTime;
    };
    MarkSearch markSearch_;

    std::optional<BoatMetric> trackColorMetric_;
    std::shared_ptr<const TrackColorScale> trackColorScale_;
    struct ScaleCacheEntry {
        BoatMetric metric;
        // The race's gun and finish; none: the logs whole.
        std::optional<std::pair<Instant, Instant>> window;
        std::vector<std::weak_ptr<const BoatLog>> logs;
        // None when no record had a value.
        std::shared_ptr<const TrackColorScale> scale;
    };
    std::vector<ScaleCacheEntry> scaleCache_;
    std::vector<std::shared_ptr<const BoatLog>> scaleLogs_;
};
