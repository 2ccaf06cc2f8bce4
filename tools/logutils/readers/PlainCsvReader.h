#pragma once

#include "readers/InputTable.h"
#include "readers/LineReader.h"

#include <string>

// Tables exported by instrument systems, watches and spreadsheets: comma, semicolon or tab
// separated (sniffed), one header row, a time column found by its name (Utc, Time, Timestamp,
// DateTime, … or Date and Time as two columns) holding ISO 8601 text with or without a zone, Unix
// seconds or milliseconds, or days since 1899-12-30.
namespace PlainCsvReader {

// False, with the reason in `error`, when the input is no such table; skipped lines and values
// are counted in the table.
bool read(LineReader& lines, InputTable& table, std::string& error);

} // namespace PlainCsvReader
