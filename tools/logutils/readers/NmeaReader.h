#pragma once

#include "readers/InputTable.h"
#include "readers/LineReader.h"

#include <string>
#include <string_view>

// NMEA 0183 logs of chart plotters and instrument buses: one sentence a line, possibly after a
// prefix of the logger's own (a time stamp, a tag block). Every sentence from the time source's
// last time sentence (RMC, GGA, ZDA) on belongs to that record; positions (RMC, GGA, GLL) keep
// their own times, and of several receivers only the freshest one's are read, which the table's
// notes name. Times are UTC.
namespace NmeaReader {

bool recognises(std::string_view head);

// False, with the reason in `error`, when the input holds no usable sentence or no date; bad
// checksums, truncated sentences, malformed numbers, times going backwards and positions of 0,0
// are dropped and counted in the table.
bool read(LineReader& lines, InputTable& table, std::string& error);

} // namespace NmeaReader
