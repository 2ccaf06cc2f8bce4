#pragma once

#include <QString>

class VideoFrame;

// Videos for the decoder tests, made once per test binary by the ffmpeg program. Every frame of the
// 320 × 240 pictures shows its own index in a 4 × 4 grid of 80 × 60 blocks: blocks 0 to 11 hold the
// bits of the index (white for 1), block 14 is always black and block 15 always white.
namespace VideoFixtures {

struct Videos {
    QString h264;                // 100 frames at 25 fps, three B-frames, a keyframe every 12 frames
    QString cut;                 // `h264` from 1.2 s on by stream copy: an edit list hides frames 24 to 29
    QString lateStart;           // `h264` starting 0.5 s into the file (an empty edit)
    QString hevc;                // 50 frames at 25 fps, B-frames, pixel aspect 4:3
    QString turnedRight;         // `h264` with a display matrix that turns it 90° clockwise, as phones write
    QString turnedLeft;          // the same turned 90° counterclockwise
    QString variableRate;        // 50 frames at the times of `variableRateTime`
    QString soundOnly;           // a second of sound
    QString text;                // a text file named like a video
    QString truncated;           // the first half of `h264`, whose index was at the end
    QString truncatedEarlyIndex; // the first half of `h264` written with its index first
    QString unknownCodec;        // `h264` with its sample entry renamed "zzzz"
};
const Videos& videos();

// When frame `index` of `variableRate` is shown: 25 fps, then 10 fps from frame 20, then 50 fps from
// frame 30.
double variableRateTime(int index);

// The index a picture shows, read from its blocks; -1 when the two fixed blocks are not where they
// belong. `rotation` is the clockwise turn the picture was given.
int shownIndex(const VideoFrame& frame, int rotation = 0);

} // namespace VideoFixtures
