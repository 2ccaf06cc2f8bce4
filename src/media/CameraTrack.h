#pragma once

#include "core/Instant.h"

#include <QString>
#include <optional>
#include <string>
#include <vector>

// One position a camera recorded with its video.
struct CameraTrackPoint {
    // Seconds from the start of the recording.
    double fileTime = 0.0;
    // The camera's GPS time of the point, when it gave one.
    std::optional<Instant> time;
    double latitude = 0.0;  // degrees
    double longitude = 0.0; // degrees
    double altitude = 0.0;  // metres
    double speed = 0.0;     // metres per second over ground; NaN when the camera gave none
    // A fix good enough to place the clip and to sync with.
    bool locked = false;
};

// The GPS track a camera wrote with its video: GoPro's metadata track or a drone's subtitle sidecar.
class CameraTrack {
public:
    // "gpmf-gps" or "srt-gps".
    std::string source;
    // True when `time` is UTC; a drone's subtitles give the wall-clock reading of its own clock, to
    // be understood in the file's zone as the file's own readings are.
    bool timeIsUtc = true;
    std::vector<CameraTrackPoint> points;

    // The track of `videoPath`: its sidecar subtitles when they carry positions, otherwise its GoPro
    // metadata track. None when neither has a position. Without `lookInFile` the video itself is not
    // opened: its header said it has no timed metadata track, and most videos have none.
    static std::optional<CameraTrack> read(const QString& videoPath, bool lookInFile = true);
    // The same with the sidecar subtitles already looked for.
    static std::optional<CameraTrack> read(const QString& videoPath, const std::optional<QString>& sidecar,
                                           bool lookInFile);

    // When the recording began by the camera's GPS: the time of a locked point minus its time in the
    // file. A camera stamps stale times before its fix settles, so the estimates of all locked points
    // are grouped and the start is taken from the group that most of them agree with (within half a
    // second); none when there is no locked time or no such majority.
    std::optional<Instant> clipStart() const;

    // The locked points only.
    std::vector<CameraTrackPoint> lockedPoints() const;
};
