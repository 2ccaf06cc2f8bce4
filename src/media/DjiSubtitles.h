#pragma once

#include "media/CameraTrack.h"

#include <QString>
#include <optional>

// A drone's subtitle sidecar read cue by cue: each cue's start in the video, the date and time the
// drone stamped on it and its position. Three layouts are known: "HOME(lon,lat) 2017.08.05 14:11:51"
// then "GPS(lon,lat,alt)"; a bare "2022.06.21 16:06:17" then "GPS(lat,lon,alt)"; and per-frame cues
// with "2022-08-07 13:40:40,774,808" and "[latitude: …] [longitude: …]" inside font tags.
class DjiSubtitles {
public:
    // The sidecar of a video: same base name, extension "SRT" in any case.
    static std::optional<QString> sidecarOf(const QString& videoPath);

    // The cues with a date as a track ("srt-gps"; times are readings of the drone's clock, see
    // CameraTrack::timeIsUtc). Speeds are worked out from the positions over about two seconds.
    // None when the file cannot be read; cues without a date or position are left out.
    static std::optional<CameraTrack> read(const QString& path);
};
