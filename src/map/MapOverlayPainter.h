#pragma once

#include "map/MapOverlay.h"

#include <QPointF>
#include <cstdint>
#include <vector>

class MapViewDelegate;
class MapViewport;
class QPainter;
class QPen;
class QRectF;
struct MapOverlayRenderer;

// Draws a map's overlays with the renderers its delegate gives: lines, areas and circles, turned
// and scaled by the viewport, bottom first; a line in many colours segment by segment. Every frame
// draws thousands of track points, so the buffers live on between frames and drawing allocates
// nothing once warmed up.
class MapOverlayPainter {
public:
    void paint(QPainter& painter, const MapViewport& viewport, const std::vector<MapOverlayPtr>& overlays,
               MapViewDelegate* delegate);

private:
    // Projects a line's or area's vertices into points_, leaving out those that add nothing
    // visible; with `colors`, each kept vertex's colour goes into pointColors_. False when nothing
    // of it shows in `visible`.
    bool project(const MapOverlay& overlay, const MapViewport& viewport, const QRectF& visible,
                 const std::vector<std::uint8_t>* colors);
    void paintMulticolorLine(QPainter& painter, QPen& pen, double width,
                             const std::vector<std::uint32_t>& palette);

    std::vector<QPointF> points_;
    std::vector<std::uint8_t> pointColors_;
};
