#pragma once

#include "map/MapAnnotationView.h"

#include <QPainterPath>

// A wind barb: a shaft from the centre towards where the wind comes from, and one barb per
// 10 knots, each 5 points further in, the remainder as a shorter barb.
class WindAnnotationView : public MapAnnotationView {
public:
    explicit WindAnnotationView(const MapAnnotationViewStyle& style) : MapAnnotationView(style) {}

    void paint(QPainter& painter, const MapAnnotation& annotation) override;

    // The barb's segments in view coordinates (y down) for a frame of `size`; heading in degrees
    // relative to the top of the map, speed in knots.
    static QPainterPath barbPath(QSizeF size, double heading, double windSpeed);

private:
    QPainterPath path_;
    double pathHeading_ = 0;
    double pathSpeed_ = -1;
};
