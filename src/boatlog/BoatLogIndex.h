#pragma once

#include "core/Instant.h"

#include <compare>
#include <cstdint>

// A record of a boat log: its number and its time on the event axis. Two indices compare by
// number only; the time rides along so that callers need not look it up again.
struct BoatLogIndex {
    std::int64_t index = 0;
    Instant time;

    bool operator==(const BoatLogIndex& other) const { return index == other.index; }
    std::strong_ordering operator<=>(const BoatLogIndex& other) const { return index <=> other.index; }
};
