#include "document/CameraSync.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>

namespace {

constexpr double missingValue = std::numeric_limits<double>::quiet_NaN();
constexpr double metresPerDegree = 6372797.6 * std::numbers::pi / 180.0;
// Positions count in the cost in units of this distance squared: a mismatch of 10 m weighs as much
// as speeds that do not correlate at all.
constexpr double positionScale = 10.0;
// Records further apart than this are a gap in the log, not something to interpolate across.
constexpr double maximumGap = 10.0;

// A series in local metres, read by linear interpolation at ascending times.
struct Track {
    std::vector<double> times, speeds, xs, ys;
    bool hasPositions = false;

    struct Sample {
        double speed, x, y;
    };
    // `cursor` remembers where the last lookup ended: queries come in ascending order.
    Sample at(double t, std::size_t& cursor) const {
        if (times.empty() || t < times.front() || t > times.back())
            return {missingValue, missingValue, missingValue};
        if (cursor == 0 || cursor > times.size() || times[cursor - 1] > t)
            cursor =
                static_cast<std::size_t>(std::upper_bound(times.begin(), times.end(), t) - times.begin());
        while (cursor < times.size() && times[cursor] <= t)
            ++cursor;
        const std::size_t right = std::min(cursor, times.size() - 1), left = right == 0 ? 0 : right - 1;
        const double span = times[right] - times[left];
        if (span > maximumGap)
            return {missingValue, missingValue, missingValue};
        const double w = span > 0 ? (t - times[left]) / span : 0.0;
        auto blend = [&](const std::vector<double>& v) {
            return v.empty() ? missingValue : v[left] + (v[right] - v[left]) * w;
        };
        return {blend(speeds), blend(xs), blend(ys)};
    }
};

Track project(const CameraSync::Series& series, double latitude0, double longitude0) {
    Track track;
    track.times = series.times;
    track.speeds = series.speeds;
    track.speeds.resize(series.times.size(), missingValue);
    const bool positions =
        series.latitudes.size() == series.times.size() && series.longitudes.size() == series.times.size();
    if (positions) {
        const double xScale = metresPerDegree * std::cos(latitude0 * std::numbers::pi / 180.0);
        for (std::size_t i = 0; i < series.times.size(); ++i) {
            track.xs.push_back((series.longitudes[i] - longitude0) * xScale);
            track.ys.push_back((series.latitudes[i] - latitude0) * metresPerDegree);
        }
        track.hasPositions =
            std::any_of(track.xs.begin(), track.xs.end(), [](double x) { return std::isfinite(x); });
    }
    return track;
}

// The camera resampled on an even grid, which keeps long stretches of dense points from outweighing
// the rest and bounds the work per lag.
Track resample(const Track& camera, double step) {
    Track grid;
    grid.hasPositions = camera.hasPositions;
    std::size_t cursor = 0;
    for (double t = camera.times.front(); t <= camera.times.back(); t += step) {
        const Track::Sample sample = camera.at(t, cursor);
        grid.times.push_back(t);
        grid.speeds.push_back(sample.speed);
        grid.xs.push_back(sample.x);
        grid.ys.push_back(sample.y);
    }
    return grid;
}

double extent(const Track& track) {
    double minX = INFINITY, maxX = -INFINITY, minY = INFINITY, maxY = -INFINITY;
    for (std::size_t i = 0; i < track.xs.size(); ++i) {
        if (!std::isfinite(track.xs[i]) || !std::isfinite(track.ys[i]))
            continue;
        minX = std::min(minX, track.xs[i]), maxX = std::max(maxX, track.xs[i]);
        minY = std::min(minY, track.ys[i]), maxY = std::max(maxY, track.ys[i]);
    }
    return maxX >= minX ? std::hypot(maxX - minX, maxY - minY) : 0.0;
}

struct Match {
    double cost = INFINITY;
    double correlation = 0.0;
    double positionResidual = missingValue;
    double speedResidual = missingValue;
};

// How well the camera matches the boat when the camera's times move by `lag`.
Match compare(const Track& camera, const Track& boat, double lag, bool usePositions, std::size_t minimum) {
    std::size_t cursor = 0, n = 0, located = 0;
    double sc = 0, sb = 0, scc = 0, sbb = 0, scb = 0, sdd = 0;
    double dx = 0, dy = 0, dxx = 0, dyy = 0, distance2 = 0;
    for (std::size_t i = 0; i < camera.times.size(); ++i) {
        const Track::Sample b = boat.at(camera.times[i] + lag, cursor);
        const double c = camera.speeds[i];
        if (std::isfinite(c) && std::isfinite(b.speed)) {
            ++n;
            sc += c, sb += b.speed, scc += c * c, sbb += b.speed * b.speed, scb += c * b.speed;
            sdd += (c - b.speed) * (c - b.speed);
        }
        if (usePositions && std::isfinite(camera.xs[i]) && std::isfinite(b.x)) {
            const double ex = camera.xs[i] - b.x, ey = camera.ys[i] - b.y;
            ++located;
            dx += ex, dy += ey, dxx += ex * ex, dyy += ey * ey;
            distance2 += ex * ex + ey * ey;
        }
    }
    Match match;
    if (n < minimum || (usePositions && located < minimum))
        return match;
    const double count = static_cast<double>(n);
    const double covariance = scb / count - (sc / count) * (sb / count);
    const double varianceC = scc / count - (sc / count) * (sc / count);
    const double varianceB = sbb / count - (sb / count) * (sb / count);
    match.correlation =
        varianceC > 1e-9 && varianceB > 1e-9 ? covariance / std::sqrt(varianceC * varianceB) : 0.0;
    match.speedResidual = std::sqrt(sdd / count);
    match.cost = 1.0 - match.correlation;
    if (usePositions) {
        const double m = static_cast<double>(located);
        // The spread of the difference, not its size: a steady offset between two receivers says
        // nothing about time, a difference that changes as the boat turns does.
        const double spread = dxx / m - (dx / m) * (dx / m) + dyy / m - (dy / m) * (dy / m);
        match.cost += spread / (positionScale * positionScale);
        match.positionResidual = std::sqrt(distance2 / m);
    }
    return match;
}

} // namespace

