#pragma once

#include "core/Instant.h"

// A leg of the sailed course, derived from the main boat's log metadata.
enum class SailingLegType { Upwind, Downwind, Reaching, Unknown };

struct SailingLeg {
    // Closed range, start ≤ end.
    Instant start;
    Instant end;
    SailingLegType type = SailingLegType::Unknown;

    bool operator==(const SailingLeg& o) const { return start == o.start && end == o.end && type == o.type; }
};
