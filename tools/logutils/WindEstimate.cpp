#include "WindEstimate.h"

#include "FigureTable.h"
#include "Geodesy.h"
#include "Parallel.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
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

// The heading of each row as a unit vector, NaN where the row does not count (no heading, or
// drifting): worked out once, not once for every window a row falls in.
struct Bearings {
    Values x, y;
};

Mean meanHeading(std::span<const double> times, const Bearings& bearings, std::span<const double> speed,
                 std::size_t i, double from, double to) {
    Mean mean;
    const double t0 = times[i] + from, t1 = times[i] + to;
    // Times ascend: the window starts at the first row not before t0.
    std::size_t j =
        static_cast<std::size_t>(std::lower_bound(times.begin(), times.begin() + i, t0) - times.begin());
    for (; j < times.size() && times[j] <= t1; ++j) {
        if (times[j] < t0 || std::isnan(bearings.x[j]))
            continue;
        mean.x += bearings.x[j];
        mean.y += bearings.y[j];
        mean.speed += speed.empty() ? 0.0 : speed[j];
        ++mean.count;
    }
    return mean;
}

// The change of mean heading across a row, with what a turn there is made of.
struct Change {
    double change = 0.0; // 0 where either side has too few samples
    double before = 0.0; // mean heading before
    double speed = 0.0;  // mean speed either side
};

Change changeAt(std::span<const double> times, const Bearings& bearings, std::span<const double> speed,
                std::size_t i) {
    const Mean before = meanHeading(times, bearings, speed, i, -turnWindow, -turnHold);
    const Mean after = meanHeading(times, bearings, speed, i, turnHold, turnWindow);
    if (before.count < 3 || after.count < 3)
        return {};
    const double h0 = std::atan2(before.y, before.x) / radians;
    const double h1 = std::atan2(after.y, after.x) / radians;
    return {Geodesy::signedAngle(h1 - h0), h0, (before.speed / before.count + after.speed / after.count) / 2};
}

// The sums of the unit vectors of the rows in a window [t + from, t + to] that moves forward with
// t, in fixed point, so that putting rows in and taking them out is exact. It screens each row in
// constant time: where the change across a row is far from a turn's, the exact mean of changeAt(),
// whose cost grows with the window, need not be worked out.
class MovingWindow {
public:
    MovingWindow(std::span<const double> times, const Bearings& bearings, double from, double to)
        : times_(times), bearings_(bearings), from_(from), to_(to) {}

    void moveTo(double t) {
        const double t0 = t + from_, t1 = t + to_;
        while (first_ < end_ && times_[first_] < t0)
            update(first_++, -1);
        if (first_ == end_)
            while (end_ < times_.size() && times_[end_] < t0)
                first_ = ++end_;
        while (end_ < times_.size() && times_[end_] <= t1)
            update(end_++, 1);
    }
    int count() const { return count_; }
    double x() const { return static_cast<double>(x_) / scale; }
    double y() const { return static_cast<double>(y_) / scale; }

private:
    static constexpr double scale = 1099511627776.0; // 2^40: a window may hold 2^23 rows

    void update(std::size_t j, int sign) {
        if (std::isnan(bearings_.x[j]))
            return;
        x_ += sign * std::llround(bearings_.x[j] * scale);
        y_ += sign * std::llround(bearings_.y[j] * scale);
        count_ += sign;
    }

    std::span<const double> times_;
    const Bearings& bearings_;
    double from_, to_;
    std::size_t first_ = 0, end_ = 0; // the window's rows
    std::int64_t x_ = 0, y_ = 0;
    int count_ = 0;
};

// Whether the change across the row the windows are at may be a turn's, as changeAt() works it
// out: false only where its value is surely below turnAngle or above 170°.
bool mayTurn(const MovingWindow& before, const MovingWindow& after) {
    if (before.count() < 3 || after.count() < 3)
        return false;
    // The direction of a short resultant is uncertain: then only the exact mean can tell.
    constexpr double shortest = 1e-2, margin = 1e-3;
    if (std::hypot(before.x(), before.y()) < shortest || std::hypot(after.x(), after.y()) < shortest)
        return true;
    const double change = std::abs(Geodesy::signedAngle(
        (std::atan2(after.y(), after.x()) - std::atan2(before.y(), before.x())) / radians));
    return change >= turnAngle - margin && change <= 170.0 + margin;
}

} // namespace

std::optional<double> WindEstimate::meanDirection(std::span<const double> times,
                                                  std::span<const double> heading,
                                                  std::span<const double> speed) {
    const std::size_t n = std::min(times.size(), heading.size());
    times = times.first(n);
    Bearings bearings{Values(n), Values(n)};
    Parallel::forRows(n, [&](std::size_t begin, std::size_t end) {
        for (std::size_t j = begin; j < end; ++j) {
            const bool counts = std::isfinite(heading[j]) && (speed.empty() || speed[j] >= sailingSpeed);
            bearings.x[j] = counts ? std::cos(heading[j] * radians) : NAN;
            bearings.y[j] = counts ? std::sin(heading[j] * radians) : NAN;
        }
    });

    struct Turn {
        double bisector;
        double speed; // mean speed either side
    };
    std::vector<Turn> turns;
    double lastTurn = -INFINITY;
    MovingWindow before(times, bearings, -turnWindow, -turnHold),
        after(times, bearings, turnHold, turnWindow);
    for (std::size_t i = 0; i < n; ++i) {
        if (times[i] - lastTurn < 2 * turnWindow)
            continue;
        before.moveTo(times[i]);
        after.moveTo(times[i]);
        if (!mayTurn(before, after))
            continue;
        Change turn = changeAt(times, bearings, speed, i);
        if (std::abs(turn.change) < turnAngle || std::abs(turn.change) > 170.0)
            continue;
        // The turn is where the change across it peaks.
        for (std::size_t j = i + 1; j < n && times[j] - times[i] <= turnWindow; ++j) {
            const Change c = changeAt(times, bearings, speed, j);
            if (std::abs(c.change) > std::abs(turn.change) && std::abs(c.change) <= 170.0)
                turn = c, i = j;
        }
        turns.push_back({Geodesy::bearing360(turn.before + turn.change / 2), turn.speed});
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
    if (speed.empty() || towards.count == 0 || away.count == 0)
        return towards.count >= away.count ? axis : Geodesy::bearing360(axis + 180.0);
    return towards.speed / towards.count <= away.speed / away.count ? axis
                                                                    : Geodesy::bearing360(axis + 180.0);
}

bool WindEstimate::estimateAngles(const FigureTable& table, Values& angles) {
    const auto* heading = table.findFirst({"Heading", "COG"});
    if (!heading)
        return false;
    const auto* speed = table.findFirst({"BoatSpeed", "SOG"});
    const std::span<const double> times(table.times().data(), table.times().size());
    auto direction = meanDirection(times, *heading, speed ? *speed : FigureTable::Column());
    if (!direction)
        return false;
    angles.resize(heading->size());
    Parallel::forRows(angles.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            angles[i] = Geodesy::signedAngle((*heading)[i] - *direction);
    });
    return true;
}
