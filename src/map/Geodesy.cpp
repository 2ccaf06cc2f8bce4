#include "map/Geodesy.h"

#include <cmath>
#include <numbers>

namespace {
constexpr double radiansPerDegree = std::numbers::pi / 180.0;
constexpr double degreesPerRadian = 180.0 / std::numbers::pi;
} // namespace

namespace Geodesy {

MapCoordinate destination(MapCoordinate from, double bearingDegrees, double metres) {
    const double phi1 = from.latitude * radiansPerDegree;
    const double lambda1 = from.longitude * radiansPerDegree;
    const double theta = bearingDegrees * radiansPerDegree;
    const double delta = metres / earthRadius;
    const double phi2 =
        std::asin(std::sin(phi1) * std::cos(delta) + std::cos(phi1) * std::sin(delta) * std::cos(theta));
    const double lambda2 = lambda1 + std::atan2(std::sin(theta) * std::sin(delta) * std::cos(phi1),
                                                std::cos(delta) - std::sin(phi1) * std::sin(phi2));
    return {phi2 * degreesPerRadian, lambda2 * degreesPerRadian};
}

double initialBearing(MapCoordinate a, MapCoordinate b) {
    const double phi1 = a.latitude * radiansPerDegree;
    const double phi2 = b.latitude * radiansPerDegree;
    const double deltaLambda = (b.longitude - a.longitude) * radiansPerDegree;
    const double y = std::sin(deltaLambda) * std::cos(phi2);
    const double x =
        std::cos(phi1) * std::sin(phi2) - std::sin(phi1) * std::cos(phi2) * std::cos(deltaLambda);
    return std::atan2(y, x) * degreesPerRadian;
}

double haversineDistance(MapCoordinate a, MapCoordinate b) {
    const double phi1 = a.latitude * radiansPerDegree;
    const double phi2 = b.latitude * radiansPerDegree;
    const double sinHalfPhi = std::sin((phi2 - phi1) * 0.5);
    const double sinHalfLambda = std::sin((b.longitude - a.longitude) * radiansPerDegree * 0.5);
    const double h =
        sinHalfPhi * sinHalfPhi + std::cos(phi1) * std::cos(phi2) * sinHalfLambda * sinHalfLambda;
    return haversineFactor * std::asin(std::sqrt(h));
}

} // namespace Geodesy
