#include "RaceDetector.h"

#include "FigureTable.h"

#include <algorithm>
#include <cmath>

std::vector<RaceDetector::Race> RaceDetector::detect(const FigureTable& table) {
    std::vector<Race> races;
    const auto* toGun = table.find("TimeToGun");
    if (!toGun)
        return races;
    const auto& times = table.times();
    const std::size_t n = table.size();
    const char* ends[] = {"Portlat", "Portlon", "Stbdlat", "Stbdlon"};
    auto endAt = [&](int k, std::size_t i) -> std::optional<double> {
        const auto* column = table.find(ends[k]);
        if (!column || !std::isfinite((*column)[i]))
            return std::nullopt;
        return (*column)[i];
    };
    // Samples with a countdown above zero; the one whose next sample is at or below zero, or
    // missing for longer than the rest of the count, is the last before a gun.
    for (std::size_t i = 0; i < n; ++i) {
        const double count = (*toGun)[i];
        if (!(count > 0.0))
            continue;
        std::size_t j = i + 1;
        while (j < n && !std::isfinite((*toGun)[j]) && times[j] - times[i] <= count + runOutSeconds)
            ++j;
        const bool runsOut = (j < n && std::isfinite((*toGun)[j]) && (*toGun)[j] <= 0.0) ||
                             ((j == n || !std::isfinite((*toGun)[j])) && count <= runOutSeconds);
        if (!runsOut || (j < n && std::isfinite((*toGun)[j]) && times[j] - times[i] > count + runOutSeconds))
            continue;
        const double gun = times[i] + count;
        if (!races.empty() && gun - races.back().gun < 30.0)
            continue;
        Race race;
        race.gun = gun;
        race.portLat = endAt(0, i), race.portLon = endAt(1, i);
        race.stbdLat = endAt(2, i), race.stbdLon = endAt(3, i);
        races.push_back(race);
    }
    // Durations and types, from what follows each gun.
    // The stretch of records last walked, [stretchFrom, stretchLast]: guns come in time order, and
    // a gun in the same stretch as the one before ends where it ends, without a second walk.
    std::size_t stretchFrom = n, stretchLast = 0;
    for (std::size_t k = 0; k < races.size(); ++k) {
        Race& race = races[k];
        const bool nextSoon = k + 1 < races.size() && races[k + 1].gun - race.gun <= practiceWithinSeconds;
        race.type = nextSoon ? "PracticeStart" : "Race";
        // The end of the stretch of records (no gap over a minute) that follows the gun closely,
        // or the next gun.
        double end = race.gun;
        const auto first =
            static_cast<std::size_t>(std::lower_bound(times.begin(), times.end(), race.gun) - times.begin());
        if (first < n && !(times[first] - race.gun > stretchGapSeconds)) {
            if (first < stretchFrom || first > stretchLast) {
                stretchFrom = stretchLast = first;
                while (stretchLast + 1 < n &&
                       !(times[stretchLast + 1] - times[stretchLast] > stretchGapSeconds))
                    ++stretchLast;
            }
            end = times[stretchLast];
        }
        if (k + 1 < races.size())
            end = std::min(end, races[k + 1].gun);
        if (end > race.gun)
            race.duration = end - race.gun;
    }
    return races;
}
