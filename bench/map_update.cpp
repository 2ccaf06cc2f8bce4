// One update of the race map's logic per playback tick: 20 boats at 10 Hz with 300 s past and
// 60 s future tracks, worm marks and wind arrows, and for the main boat the start line, its
// laylines, the burn line, the mark and the mark-room circle. The peer reads the same track
// points from the logs without the map, once through the log interface (a lookup per value) and
// once straight from the value array: the floor of what the update must touch.

#include "FleetFixture.h"
#include "boatlog/LogFileAsset.h"
#include "boatlog/hdf5/Hdf5File.h"
#include "core/Diagnostics.h"
#include "core/SerialQueue.h"
#include "core/TimeZone.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "map/Geodesy.h"
#include "map/MapScene.h"
#include "map/RaceMap.h"
#include "race/Race.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QUuid>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr double pastInterval = 300.0;
constexpr double futureInterval = 60.0;

struct Fleet : FleetFixture {
    MapScene map;
    std::unique_ptr<RaceMap> raceMap;

    Fleet() {
        map.setViewSize(1920, 1080);
        raceMap = std::make_unique<RaceMap>(map);
        raceMap->setTrackIntervals({pastInterval, futureInterval, pastInterval, futureInterval});
        raceMap->setDocument(&document);
    }
};

Fleet& fleet() {
    static Fleet f;
    return f;
}

void MapUpdate(benchmark::State& state) {
    Fleet& f = fleet();
    std::size_t i = 0;
    for (auto _ : state) {
        f.raceMap->update(FleetFixture::tick(i++), false);
        benchmark::DoNotOptimize(f.map.revision());
    }
    if (!f.raceMap->burnLine() || !f.raceMap->portLayline() || !f.raceMap->markRoomCircle())
        state.SkipWithError("the scene lacks its lines");
    state.counters["overlays"] = static_cast<double>(f.map.overlayCount());
}

// The same 20 × 3600 track points read from the logs into one reused buffer.
void ReadTrackPoints(benchmark::State& state) {
    Fleet& f = fleet();
    std::vector<MapCoordinate> points;
    points.reserve(4096);
    const BoatMetric lat(BoatMetric::Case::Lat);
    const BoatMetric lon(BoatMetric::Case::Lon);
    std::size_t i = 0;
    std::size_t total = 0;
    for (auto _ : state) {
        const Instant t = FleetFixture::tick(i++);
        for (const auto& boat : f.document.boats()) {
            const auto& log = *f.document.logAssets(boat).front()->boatLog();
            auto first = log.firstIndexAfter(t - pastInterval);
            auto last = log.firstIndexAfter(t + futureInterval);
            points.clear();
            for (BoatLogIndex r = *first; r.index < last->index; r = log.indexAfter(r)) {
                auto la = log.value(r, lat);
                auto lo = log.value(r, lon);
                if (la && lo)
                    points.push_back({la->value(), lo->value()});
            }
            total += points.size();
            benchmark::DoNotOptimize(points.data());
        }
    }
    state.counters["points"] = static_cast<double>(total) / static_cast<double>(i);
}

// The same points copied from the log's value array, column by column: the memory floor.
void CopyTrackColumns(benchmark::State& state) {
    Fleet& f = fleet();
    std::vector<MapCoordinate> points;
    points.reserve(4096);
    std::size_t i = 0;
    for (auto _ : state) {
        const Instant t = FleetFixture::tick(i++);
        for (const auto& boat : f.document.boats()) {
            const auto& log = *f.document.logAssets(boat).front()->boatLog();
            const auto first = log.firstIndexAfter(t - pastInterval)->index;
            const auto last = log.firstIndexAfter(t + futureInterval)->index;
            const auto row = log.rowSize();
            const auto lat = log.metricsMapping().column(BoatMetric::Case::Lat);
            const auto lon = log.metricsMapping().column(BoatMetric::Case::Lon);
            const double* values = log.values().data();
            points.clear();
            for (auto r = first; r < last; ++r)
                points.push_back({values[r * row + lat], values[r * row + lon]});
            benchmark::DoNotOptimize(points.data());
        }
    }
}

} // namespace

BENCHMARK(MapUpdate)->Unit(benchmark::kMicrosecond)->Repetitions(10)->ReportAggregatesOnly(true);
BENCHMARK(ReadTrackPoints)->Unit(benchmark::kMicrosecond)->Repetitions(10)->ReportAggregatesOnly(true);
BENCHMARK(CopyTrackColumns)->Unit(benchmark::kMicrosecond)->Repetitions(10)->ReportAggregatesOnly(true);

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    UserDefaults::useFile(QDir::temp().filePath("wakeline-map-bench-settings.ini"));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
