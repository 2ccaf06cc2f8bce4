#pragma once

#include "readers/InputTable.h"
#include "readers/LineReader.h"

#include <cstdint>
#include <string>
#include <string_view>

// Instrument logs of navigation programs. A "!Boat,Utc,<names>" header, then either
// "!boat,<channel number of each name>" (the sparse form: rows of boat, time, then channel and
// value pairs) or nothing more (the dense form: one column per name); "!v<version>" and other
// "!" lines carry nothing we need. Times are days since 1899-12-30, in UTC.
namespace InstrumentLogReader {

bool recognises(std::string_view head);

// Logs with at least this many bytes of records are read in two halves at once, on two threads.
constexpr std::uint64_t defaultHalvesFrom = 8 << 20;

// False, with the reason in `error`, when the input is not such a log at all; skipped lines and
// values are counted in the table. The table is the same however the log was read.
bool read(LineReader& lines, InputTable& table, std::string& error,
          std::uint64_t halvesFrom = defaultHalvesFrom);

} // namespace InstrumentLogReader
