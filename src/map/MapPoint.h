#pragma once

#include "map/MapCoordinate.h"

// A point of the Web Mercator plane: x east, y south, the world 2^28 points wide, so that at
// zoom level 20 one map point is one view point. Latitudes beyond the projection's limit
// (±85.0511°) are clamped.
struct MapPoint {
    double x = 0;
    double y = 0;
};

inline constexpr double mapWorldSize = 268435456.0;
// The latitude at which the Mercator world becomes square.
inline constexpr double mapMaximumLatitude = 85.0511287798066;

MapPoint mapPoint(MapCoordinate coordinate);
MapCoordinate coordinate(MapPoint point);
// Map points per metre of the ground at that latitude (the projection's scale grows towards the
// poles).
double mapPointsPerMetre(double latitude);
