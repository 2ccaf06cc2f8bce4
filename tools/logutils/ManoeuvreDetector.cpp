#include "ManoeuvreDetector.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

struct Stretch {
    std::size_t first = 0, last = 0; // samples
    int side = 0;
    bool afterGap = false;
};

} // namespace

std::vector<ManoeuvreDetector::Manoeuvre> ManoeuvreDetector::detect(std::span<const double> times,
                                                                    std::span<const double> windAngle) {
    std::vector<Manoeuvre> found;
    const std::size_t n = std::min(times.size(), windAngle.size());
    // Stretches of one side; a NaN sample or an angle of exactly 0 continues the stretch.
    std::vector<Stretch> stretches;
    std::size_t lastValid = 0;
    bool any = false;
    for (std::size_t i = 0; i < n; ++i) {
        const double a = windAngle[i];
        if (!std::isfinite(a) || a == 0.0)
            continue;
        const int side = a > 0 ? 1 : -1;
        const bool gap = any && times[i] - times[lastValid] > maximumGapSeconds;
        if (!any || gap || stretches.back().side != side)
            stretches.push_back({i, i, side, gap});
        stretches.back().last = i;
        lastValid = i;
        any = true;
    }
    auto held = [&](const Stretch& s) { return times[s.last] - times[s.first] >= holdSeconds; };
    // From one held stretch to the next held one: a manoeuvre when the side differs and no gap
    // lies between.
    std::optional<std::size_t> previous;
    bool gapSince = false;
    for (std::size_t k = 0; k < stretches.size(); ++k) {
        const Stretch& s = stretches[k];
        gapSince = gapSince || s.afterGap;
        if (!held(s))
            continue;
        if (previous && !gapSince) {
            const Stretch& before = stretches[*previous];
            if (before.side != s.side) {
                // The first change of side after the held stretch.
                const Stretch& next = stretches[*previous + 1];
                const double a = std::abs(windAngle[before.last]), b = std::abs(windAngle[next.first]);
                found.push_back({times[next.first], (a + b) / 2 < 90.0});
            }
        }
        previous = k;
        gapSince = false;
    }
    return found;
}
