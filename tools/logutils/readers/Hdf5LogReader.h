#pragma once

#include "readers/InputTable.h"

#include <string>
#include <string_view>

// Boat logs converted earlier, so that a converted log can be merged with new files: the table of
// group "log0" and the file's parse context. Calls into HDF5; the caller keeps it on one thread.
namespace Hdf5LogReader {

bool recognises(std::string_view head);
// False, with the reason in `error`, when the file holds no readable boat log.
bool read(const std::string& path, InputTable& table, std::string& error);

} // namespace Hdf5LogReader
