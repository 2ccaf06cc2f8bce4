#pragma once

#include "map/MapCoordinate.h"

// Great-circle geometry of the race map on a sphere. Angles in degrees, distances in metres,
// bearings clockwise from true north.
namespace Geodesy {

constexpr double earthRadius = 6372797.6;
// Twice a radius of 6372797.560856 m: the haversine keeps its own figure, which differs from
// earthRadius in the eighth digit. Both are kept so that outlines match the logs' own geometry.
constexpr double haversineFactor = 12745595.121712;

// The point `metres` away along the great circle leaving `from` at `bearingDegrees`. The
// longitude is not normalised: a track across the antimeridian stays continuous.
MapCoordinate destination(MapCoordinate from, double bearingDegrees, double metres);
// The bearing at `a` of the great circle to `b`, in (-180, 180].
double initialBearing(MapCoordinate a, MapCoordinate b);
double haversineDistance(MapCoordinate a, MapCoordinate b);

} // namespace Geodesy
