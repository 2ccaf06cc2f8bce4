#pragma once

#include <string>

// `logutils-cli info FILE`: a JSON summary of a converted log, read the way the desktop program
// reads it: records, columns, available metrics, first and last record time (Unix seconds, in the
// zone the file records, else UTC), segments, the recorded UTC offset and the metadata records.
namespace InfoCommand {

// The exit code: 0, or 2 when the file cannot be read as a boat log.
int run(const std::string& path);

} // namespace InfoCommand
