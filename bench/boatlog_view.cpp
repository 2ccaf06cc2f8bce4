// The boat's state at one instant: one view plus one value, the work done for every boat on every
// playback tick. Measured on a 1,000,000-record × 60-column log in memory, at random instants
// over the whole log.

#include "boatlog/BoatLogView.h"
#include "boatlog/DoubleArrayBoatLog.h"
#include "core/TimeZone.h"
#include "core/UserDefaults.h"
#include "metrics/Boat.h"
#include "metrics/BoatMetric.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t recordCount = 1'000'000;
constexpr double rate = 10.0; // Hz
constexpr double startUnix = 1'700'000'000.0;
// Random instants, read in order so that the prefetcher hides their own fetching. A case cycles
// over the first few thousand of them, whose records then stay in cache, or over all of them,
// which touch most of the log, so that every view waits on main memory. Powers of two, so the
// loop steps through them with a mask.
constexpr std::size_t instantCount = std::size_t{1} << 21;
constexpr std::size_t cachedInstantCount = 4096;
// How many instants are checked to reach a value before a case is timed.
constexpr std::size_t checkedCount = 4096;

std::vector<std::string> columnNames() {
    // 50 catalogue metrics and 10 custom columns, as a converted log has.
    std::vector<std::string> names = {
        "Lat",        "Lon",           "Heading",    "COG",           "BoatSpeed",    "TargetBoatSpeed",
        "SOG",        "SOW",           "VMG",        "TargetVMG",     "AWA",          "AWS",
        "TWA",        "TargetTWA",     "TWS",        "TWD",           "MWA",          "MWS",
        "RudderFwd",  "Heel",          "Trim",       "Rudder",        "Tab",          "Forestay",
        "Downhaul",   "Rake",          "RunnerStbd", "RunnerPort",    "BackStay",     "TargetTrim",
        "TargetHeel", "Boom",          "Twist",      "DeflectorStbd", "Bobstay",      "Outhaul",
        "TargetRake", "TrimRate",      "HeelRate",   "DeflectorPort", "Pitch",        "RideHeight",
        "Yaw",        "Leeway",        "Set",        "Drift",         "CurrentSpeed", "TimeToGun",
        "TimeToLine", "DistanceToLine"};
    for (int i = 1; names.size() < 60; ++i)
        names.push_back("Sensor" + std::to_string(i));
    return names;
}

struct Fixture {
    std::unique_ptr<DoubleArrayBoatLog> log;
    std::vector<Instant> instants;
    std::vector<Instant> playback;
};

const Fixture& fixture() {
    static const Fixture f = [] {
        UserDefaults::useFile("/tmp/wakeline-bench-settings.ini");
        auto names = columnNames();
        const std::size_t columns = names.size();
        DoubleArray times(recordCount);
        for (std::size_t i = 0; i < recordCount; ++i)
            times[i] = startUnix + static_cast<double>(i) / rate;
        DoubleArray values(recordCount * columns);
        std::mt19937_64 random(20240601);
        std::uniform_real_distribution<double> angle(0.0, 360.0);
        std::uniform_real_distribution<double> other(-50.0, 50.0);
        std::vector<bool> circular;
        for (const auto& name : names)
            circular.push_back(BoatMetric(name).isCircular());
        for (std::size_t r = 0; r < recordCount; ++r)
            for (std::size_t c = 0; c < columns; ++c)
                values[r * columns + c] = circular[c] ? angle(random) : other(random);

        Fixture result;
        result.log = std::make_unique<DoubleArrayBoatLog>(
            Boat::create("Bench", "", RgbColor::pureRed(), Boat::DisplayMode::Main), std::move(names),
            std::move(times), std::move(values), TimeZone::utc(), 0.0);

        // Strictly inside the log: at its last record there is no view.
        Instant first = result.log->startIndex().time;
        Instant last = result.log->lastIndex()->time;
        std::uniform_real_distribution<double> at(0.0, last - first);
        result.instants.reserve(instantCount);
        for (std::size_t i = 0; i < instantCount; ++i)
            result.instants.push_back(first + at(random));
        // 25 frames a second from a random start, as playback asks.
        double from = std::uniform_real_distribution<double>(
            0.0, (last - first) - static_cast<double>(instantCount) * 0.04)(random);
        for (std::size_t i = 0; i < instantCount; ++i)
            result.playback.push_back(first + from + static_cast<double>(i) * 0.04);
        return result;
    }();
    return f;
}

