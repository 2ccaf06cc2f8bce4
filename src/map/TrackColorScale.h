#pragma once

#include "core/Instant.h"
#include "core/RgbColor.h"
#include "metrics/BoatMetric.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class BoatLog;

// How a metric's values become the colours of a track: the 5th to the 95th percentile of the
// values stretched over the colour map, the rest clamped to its ends, so that a few wild records
// (a speed spike, a capsize) do not wash the colours of the race out. Values are in the unit the
// log stores the metric in.
class TrackColorScale {
public:
    static constexpr double lowPercentile = 0.05;
    static constexpr double highPercentile = 0.95;

    // `low` and `high` as the scale sees values (see scaled()).
    TrackColorScale(BoatMetric metric, double low, double high);

    // The scale of `metric` over the records of `logs` from `from` to `to` (a log wholly when
    // there is no window); none when no record in it has a value.
    static std::optional<TrackColorScale> ofLogs(const BoatMetric& metric,
                                                 const std::vector<std::shared_ptr<const BoatLog>>& logs,
                                                 std::optional<Instant> from, std::optional<Instant> to);
    // Angles whose sign only tells port from starboard (TWA, heel): the scale colours their size,
    // since a boat sails the same on either tack.
    static bool foldsSign(const BoatMetric& metric);

    const BoatMetric& metric() const { return metric_; }
    double low() const { return low_; }
    double high() const { return high_; }
    // The value as the scale ranks it: a folded angle's size, taken within ±180° first.
    double scaled(double value) const;
    // 0 at the low end, 1 at the high end, clamped; NaN stays NaN.
    double fraction(double value) const;
    // The colour map's step of a value; TrackColorMap::noLevel for NaN.
    std::uint8_t level(double value) const;
    RgbColor color(double value) const;

private:
    BoatMetric metric_;
    double low_;
    double high_;
    // A full turn in the log's unit when the sign folds; 0 otherwise.
    double fullTurn_ = 0;
};
