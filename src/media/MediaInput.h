#pragma once

#include "media/AvHandle.h"

#include <QString>

// Opening a media file with FFmpeg for the decoders, with the reason in words for the user when it
// cannot be: missing, not a file, unreadable, empty, a known container that is damaged (a recording
// cut short loses its index), or `notMedia` when it is no media file at all.
AvFormatContextHandle openMediaInput(const QString& path, const QString& notMedia, QString* failure);

// A stream's codec by FFmpeg's name, or by its four-character code when FFmpeg does not know it.
QString codecNameOf(const AVCodecParameters& parameters);
