#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The JSON records that a converted log carries beside its data: file metadata (`/meta`), the
// races, events and legs of its first segment (`/meta0`), and how its time stamps were read
// (`/parseContext`).

struct FileMetadata {
    std::optional<std::int64_t> segmentCount;
};

struct RaceMetadata {
    std::string time; // the race's start
    std::optional<double> raceDuration;
    std::optional<double> Portlat;
    std::optional<double> Portlon;
    std::optional<double> Stbdlat;
    std::optional<double> Stbdlon;
    std::optional<std::string> raceType;
};

struct EventMetadata {
    std::string eventType;
    std::string time;
};

struct LegMetadata {
    std::string time;
    std::string eventType;
    std::optional<double> duration;
};

struct SegmentMetadata {
    std::vector<RaceMetadata> races;
    std::vector<EventMetadata> events;
    std::vector<LegMetadata> legs;
    // Records dropped for a missing or mistyped required key.
    int skippedRecords = 0;
};

struct ParseContext {
    std::optional<std::int64_t> utcOffset; // minutes east of UTC
};

// Decoding: text that is not a JSON object gives none. Inside a valid object a record without its
// required keys is skipped and counted, and an optional key of the wrong type reads as absent, so
// one bad record never hides the others.
std::optional<FileMetadata> decodeFileMetadata(const std::string& json);
std::optional<SegmentMetadata> decodeSegmentMetadata(const std::string& json);
std::optional<ParseContext> decodeParseContext(const std::string& json);