std::string CameraSync::Result::summary() const {
    char text[160];
    if (positionResidual)
        std::snprintf(text, sizeof text, "%+.2f s, position residual %.1f m, %s", offset, *positionResidual,
                      confident ? "confident" : "not confident");
    else
        std::snprintf(text, sizeof text, "%+.2f s, speed correlation %.2f, %s", offset, speedCorrelation,
                      confident ? "confident" : "not confident");
    return text;
}

std::optional<CameraSync::Result> CameraSync::find(const Series& cameraSeries, const Series& boatSeries,
                                                   double searchSeconds) {
    if (cameraSeries.times.size() < 2 || boatSeries.times.size() < 2)
        return std::nullopt;
    double latitude0 = 0.0, longitude0 = 0.0;
    for (std::size_t i = 0; i < cameraSeries.latitudes.size() && i < cameraSeries.longitudes.size(); ++i)
        if (std::isfinite(cameraSeries.latitudes[i]) && std::isfinite(cameraSeries.longitudes[i])) {
            latitude0 = cameraSeries.latitudes[i], longitude0 = cameraSeries.longitudes[i];
            break;
        }
    const Track camera = project(cameraSeries, latitude0, longitude0);
    const Track boat = project(boatSeries, latitude0, longitude0);
    // A camera on the shore or a boat at its mooring has a track of a few metres of GPS noise:
    // matching it would only fit the noise.
    const bool usePositions = camera.hasPositions && boat.hasPositions && extent(camera) > 50.0;

    const Track coarse = resample(camera, 1.0);
    const std::size_t minimum = std::max<std::size_t>(30, coarse.times.size() / 2);
    const int steps = static_cast<int>(std::floor(searchSeconds));
    std::vector<Match> matches(2 * steps + 1);
    int best = -steps;
    for (int k = -steps; k <= steps; ++k) {
        matches[k + steps] = compare(coarse, boat, k, usePositions, minimum);
        if (matches[k + steps].cost < matches[best + steps].cost)
            best = k;
    }
    if (!std::isfinite(matches[best + steps].cost))
        return std::nullopt;
    // The best match away from the peak: a pattern that repeats (laps of a course, a steady speed)
    // matches almost as well there.
    double runnerUp = INFINITY;
    for (int k = -steps; k <= steps; ++k)
        if (std::abs(k - best) > ambiguityWindow)
            runnerUp = std::min(runnerUp, matches[k + steps].cost);

    const Track fine = resample(camera, 0.1);
    const std::size_t fineMinimum = std::max<std::size_t>(30, fine.times.size() / 2);
    constexpr int around = 15;
    std::vector<double> costs(2 * around + 1);
    int finest = 0;
    for (int k = -around; k <= around; ++k) {
        costs[k + around] = compare(fine, boat, best + 0.1 * k, usePositions, fineMinimum).cost;
        if (costs[k + around] < costs[finest + around])
            finest = k;
    }
    double lag = best + 0.1 * finest;
    if (finest > -around && finest < around) {
        const double left = costs[finest + around - 1], middle = costs[finest + around],
                     right = costs[finest + around + 1];
        const double curvature = left - 2 * middle + right;
        if (curvature > 0 && std::isfinite(curvature))
            lag += 0.1 * 0.5 * (left - right) / curvature;
    }
    lag = std::round(lag * 100.0) / 100.0;

    const Match atLag = compare(fine, boat, lag, usePositions, fineMinimum);
    Result result;
    result.offset = lag;
    result.speedCorrelation = atLag.correlation;
    result.speedResidual = atLag.speedResidual;
    if (usePositions)
        result.positionResidual = atLag.positionResidual;
    const double floor = std::max(atLag.cost, 0.02);
    result.sharpness = std::isfinite(runnerUp) ? runnerUp / floor : 1e6;
    result.confident =
        std::isfinite(atLag.cost) && result.sharpness >= 2.0 &&
        (usePositions ? atLag.positionResidual < 30.0 && atLag.correlation > 0.3 : atLag.correlation > 0.7);
    return result;
}
