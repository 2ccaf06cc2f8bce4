#pragma once

#include "core/Instant.h"

#include <QString>
#include <optional>

// The first "yyyy-MM-dd_HH-mm-ss" in a file name (the last path component, extension included), as a
// wall-clock reading stored as if UTC. A match that is no real date ("2023-02-30_…") gives nothing.
std::optional<Instant> fileNameTimestamp(const QString& fileName);
