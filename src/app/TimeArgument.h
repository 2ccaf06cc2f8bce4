#pragma once

#include "core/Instant.h"

#include <optional>
#include <string>

// A TIME given on the command line: Unix seconds ("1685629325.5") or ISO 8601
// ("2023-06-01T14:22:05.5Z"; without a zone the time is read as UTC).
std::optional<Instant> parseTimeArgument(const std::string& text);
