#pragma once

#include "readers/InputTable.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

// GPX 1.0 and 1.1 tracks and routes: every `trkpt` and `rtept` with a time. Speed and course come
// from GPX 1.0's own elements or the usual extensions (m/s, turned into knots).
namespace GpxReader {

bool recognises(std::string_view head);
// Long tracks are read in pieces of about this many bytes (see GpxPieces).
constexpr std::size_t pieceBytes = std::size_t{1} << 20;

// Parses `text`, in place when it reads it whole. False, with the reason in `error`, when it is
// no GPX or has no point. `pieces`: 0 reads the file whole.
bool read(std::span<char> text, InputTable& table, std::string& error, std::size_t pieces = pieceBytes);

} // namespace GpxReader
