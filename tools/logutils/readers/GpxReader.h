#pragma once

#include "readers/InputTable.h"

#include <span>
#include <string>
#include <string_view>

// GPX 1.0 and 1.1 tracks and routes: every `trkpt` and `rtept` with a time. Speed and course come
// from GPX 1.0's own elements or the usual extensions (m/s, turned into knots).
namespace GpxReader {

bool recognises(std::string_view head);
// Parses `text` in place. False, with the reason in `error`, when it is no GPX or has no point.
bool read(std::span<char> text, InputTable& table, std::string& error);

} // namespace GpxReader
