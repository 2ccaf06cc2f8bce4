// How exactly "Sync to Data" finds a camera's offset: a boat log made from the camera's own motion,
// at 1 Hz instead of 18 Hz, with its own noise and shifted by a random offset of up to ±10 minutes,
// synced 100 times; then against the log of another day, which must not be called confident. Prints
// the distribution of the error in seconds as JSON, with positions and with speeds alone.

#include "SailingTrack.h"
#include "TimingStats.h"

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

namespace {

struct Run {
    std::vector<double> errors;
    int confident = 0;
    int missing = 0;
};

Run runs(const SailingTrack& track, bool positions, int count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> offsets(-600.0, 600.0);
    Run run;
    for (int i = 0; i < count; ++i) {
        const double truth = std::round(offsets(random) * 1000.0) / 1000.0;
        CameraSync::Series camera = track.sample(0.0, 600.0, 1.0 / 18.0, 0.0, 1.5, 0.15, 100 + i);
        CameraSync::Series boat = track.sample(-1400.0, 2000.0, 1.0, truth, 2.0, 0.1, 200 + i);
        if (!positions) {
            camera.latitudes.clear(), camera.longitudes.clear();
            boat.latitudes.clear(), boat.longitudes.clear();
        }
        auto result = CameraSync::find(camera, boat);
        if (!result) {
            ++run.missing;
            continue;
        }
        run.errors.push_back(std::abs(result->offset - truth));
        run.confident += result->confident;
    }
    return run;
}

void print(const char* name, const Run& run, bool last) {
    const auto& e = run.errors;
    std::printf("  \"%s\": {\"runs\": %zu, \"missing\": %d, \"confident\": %d, \"medianError\": %.4f, "
                "\"p90Error\": %.4f, \"p99Error\": %.4f, \"maxError\": %.4f, \"within0.1s\": %ld}%s\n",
                name, e.size(), run.missing, run.confident, TimingStats::median(e),
                TimingStats::percentile(e, 0.9), TimingStats::percentile(e, 0.99),
                TimingStats::percentile(e, 1.0),
                std::count_if(e.begin(), e.end(), [](double x) { return x <= 0.1; }), last ? "" : ",");
}

} // namespace

int main() {
    const SailingTrack today(1), anotherDay(2);
    std::printf("{\n");
    print("positionsAndSpeed", runs(today, true, 100), false);
    print("speedOnly", runs(today, false, 100), false);
    int confidentOtherDay = 0;
    for (int i = 0; i < 20; ++i) {
        auto result = CameraSync::find(today.sample(0.0, 600.0, 1.0 / 18.0, 0.0, 1.5, 0.15, 300 + i),
                                       anotherDay.sample(-1400.0, 2000.0, 1.0, 0.0, 2.0, 0.1, 400 + i));
        confidentOtherDay += result && result->confident;
    }
    std::printf("  \"anotherDayConfident\": %d,\n  \"anotherDayRuns\": 20\n}\n", confidentOtherDay);
    return 0;
}
