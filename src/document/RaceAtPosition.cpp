#include "document/RaceAtPosition.h"

#include "race/Race.h"

std::shared_ptr<Race> raceAtPosition(const std::vector<std::shared_ptr<Race>>& races, Instant t) {
    std::shared_ptr<Race> found;
    for (const auto& race : races) {
        if (!race || race->bestGuessFinishTime() <= t)
            continue;
        if (!found || race->time() < found->time())
            found = race;
    }
    return found;
}

bool isBeforeGun(const std::vector<std::shared_ptr<Race>>& races, Instant t) {
    auto race = raceAtPosition(races, t);
    return race && t < race->time();
}
