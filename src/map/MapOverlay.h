#pragma once

#include "map/MapCoordinate.h"

#include <memory>
#include <vector>

// A line, area or circle on the map. Overlays never change: a moved line is a new overlay, so the
// map can cache what it drew for one and tell two apart by pointer.
class MapOverlay {
public:
    enum class Kind { Polyline, Polygon, Circle };

    static std::shared_ptr<const MapOverlay> polyline(std::vector<MapCoordinate> points);
    static std::shared_ptr<const MapOverlay> polygon(std::vector<MapCoordinate> points);
    // `radius` in metres.
    static std::shared_ptr<const MapOverlay> circle(MapCoordinate center, double radius);

    Kind kind() const { return kind_; }
    // The vertices of a polyline or polygon (a polygon closes itself); empty for a circle.
    const std::vector<MapCoordinate>& points() const { return points_; }
    MapCoordinate center() const { return center_; }
    double radius() const { return radius_; }

    MapOverlay(Kind kind, std::vector<MapCoordinate> points, MapCoordinate center, double radius)
        : kind_(kind), points_(std::move(points)), center_(center), radius_(radius) {}

private:
    Kind kind_;
    std::vector<MapCoordinate> points_;
    MapCoordinate center_;
    double radius_ = 0;
};

using MapOverlayPtr = std::shared_ptr<const MapOverlay>;

inline std::shared_ptr<const MapOverlay> MapOverlay::polyline(std::vector<MapCoordinate> points) {
    return std::make_shared<const MapOverlay>(Kind::Polyline, std::move(points), MapCoordinate{}, 0.0);
}

inline std::shared_ptr<const MapOverlay> MapOverlay::polygon(std::vector<MapCoordinate> points) {
    return std::make_shared<const MapOverlay>(Kind::Polygon, std::move(points), MapCoordinate{}, 0.0);
}

inline std::shared_ptr<const MapOverlay> MapOverlay::circle(MapCoordinate center, double radius) {
    return std::make_shared<const MapOverlay>(Kind::Circle, std::vector<MapCoordinate>{}, center, radius);
}
