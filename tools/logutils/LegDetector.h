#pragma once

#include <span>
#include <string>
#include <vector>

// Legs by the point of sailing, from the angle to the wind smoothed over `smoothingSeconds`:
// "Upwind" for |angle| below `upwindBelow`, "Downwind" above `downwindAbove`, "Reach" between.
// A stretch in one band shorter than `minimumSeconds` (a tack's pass through head to wind, a
// rounding) belongs to the leg around it; legs shorter than that are not emitted, as the desktop
// program drops them. Data gaps longer than `maximumGapSeconds` end a leg.
namespace LegDetector {

constexpr double upwindBelow = 70.0;
constexpr double downwindAbove = 120.0;
constexpr double smoothingSeconds = 30.0;
constexpr double minimumSeconds = 60.0;
constexpr double maximumGapSeconds = 30.0;

struct Leg {
    double start = 0.0; // as the table's times
    double duration = 0.0;
    std::string type; // "Upwind", "Downwind" or "Reach"
};

std::vector<Leg> detect(std::span<const double> times, std::span<const double> windAngle);

} // namespace LegDetector
