#pragma once

#include <QString>

// The 1080p25 H.264 clip the video benchmarks play: 40 s of moving test patterns with grain (the bit
// rate of a camera), a keyframe every second, three B-frames. Made once by the ffmpeg program under
// the bench data folder; none when that fails.
namespace BenchVideo {

constexpr int clipSeconds = 40;
constexpr int frameRate = 25;

QString clip(const QString& dataDir);

} // namespace BenchVideo
