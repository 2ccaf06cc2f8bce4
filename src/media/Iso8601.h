#pragma once

#include "core/Instant.h"

#include <optional>
#include <string_view>

// An ISO 8601 date and time that names its zone: "2019-07-24T11:25:40+0300",
// "2023-06-01T12:00:00.000000Z", "2023-06-01T14:00:00+02:00". A text without a zone is no instant.
std::optional<Instant> parseIso8601WithZone(std::string_view text);

// Days from 1970-01-01 to the given civil date of the proleptic Gregorian calendar.
long long daysFromCivil(long long year, unsigned month, unsigned day);
