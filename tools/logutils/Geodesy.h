#pragma once

#include "map/Geodesy.h"

// The converter's side of the great-circle geometry: the map's formulas (one sphere for both, so
// that a start line the converter measured is where the map draws it) plus the track distances
// the start-line figures need. Angles in degrees, distances in metres; bearings clockwise from
// true north in [0, 360), longitudes in (-180, 180].
namespace Geodesy {

constexpr double metresPerNauticalMile = 1852.0;
constexpr double knotsPerMetrePerSecond = 3600.0 / 1852.0;

struct Position {
    double lat = 0.0;
    double lon = 0.0;
};

double distance(Position from, Position to);
double initialBearing(Position from, Position to);
Position destination(Position from, double bearing, double distance);
// Signed distance of `point` from the great circle through `from` and `to`: positive on the
// right of the direction from → to.
double crossTrack(Position from, Position to, Position point);
// Distance along the great circle from → to of the foot of `point`'s perpendicular.
double alongTrack(Position from, Position to, Position point);

// An angle in (-180, 180] and in [0, 360).
double signedAngle(double degrees);
double bearing360(double degrees);

} // namespace Geodesy
