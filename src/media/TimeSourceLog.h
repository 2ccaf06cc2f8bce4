#pragma once

#include "core/DateFormat.h"
#include "core/Instant.h"
#include "core/TimeZone.h"

#include <string>

// The date texts of the time-detection log lines, made once and shared by all threads.
namespace TimeSourceLog {
// "yyyy-MM-dd HH:mm:ss" at 0 seconds from GMT: how readings are printed.
const DateFormat& readingFormat();
// "2019-05-12 14:23:11 +0000": how instants are printed.
std::string describe(Instant instant);
// A reading taken in `zone`, printed as the instant it stands for.
std::string describeInstant(Instant reading, const TimeZone& zone);
} // namespace TimeSourceLog
