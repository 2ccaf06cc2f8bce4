#pragma once

#include "readers/InputTable.h"

#include <span>
#include <string>
#include <string_view>

// KML tracks: `gx:Track` (`when` and `gx:coord` in pairs), `gx:MultiTrack`, and Placemarks of a
// Point with a TimeStamp.
namespace KmlReader {

bool recognises(std::string_view head);
bool read(std::span<char> text, InputTable& table, std::string& error);

} // namespace KmlReader
