#pragma once

#include <QString>

// Why FFmpeg could not open a file, in words for the user: missing, unreadable, a known container
// that is damaged (a recording cut short loses its index), or `notMedia` when it is no media file
// at all. `error` is what avformat_open_input returned.
QString describeOpenFailure(const QString& path, int error, const QString& notMedia);
