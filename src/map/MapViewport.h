#pragma once

#include "map/MapCoordinate.h"
#include "map/MapPoint.h"

#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <algorithm>
#include <cmath>

// The camera as drawn: which map point sits at the view's centre, how many map points one view
// point covers, and how far the map is turned. Converts between map and view points (y down).
// Projecting coordinates is the hot loop of every frame, so near the centre the Mercator y is
// taken from a Taylor series of the centre's latitude instead of a tan and a log per point.
class MapViewport {
public:
    MapViewport() = default;
    MapViewport(MapPoint center, double mapPointsPerViewPoint, double heading, QSizeF viewSize);

    MapPoint center() const { return center_; }
    double mapPointsPerViewPoint() const { return scale_; }
    // Degrees clockwise from north of the direction at the top of the view.
    double heading() const { return heading_; }
    QSizeF viewSize() const { return viewSize_; }

    QPointF viewPoint(MapPoint p) const {
        const double dx = (p.x - center_.x) / scale_;
        const double dy = (p.y - center_.y) / scale_;
        // The map turns the other way than the camera: with heading 90 east is up.
        return {viewSize_.width() * 0.5 + dx * cosHeading_ + dy * sinHeading_,
                viewSize_.height() * 0.5 - dx * sinHeading_ + dy * cosHeading_};
    }
    QPointF viewPoint(MapCoordinate c) const { return viewPoint(project(c)); }
    MapPoint mapPointAt(QPointF viewPoint) const;
    MapCoordinate coordinateAt(QPointF viewPoint) const { return coordinate(mapPointAt(viewPoint)); }
    // Fast Mercator projection, exact to well below a view point near the centre.
    MapPoint project(MapCoordinate c) const {
        const double x = (c.longitude + 180.0) / 360.0 * mapWorldSize;
        const double dphi =
            std::clamp(c.latitude, -mapMaximumLatitude, mapMaximumLatitude) * radiansPerDegree - phi0_;
        if (std::abs(dphi) > seriesReach)
            return mapPoint(c);
        return {x, y0_ + dphi * (d1_ + dphi * (d2_ + dphi * (d3_ + dphi * d4_)))};
    }
    // The map rectangle that holds the whole (possibly turned) view.
    QRectF visibleMapBounds() const;
    // Ground metres per view point at the centre.
    double metresPerViewPoint() const;

private:
    static constexpr double radiansPerDegree = 0.017453292519943295;
    // Beyond this distance from the centre latitude (about 30 km) the series is no longer exact to
    // a thousandth of a map point; the exact formula takes over.
    static constexpr double seriesReach = 0.005;

    MapPoint center_;
    double scale_ = 1;
    double heading_ = 0;
    QSizeF viewSize_;
    double cosHeading_ = 1;
    double sinHeading_ = 0;
    // Series of the Mercator y around the centre latitude (radians), in map points.
    double phi0_ = 0;
    double y0_ = 0;
    double d1_ = 0, d2_ = 0, d3_ = 0, d4_ = 0;
};
