#include "LegDetector.h"

#include <algorithm>
#include <cmath>

namespace {

enum Band { upwind, reach, downwind };

const char* bandName(int band) {
    return band == upwind ? "Upwind" : band == downwind ? "Downwind" : "Reach";
}

struct Run {
    std::size_t first = 0, last = 0;
    int band = 0;
    bool afterGap = false;
};

} // namespace

std::vector<LegDetector::Leg> LegDetector::detect(std::span<const double> times,
                                                  std::span<const double> windAngle) {
    const std::size_t n = std::min(times.size(), windAngle.size());
    // |angle| smoothed by a centred moving mean (it runs 0…180, so a plain mean will do).
    std::vector<double> smooth(n, NAN);
    {
        double sum = 0.0;
        std::size_t count = 0, a = 0, b = 0; // window [a, b)
        for (std::size_t i = 0; i < n; ++i) {
            while (b < n && times[b] <= times[i] + smoothingSeconds / 2) {
                if (std::isfinite(windAngle[b]))
                    sum += std::abs(windAngle[b]), ++count;
                ++b;
            }
            while (a < b && times[a] < times[i] - smoothingSeconds / 2) {
                if (std::isfinite(windAngle[a]))
                    sum -= std::abs(windAngle[a]), --count;
                ++a;
            }
            if (std::isfinite(windAngle[i]) && count > 0)
                smooth[i] = sum / static_cast<double>(count);
        }
    }
    std::vector<Run> runs;
    std::size_t lastValid = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (!std::isfinite(smooth[i]))
            continue;
        const int band = smooth[i] < upwindBelow ? upwind : smooth[i] > downwindAbove ? downwind : reach;
        const bool gap = !runs.empty() && times[i] - times[lastValid] > maximumGapSeconds;
        if (runs.empty() || gap || runs.back().band != band)
            runs.push_back({i, i, band, gap});
        runs.back().last = i;
        lastValid = i;
    }
    auto duration = [&](const Run& r) { return times[r.last] - times[r.first]; };
    // Short runs join the leg before them (or, at the start of a stretch, the one after).
    std::vector<Run> legs;
    for (std::size_t k = 0; k < runs.size(); ++k) {
        Run run = runs[k];
        const bool isShort = duration(run) < minimumSeconds;
        if (!legs.empty() && !run.afterGap && (isShort || legs.back().band == run.band)) {
            legs.back().last = run.last;
            continue;
        }
        if (isShort && k + 1 < runs.size() && !runs[k + 1].afterGap) {
            runs[k + 1].first = run.first;
            runs[k + 1].afterGap = run.afterGap;
            continue;
        }
        legs.push_back(run);
    }
    std::vector<Leg> result;
    for (const Run& leg : legs) {
        if (duration(leg) >= minimumSeconds)
            result.push_back({times[leg.first], duration(leg), bandName(leg.band)});
    }
    return result;
}
