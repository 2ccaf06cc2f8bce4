#pragma once

#include <optional>
#include <vector>

class FigureTable;

// The boat's angle to the wind, for finding manoeuvres and legs: TWA where the log has it, else
// the heading (else COG) against a mean wind direction estimated from the track's turns.
namespace WindEstimate {

// Signed degrees per row, NaN where unknown; none when neither wind nor a usable track exists.
std::optional<std::vector<double>> windAngles(const FigureTable& table);

// The mean wind direction of a track without wind data. A tack turns the bow through the wind,
// a gybe through the opposite direction, so the bisectors of big turns lie on the wind's axis;
// of the axis' two ends, the one the boat sails towards more slowly is upwind (without speeds, or
// with turns through one end only, the end more turns pass through: races tack more than they
// gybe). None when the track has no big turns.
std::optional<double> meanDirection(const std::vector<double>& times, const std::vector<double>& heading,
                                    const std::vector<double>* speed);

} // namespace WindEstimate
