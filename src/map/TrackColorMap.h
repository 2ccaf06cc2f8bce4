#pragma once

#include "core/RgbColor.h"

#include <cstdint>
#include <memory>
#include <vector>

// The colour scale of coloured tracks: from deep violet through teal and green to yellow (the
// viridis scale), in which equal steps of value look like equal steps of colour, the order reads
// even in grey, and the common forms of colour blindness lose nothing.
class TrackColorMap {
public:
    // Tracks are drawn in this many steps of the scale: finer than an eye tells apart on a line a
    // few points wide, and coarse enough that a track falls into long runs of one colour.
    static constexpr int levelCount = 64;
    // The level of a vertex whose value is missing.
    static constexpr std::uint8_t noLevel = 0xff;

    // The colour `fraction` of the way from the low end (0) to the high end (1), clamped.
    static RgbColor color(double fraction);
    // The step of `fraction`, clamped: 0 at the low end, levelCount − 1 at the high end; noLevel
    // for NaN.
    static std::uint8_t level(double fraction);
    static RgbColor levelColor(std::uint8_t level);
    // The colours of the levels as 0xAARRGGBB, opaque, index = level; shared by every track.
    static const std::shared_ptr<const std::vector<std::uint32_t>>& palette();
};