// Fails the run when an instant would not reach the value lookup, since the figure would then
// measure an early return.
bool allResolve(benchmark::State& state, const std::vector<Instant>& instants, bool interpolated,
                const BoatMetric& metric) {
    const auto& log = *fixture().log;
    for (std::size_t i = 0; i < checkedCount; ++i) {
        auto view = log.view(instants[i], interpolated);
        if (!view || !view->value(metric)) {
            state.SkipWithError("an instant gives no value");
            return false;
        }
    }
    return true;
}

void viewAndValue(benchmark::State& state, const std::vector<Instant>& instants, std::size_t count,
                  bool interpolated, BoatMetric::Case which) {
    const auto& log = *fixture().log;
    const BoatMetric metric(which);
    if (!allResolve(state, instants, interpolated, metric))
        return;
    const std::size_t mask = count - 1;
    std::size_t i = 0;
    for (auto _ : state) {
        auto view = log.view(instants[i++ & mask], interpolated);
        std::optional<Measurement> value = view ? view->value(metric) : std::nullopt;
        benchmark::DoNotOptimize(value);
    }
}

std::size_t cycled(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

void BM_InterpolatedCircular(benchmark::State& state) {
    viewAndValue(state, fixture().instants, cycled(state), true, BoatMetric::Case::TWA);
}
void BM_InterpolatedLinear(benchmark::State& state) {
    viewAndValue(state, fixture().instants, cycled(state), true, BoatMetric::Case::TWS);
}
void BM_Direct(benchmark::State& state) {
    viewAndValue(state, fixture().instants, cycled(state), false, BoatMetric::Case::TWA);
}

// For comparison: consecutive frames of playback, where the neighbouring records stay in cache,
// and the search of the time index alone, the first part of every view.
void BM_InterpolatedCircularPlayback(benchmark::State& state) {
    viewAndValue(state, fixture().playback, instantCount, true, BoatMetric::Case::TWA);
}
void BM_TimeIndexSearch(benchmark::State& state) {
    const auto& log = *fixture().log;
    const auto& instants = fixture().instants;
    const std::size_t mask = cycled(state) - 1;
    std::size_t i = 0;
    for (auto _ : state) {
        auto index = log.firstIndexAfter(instants[i++ & mask]);
        benchmark::DoNotOptimize(index);
    }
}

// The peer: the textbook lookup on the same arrays, std::upper_bound on the time index and two
// raw reads blended by hand, with none of the log's interface around it.
void BM_UpperBoundPeer(benchmark::State& state) {
    const auto& log = *fixture().log;
    const auto& instants = fixture().instants;
    const auto& times = log.offsetTimeIndex();
    const double* values = log.values().data();
    const std::size_t row = static_cast<std::size_t>(log.rowSize());
    const std::size_t column = static_cast<std::size_t>(log.metricsMapping().column(BoatMetric::Case::TWA));
    const std::size_t mask = cycled(state) - 1;
    std::size_t i = 0;
    for (auto _ : state) {
        Instant t = instants[i++ & mask];
        std::size_t right =
            static_cast<std::size_t>(std::upper_bound(times.begin(), times.end(), t) - times.begin());
        double w = (times[right] - t) / (times[right] - times[right - 1]);
        double l = values[(right - 1) * row + column];
        double r = values[right * row + column];
        double d = std::fmod(l - r + 540.0, 360.0) - 180.0;
        double blended = std::fmod(d * w + r + 360.0, 360.0);
        benchmark::DoNotOptimize(blended);
    }
}

// Odd, so that the median is one of the runs.
constexpr int repetitions = 9;

void overInstants(benchmark::internal::Benchmark* b) {
    b->ArgName("instants")->Arg(cachedInstantCount)->Arg(instantCount);
    b->Repetitions(repetitions)->ReportAggregatesOnly(true);
}

} // namespace

BENCHMARK(BM_InterpolatedCircular)->Apply(overInstants);
BENCHMARK(BM_InterpolatedLinear)->Apply(overInstants);
BENCHMARK(BM_Direct)->Apply(overInstants);
BENCHMARK(BM_InterpolatedCircularPlayback)->Repetitions(repetitions)->ReportAggregatesOnly(true);
BENCHMARK(BM_TimeIndexSearch)->Apply(overInstants);
BENCHMARK(BM_UpperBoundPeer)->Apply(overInstants);

BENCHMARK_MAIN();
