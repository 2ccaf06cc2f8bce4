#pragma once

#include "map/MapAnnotation.h"
#include "map/MapCoordinate.h"
#include "map/MapOverlay.h"
#include "map/MapPoint.h"

#include <QPointF>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

// The part of the map a view shows, in the terms of the old platform's map: a centre and the
// latitude and longitude spans of the view's unrotated rectangle.
struct MapRegion {
    MapCoordinate center;
    double latitudeDelta = 0;
    double longitudeDelta = 0;
};

// The content and camera of a map, without drawing: an overlay stack (index 0 at the bottom),
// point annotations, and a camera (centre, heading, scale) over a view of a given size in view
// points. Every change bumps revision() and calls onChange, so the widget that draws the scene
// knows when to repaint; camera changes say whether they asked for animation.
// A main-thread object.
class MapScene {
public:
    // Coarsest and finest scales a user zoom may reach (map points per view point).
    static constexpr double minimumMapPointsPerViewPoint = 1.0 / 16.0;
    static constexpr double maximumMapPointsPerViewPoint = mapWorldSize / 256.0;

    MapScene() = default;
    MapScene(const MapScene&) = delete;
    MapScene& operator=(const MapScene&) = delete;
    ~MapScene();

    // Overlays, bottom first.
    const std::vector<MapOverlayPtr>& overlays() const { return overlays_; }
    std::size_t overlayCount() const { return overlays_.size(); }
    // `index` beyond the count puts the overlay on top. An overlay already on the scene stays
    // where it is.
    void insertOverlay(MapOverlayPtr overlay, std::size_t index);
    void addOverlay(MapOverlayPtr overlay);
    // No-op for an overlay not on the scene (or null).
    void removeOverlay(const MapOverlayPtr& overlay);
    std::optional<std::size_t> indexOfOverlay(const MapOverlay* overlay) const;
    bool containsOverlay(const MapOverlay* overlay) const { return indexOfOverlay(overlay).has_value(); }

    // Annotations, in the order added. Adding twice or removing an absent one does nothing.
    const std::vector<MapAnnotationPtr>& annotations() const { return annotations_; }
    void addAnnotation(MapAnnotationPtr annotation);
    void removeAnnotation(const MapAnnotationPtr& annotation);
    bool containsAnnotation(const MapAnnotation* annotation) const;

    // Camera.
    void setViewSize(double width, double height);
    double viewWidth() const { return viewWidth_; }
    double viewHeight() const { return viewHeight_; }
    MapCoordinate center() const { return center_; }
    void setCenter(MapCoordinate center, bool animated);
    // Degrees clockwise from north of the direction at the top of the view, in [0, 360).
    double heading() const { return heading_; }
    void setCameraHeading(double heading, bool animated);
    MapRegion region() const;
    // Centres the camera and scales it so that the whole region fits into the view. A view
    // without size only takes the centre.
    void setRegion(MapCoordinate center, double metresNorthSouth, double metresEastWest, bool animated);
    double mapPointsPerViewPoint() const { return mapPointsPerViewPoint_; }
    // The user's zoom, clamped to the scales above.
    void setMapPointsPerViewPoint(double scale);
    // factor > 1 zooms in (fewer map points per view point).
    void zoomBy(double factor);
    double visibleMapWidth() const { return viewWidth_ * mapPointsPerViewPoint_; }
    double visibleMapHeight() const { return viewHeight_ * mapPointsPerViewPoint_; }
    // 20 at one map point per view point; one less for each doubling of the visible width.
    int zoomLevel() const;

    // View points (origin top left, y down) of a coordinate and back, with the map turned by
    // the camera heading.
    QPointF viewPoint(MapCoordinate coordinate) const;
    MapCoordinate coordinateAt(QPointF viewPoint) const;

    // Change tracking for the widget.
    std::uint64_t revision() const { return revision_; }
    bool lastChangeAnimated() const { return lastChangeAnimated_; }
    std::function<void()> onChange;

    // Holds back onChange until the outermost batch ends, so one update of many objects costs
    // one repaint. Revisions still count each change.
    class ChangeBatch {
    public:
        explicit ChangeBatch(MapScene& scene);
        ~ChangeBatch();
        ChangeBatch(const ChangeBatch&) = delete;
        ChangeBatch& operator=(const ChangeBatch&) = delete;

    private:
        MapScene& scene_;
    };

private:
    friend class MapAnnotation;
    void contentChanged();
    void cameraChanged(bool animated);
    void notify();

    std::vector<MapOverlayPtr> overlays_;
    std::vector<MapAnnotationPtr> annotations_;
    double viewWidth_ = 0;
    double viewHeight_ = 0;
    MapCoordinate center_;
    double heading_ = 0;
    // Zoom level 12 until someone sets a region.
    double mapPointsPerViewPoint_ = 256.0;
    std::uint64_t revision_ = 0;
    bool lastChangeAnimated_ = false;
    int batchDepth_ = 0;
    bool pendingNotification_ = false;
};
