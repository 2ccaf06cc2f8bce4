#include "Geodesy.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr double radians = std::numbers::pi / 180.0;

} // namespace

double Geodesy::signedAngle(double degrees) {
    double a = std::fmod(degrees, 360.0);
    if (a <= -180.0)
        a += 360.0;
    else if (a > 180.0)
        a -= 360.0;
    return a;
}

double Geodesy::bearing360(double degrees) {
    double a = std::fmod(degrees, 360.0);
    if (a < 0.0)
        a += 360.0;
    return a >= 360.0 ? 0.0 : a;
}

double Geodesy::distance(Position from, Position to) {
    return haversineDistance({from.lat, from.lon}, {to.lat, to.lon});
}

double Geodesy::initialBearing(Position from, Position to) {
    return bearing360(initialBearing(MapCoordinate{from.lat, from.lon}, MapCoordinate{to.lat, to.lon}));
}

Geodesy::Position Geodesy::destination(Position from, double bearing, double distance) {
    const MapCoordinate to = destination(MapCoordinate{from.lat, from.lon}, bearing, distance);
    return {to.latitude, signedAngle(to.longitude)};
}

double Geodesy::crossTrack(Position from, Position to, Position point) {
    const double d13 = distance(from, point) / earthRadius;
    const double theta13 = initialBearing(from, point) * radians;
    const double theta12 = initialBearing(from, to) * radians;
    return std::asin(std::sin(d13) * std::sin(theta13 - theta12)) * earthRadius;
}

double Geodesy::alongTrack(Position from, Position to, Position point) {
    const double d13 = distance(from, point) / earthRadius;
    const double dxt = crossTrack(from, to, point) / earthRadius;
    const double theta13 = initialBearing(from, point) * radians;
    const double theta12 = initialBearing(from, to) * radians;
    const double sign = std::cos(theta12 - theta13) < 0 ? -1.0 : 1.0;
    const double c = std::cos(dxt);
    return sign * std::acos(std::clamp(std::cos(d13) / (c == 0 ? 1.0 : c), -1.0, 1.0)) * earthRadius;
}
