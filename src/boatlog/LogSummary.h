#pragma once

#include <nlohmann/json_fwd.hpp>

class LogFileAsset;

// The summary of a loaded log that `wakeline inspect` and `logutils-cli info` print: `records`,
// `columns`, `availableMetrics`, `start` and `end` (Unix seconds or null), `segmentCount`,
// `utcOffsetMinutes`, `raceRecords`, `eventRecords`, `legRecords`.
nlohmann::ordered_json logSummary(const LogFileAsset& asset);
