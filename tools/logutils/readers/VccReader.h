#pragma once

#include "readers/InputTable.h"

#include <span>
#include <string>
#include <string_view>

// The XML tracks of sailing GPS units: `CapturedTrack` / `Trackpoints` / `Trackpoint` with
// attributes `dateTime` (ISO 8601 with offset), `heading`, `speed` (knots), `latitude`,
// `longitude`.
namespace VccReader {

bool recognises(std::string_view head);
bool read(std::span<char> text, InputTable& table, std::string& error);

} // namespace VccReader
