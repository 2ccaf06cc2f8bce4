#pragma once

#include "map/MapCoordinate.h"

#include <memory>

class MapScene;

// A point on the map that a small view marks (a boat's label, its wind arrow, the mark pin).
// Unlike overlays, annotations are moved rather than replaced; a move made while the annotation
// is on a scene counts as a change of that scene, so the map repaints.
class MapAnnotation {
public:
    MapAnnotation() = default;
    explicit MapAnnotation(MapCoordinate coordinate) : coordinate_(coordinate) {}
    MapAnnotation(const MapAnnotation&) = delete;
    MapAnnotation& operator=(const MapAnnotation&) = delete;
    virtual ~MapAnnotation() = default;

    MapCoordinate coordinate() const { return coordinate_; }
    void setCoordinate(MapCoordinate coordinate);

protected:
    void changed();

private:
    friend class MapScene;
    MapCoordinate coordinate_;
    // The scene that shows the annotation, if any; set by MapScene.
    MapScene* scene_ = nullptr;
};

// An annotation that points somewhere: degrees clockwise from the top of the view.
class HeadingAnnotation : public MapAnnotation {
public:
    double heading() const { return heading_; }
    void setHeading(double heading);

private:
    double heading_ = 0;
};

// A wind arrow: the heading is where the wind comes from, relative to the map's rotation.
class WindAnnotation : public HeadingAnnotation {
public:
    // Knots.
    double windSpeed() const { return windSpeed_; }
    void setWindSpeed(double knots);

private:
    double windSpeed_ = 0;
};

using MapAnnotationPtr = std::shared_ptr<MapAnnotation>;
