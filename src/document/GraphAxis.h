#pragma once

#include <vector>

// Where a graph puts its grid lines and labels: round numbers a reader can take in at a glance.
struct GraphAxis {
    // What the values are: angles and durations step in their own round numbers.
    enum class Kind { number, angle, duration };

    double low = 0.0;
    double high = 1.0;
    double step = 1.0;

    // Bounds that are whole multiples of a round step (1, 2, 2.5 or 5 times a power of ten; for
    // angles 1, 2, 5, 10, 15, 30, 45 or 90 degrees; for seconds 1, 2, 5, 10, 15, 30 s, 1, 2, 5, 10,
    // 15, 30 min or hours), holding `low`…`high` in at most `maximumSteps` steps. A range without
    // height is widened around its value.
    static GraphAxis around(double low, double high, int maximumSteps, Kind kind = Kind::number);

    // The values of the grid lines, from `low` to `high`.
    std::vector<double> ticks() const;

    // The shortest of 1, 2, 5, 10, 15, 30 s, 1, 2, 5, 10, 15, 30 min, 1, 2, 3, 6, 12 h whose ticks
    // lie at least `minimumSpacing` pixels apart at `pixelsPerSecond`.
    static double timeStep(double pixelsPerSecond, double minimumSpacing);

    bool operator==(const GraphAxis&) const = default;
};
