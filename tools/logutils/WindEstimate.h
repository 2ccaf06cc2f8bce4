#pragma once

#include "readers/InputTable.h"

#include <optional>
#include <span>
#include <vector>

class FigureTable;

// The boat's angle to the wind, for finding manoeuvres and legs, in a log without TWA: the heading
// (else COG) against a mean wind direction estimated from the track's turns.
namespace WindEstimate {

// Signed degrees per row into `angles`, NaN where unknown; false when the table has neither a
// heading nor a track with turns to estimate the wind from.
bool estimateAngles(const FigureTable& table, Values& angles);

// The mean wind direction of a track without wind data. A tack turns the bow through the wind,
// a gybe through the opposite direction, so the bisectors of big turns lie on the wind's axis;
// of the axis' two ends, the one the boat sails towards more slowly is upwind (without speeds, or
// with turns through one end only, the end more turns pass through: races tack more than they
// gybe). None when the track has no big turns.
// `speed` may be empty: no speeds.
std::optional<double> meanDirection(std::span<const double> times, std::span<const double> heading,
                                    std::span<const double> speed);

} // namespace WindEstimate
