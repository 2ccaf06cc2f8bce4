#pragma once

#include "map/MapAnnotationViewStyle.h"
#include "map/MapOverlayRenderer.h"

#include <optional>

class MapAnnotation;
class MapOverlay;

// What the map asks of its owner for each object it draws.
class MapViewDelegate {
public:
    virtual ~MapViewDelegate() = default;
    virtual MapOverlayRenderer rendererFor(const MapOverlay& overlay) = 0;
    // None: the annotation gets no view.
    virtual std::optional<MapAnnotationViewStyle> viewFor(const MapAnnotation& annotation) = 0;
};
