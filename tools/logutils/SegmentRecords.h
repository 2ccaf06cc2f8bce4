#pragma once

#include "LegDetector.h"
#include "ManoeuvreDetector.h"
#include "RaceDetector.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The races, events and legs of a converted log, as the JSON of its segment metadata. Times go
// out as "yyyy-MM-dd'T'HH:mm:ss.SZ" texts of the instant: a log whose times are wall-clock time
// of a known zone (`utcOffsetMinutes`) is moved back to UTC first.
struct SegmentRecords {
    std::vector<RaceDetector::Race> races;
    std::vector<ManoeuvreDetector::Manoeuvre> manoeuvres;
    std::vector<LegDetector::Leg> legs;

    std::string json(std::optional<std::int64_t> utcOffsetMinutes) const;

    // The text of a log time (seconds since 1970 as the log's times are).
    static std::string timeText(double logTime, std::optional<std::int64_t> utcOffsetMinutes);
};
