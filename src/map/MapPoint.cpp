#include "map/MapPoint.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {
constexpr double pi = std::numbers::pi;
// Web Mercator projects the WGS-84 ellipsoid's equatorial radius.
constexpr double mercatorRadius = 6378137.0;
} // namespace

MapPoint mapPoint(MapCoordinate c) {
    const double latitude = std::clamp(c.latitude, -mapMaximumLatitude, mapMaximumLatitude);
    const double phi = latitude * pi / 180.0;
    const double x = (c.longitude + 180.0) / 360.0 * mapWorldSize;
    const double y = (0.5 - std::log(std::tan(pi / 4.0 + phi / 2.0)) / (2.0 * pi)) * mapWorldSize;
    return {x, y};
}

MapCoordinate coordinate(MapPoint p) {
    const double longitude = p.x / mapWorldSize * 360.0 - 180.0;
    const double n = pi * (1.0 - 2.0 * p.y / mapWorldSize);
    const double latitude = std::atan(std::sinh(n)) * 180.0 / pi;
    return {latitude, longitude};
}

double mapPointsPerMetre(double latitude) {
    const double phi = std::clamp(latitude, -mapMaximumLatitude, mapMaximumLatitude) * pi / 180.0;
    return mapWorldSize / (2.0 * pi * mercatorRadius * std::cos(phi));
}
