#pragma once

#include <span>
#include <vector>

// Tacks and gybes from the angle to the wind (signed degrees, negative on port).
//
// The rule: the sign of the angle gives the tack the boat is on. A stretch on one side shorter
// than `holdSeconds` is slop (a wave, a luff), not a new side, and is ignored; where the side
// changes between two stretches that each hold at least `holdSeconds`, the boat manoeuvred at the
// first sample on the new side. It is a "Tack" when the bow went through the wind (|angle| below
// 90° either side of the change), a "Gybe" when the stern did. Data gaps longer than
// `maximumGapSeconds` end a stretch.
namespace ManoeuvreDetector {

constexpr double holdSeconds = 10.0;
constexpr double maximumGapSeconds = 30.0;

struct Manoeuvre {
    double time = 0.0; // as the table's times
    bool tack = true;  // else a gybe
};

std::vector<Manoeuvre> detect(std::span<const double> times, std::span<const double> windAngle);

} // namespace ManoeuvreDetector
