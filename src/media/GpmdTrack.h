#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The samples of a video's GoPro metadata track (sample entry "gpmd"), each at the time the track's
// sample table gives it within the file.
class GpmdTrack {
public:
    struct Sample {
        double time = 0.0;     // seconds from the start of the file
        double duration = 0.0; // seconds
        std::vector<std::uint8_t> bytes;
    };

    // None when the file cannot be opened as a container or has no such track. The video and sound
    // are skipped, not read.
    static std::optional<std::vector<Sample>> read(const std::string& path);
};
