#include "WindEstimate.h"

#include "FigureTable.h"
#include "Geodesy.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double radians = std::numbers::pi / 180.0;
// A turn: the mean heading of 5…15 s after differs from that of 15…5 s before by this much.
constexpr double turnAngle = 60.0;
constexpr double turnWindow = 15.0;
constexpr double turnHold = 5.0;
// Heading of a boat slower than this (knots) is drift, not sailing.
constexpr double sailingSpeed = 1.5;

struct Mean {
    double x = 0.0, y = 0.0, speed = 0.0;
    int count = 0;
};

Mean meanHeading(const std::vector<double>& times, const std::vector<double>& heading,
                 const std::vector<double>* speed, std::size_t i, double from, double to) {
    Mean mean;
    // Walk from i within [t + from, t + to].
    const double t0 = times[i] + from, t1 = times[i] + to;
    std::size_t j = i;
    while (j > 0 && times[j - 1] >= t0)
        --j;
    for (; j < times.size() && times[j] <= t1; ++j) {
        if (times[j] < t0 || !std::isfinite(heading[j]))
            continue;
        if (speed && !((*speed)[j] >= sailingSpeed))
            continue;
        mean.x += std::cos(heading[j] * radians);
        mean.y += std::sin(heading[j] * radians);
        mean.speed += speed ? (*speed)[j] : 0.0;
        ++mean.count;
    }
    return mean;
}

} // namespace

std::optional<double> WindEstimate::meanDirection(const std::vector<double>& times,
                                                  const std::vector<double>& heading,
                                                  const std::vector<double>* speed) {
    struct Turn {
        double bisector;
        double speed; // mean speed either side
    };
    std::vector<Turn> turns;
    double lastTurn = -INFINITY;
    // The change of mean heading across sample i: none where either side has too few samples.
    auto changeAt = [&](std::size_t i, double& h0, double& h1, Mean& before, Mean& after) {
        before = meanHeading(times, heading, speed, i, -turnWindow, -turnHold);
        after = meanHeading(times, heading, speed, i, turnHold, turnWindow);
        if (before.count < 3 || after.count < 3)
            return 0.0;
        h0 = std::atan2(before.y, before.x) / radians;
        h1 = std::atan2(after.y, after.x) / radians;
        return Geodesy::signedAngle(h1 - h0);
    };
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (times[i] - lastTurn < 2 * turnWindow)
            continue;
        double h0 = 0, h1 = 0;
        Mean before, after;
        double change = changeAt(i, h0, h1, before, after);
        if (std::abs(change) < turnAngle || std::abs(change) > 170.0)
            continue;
        // The turn is where the change across it peaks.
        for (std::size_t j = i + 1; j < times.size() && times[j] - times[i] <= turnWindow; ++j) {
            double g0 = 0, g1 = 0;
            Mean b, a;
            const double c = changeAt(j, g0, g1, b, a);
            if (std::abs(c) > std::abs(change) && std::abs(c) <= 170.0)
                change = c, h0 = g0, h1 = g1, before = b, after = a, i = j;
        }
        turns.push_back({Geodesy::bearing360(h0 + change / 2),
                         (before.speed / before.count + after.speed / after.count) / 2});
        lastTurn = times[i];
    }
    if (turns.empty())
        return std::nullopt;
    // The axis: the mean of the doubled bisectors, so that a tack's and a gybe's agree.
    double x = 0.0, y = 0.0;
    for (const Turn& turn : turns) {
        x += std::cos(2 * turn.bisector * radians);
        y += std::sin(2 * turn.bisector * radians);
    }
    if (std::hypot(x, y) < 0.3 * static_cast<double>(turns.size()))
        return std::nullopt; // the turns agree on no axis
    const double axis = Geodesy::bearing360(std::atan2(y, x) / radians / 2);
    Mean towards, away;
    for (const Turn& turn : turns) {
        Mean& side = std::cos((turn.bisector - axis) * radians) > 0 ? towards : away;
        side.speed += turn.speed;
        ++side.count;
    }
    if (!speed || towards.count == 0 || away.count == 0)
        return towards.count >= away.count ? axis : Geodesy::bearing360(axis + 180.0);
    return towards.speed / towards.count <= away.speed / away.count ? axis
                                                                    : Geodesy::bearing360(axis + 180.0);
}

std::optional<std::vector<double>> WindEstimate::windAngles(const FigureTable& table) {
    if (const auto* twa = table.find("TWA"))
        return *twa;
    const auto* heading = table.findFirst({"Heading", "COG"});
    if (!heading)
        return std::nullopt;
    const auto* speed = table.findFirst({"BoatSpeed", "SOG"});
    std::vector<double> times(table.times().begin(), table.times().end());
    auto direction = meanDirection(times, *heading, speed);
    if (!direction)
        return std::nullopt;
    std::vector<double> angles(heading->size());
    for (std::size_t i = 0; i < angles.size(); ++i)
        angles[i] = Geodesy::signedAngle((*heading)[i] - *direction);
    return angles;
}
