#include "map/MapViewport.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {
constexpr double pi = std::numbers::pi;
} // namespace

MapViewport::MapViewport(MapPoint center, double mapPointsPerViewPoint, double heading, QSizeF viewSize)
    : center_(center), scale_(mapPointsPerViewPoint > 0 ? mapPointsPerViewPoint : 1), heading_(heading),
      viewSize_(viewSize) {
    const double radians = heading * radiansPerDegree;
    cosHeading_ = std::cos(radians);
    sinHeading_ = std::sin(radians);
    const double latitude = std::clamp(coordinate(center).latitude, -mapMaximumLatitude, mapMaximumLatitude);
    phi0_ = latitude * radiansPerDegree;
    y0_ = mapPoint({latitude, 0}).y;
    // y(φ) = (0.5 − ln tan(π/4 + φ/2) / 2π) · world; its derivatives in sec φ and tan φ.
    const double s = 1.0 / std::cos(phi0_);
    const double t = std::tan(phi0_);
    const double k = -mapWorldSize / (2.0 * pi);
    d1_ = k * s;
    d2_ = k * s * t / 2.0;
    d3_ = k * s * (t * t + s * s) / 6.0;
    d4_ = k * (s * t * t * t + 5.0 * s * s * s * t) / 24.0;
}

MapPoint MapViewport::mapPointAt(QPointF v) const {
    const double vx = v.x() - viewSize_.width() * 0.5;
    const double vy = v.y() - viewSize_.height() * 0.5;
    const double dx = vx * cosHeading_ - vy * sinHeading_;
    const double dy = vx * sinHeading_ + vy * cosHeading_;
    return {center_.x + dx * scale_, center_.y + dy * scale_};
}

QRectF MapViewport::visibleMapBounds() const {
    const double w = viewSize_.width();
    const double h = viewSize_.height();
    const MapPoint corners[] = {mapPointAt({0, 0}), mapPointAt({w, 0}), mapPointAt({0, h}),
                                mapPointAt({w, h})};
    double minX = corners[0].x, maxX = minX, minY = corners[0].y, maxY = minY;
    for (const auto& p : corners) {
        minX = std::min(minX, p.x);
        maxX = std::max(maxX, p.x);
        minY = std::min(minY, p.y);
        maxY = std::max(maxY, p.y);
    }
    return QRectF(QPointF(minX, minY), QPointF(maxX, maxY));
}

double MapViewport::metresPerViewPoint() const {
    return scale_ / mapPointsPerMetre(coordinate(center_).latitude);
}
