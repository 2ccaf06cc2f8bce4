#pragma once

#include "core/Instant.h"

#include <QString>
#include <optional>

// The file system's creation date of a file: its birth time where the file system keeps one, else
// its modification time. None when the file cannot be examined.
std::optional<Instant> fileCreationDate(const QString& path);

// Whether the file exists and can be read.
bool isFileReachable(const QString& path);
