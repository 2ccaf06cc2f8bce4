#pragma once

#include "core/Instant.h"

#include <memory>
#include <vector>

class Race;

// The race a moment belongs to: the earliest race by gun time that has not finished by then (its
// finish, or an hour after its gun when the finish is unknown). Between two races that is the
// next one, whose start sequence is what a sailor watches. None after the last race.
std::shared_ptr<Race> raceAtPosition(const std::vector<std::shared_ptr<Race>>& races, Instant t);
// Before the gun of the race at `t`; false when there is no race.
bool isBeforeGun(const std::vector<std::shared_ptr<Race>>& races, Instant t);
