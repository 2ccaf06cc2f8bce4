#pragma once

#include "core/Instant.h"
#include "media/CameraTrack.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

// The GPS points of one GoPro metadata payload: GPS5 (latitude, longitude, altitude, 2D and 3D
// speed, scaled by SCAL) with the payload's UTC time (GPSU), fix (GPSF) and precision (GPSP), or
// GPS9, whose every point carries its own time, precision and fix.
class GpmfGps {
public:
    // Fix 2 (2D) or 3 (3D) and a dilution of precision under 5 (GPSP under 500): anything worse
    // places points tens of metres off and stamps times the receiver has not confirmed.
    static bool isLocked(double fix, double precision) { return fix >= 2.0 && precision < 500.0; }

    // Appends the points of `payload`, whose sample lies at `sampleTime` in the file and lasts
    // `sampleDuration`: GPS5 points are spread evenly over it, the first at the payload's GPSU.
    static void read(std::span<const std::uint8_t> payload, double sampleTime, double sampleDuration,
                     std::vector<CameraTrackPoint>& out);

    // "yymmddhhmmss.sss", UTC; none when the text is not such a time.
    static std::optional<Instant> parseUtc(std::string_view text);
};
