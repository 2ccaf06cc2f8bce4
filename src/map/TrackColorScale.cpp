#include "map/TrackColorScale.h"

#include "boatlog/BoatLog.h"
#include "map/BoatLogReading.h"
#include "map/TrackColorMap.h"

#include <algorithm>
#include <cmath>

namespace {

using Case = BoatMetric::Case;

// The p-quantile of `values` (NaN-free, reordered), interpolated between the two nearest ranks as
// spreadsheets and numpy do.
double quantile(std::vector<double>& values, double p) {
    const double rank = p * double(values.size() - 1);
    const auto below = static_cast<std::size_t>(rank);
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(below), values.end());
    const double lower = values[below];
    if (below + 1 >= values.size())
        return lower;
    // After nth_element everything past `below` is at least `lower`: the next rank is its least.
    const double upper =
        *std::min_element(values.begin() + static_cast<std::ptrdiff_t>(below) + 1, values.end());
    return lower + (upper - lower) * (rank - double(below));
}

} // namespace

TrackColorScale::TrackColorScale(BoatMetric metric, double low, double high)
    : metric_(std::move(metric)), low_(low), high_(high) {
    if (foldsSign(metric_))
        fullTurn_ = Measurement(360.0, UnitAngle::degrees()).converted(metric_.unit()).value();
}

bool TrackColorScale::foldsSign(const BoatMetric& metric) {
    if (metric.unit().dimension() != Unit::Dimension::angle)
        return false;
    switch (metric.metricCase()) {
    case Case::AWA:
    case Case::TWA:
    case Case::TargetTWA:
    case Case::Heel:
    case Case::TargetHeel:
        return true;
    default:
        return false;
    }
}

std::optional<TrackColorScale>
TrackColorScale::ofLogs(const BoatMetric& metric, const std::vector<std::shared_ptr<const BoatLog>>& logs,
                        std::optional<Instant> from, std::optional<Instant> to) {
    const TrackColorScale folding(metric, 0, 0);
    std::vector<double> values;
    for (const auto& log : logs) {
        if (!log)
            continue;
        auto first = from ? BoatLogReading::firstIndexAtOrAfter(*log, *from) : log->startIndex();
        auto last = to ? BoatLogReading::lastIndexAtOrBefore(*log, *to) : log->lastIndex();
        if (!first || !last || last->index < first->index)
            continue;
        const std::size_t start = values.size();
        BoatLogReading::appendValues(*log, metric, *first, *last, values);
        // Missing values drop out here, and folded angles take their size.
        auto kept = values.begin() + static_cast<std::ptrdiff_t>(start);
        for (auto v = kept; v != values.end(); ++v)
            if (!std::isnan(*v))
                *kept++ = folding.scaled(*v);
        values.erase(kept, values.end());
    }
    if (values.empty())
        return std::nullopt;
    const double low = quantile(values, lowPercentile);
    const double high = quantile(values, highPercentile);
    return TrackColorScale(metric, low, high);
}

double TrackColorScale::scaled(double value) const {
    if (fullTurn_ > 0)
        return std::fabs(std::remainder(value, fullTurn_));
    return value;
}

double TrackColorScale::fraction(double value) const {
    if (std::isnan(value))
        return value;
    const double v = scaled(value);
    // A race sailed at one steady value has no spread: it sits in the middle of the scale.
    if (!(high_ > low_))
        return v < low_ ? 0.0 : v > high_ ? 1.0 : 0.5;
    return std::clamp((v - low_) / (high_ - low_), 0.0, 1.0);
}

std::uint8_t TrackColorScale::level(double value) const {
    return TrackColorMap::level(fraction(value));
}

RgbColor TrackColorScale::color(double value) const {
    return TrackColorMap::color(fraction(value));
}
