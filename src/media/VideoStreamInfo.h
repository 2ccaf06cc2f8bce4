#pragma once

#include <string>

// What an opened video is, as the decoder shows it: sizes are those of the upright frames.
struct VideoStreamInfo {
    int width = 0;
    int height = 0;
    // The shape on screen once the pixel aspect ratio is applied.
    int displayWidth = 0;
    int displayHeight = 0;
    // Clockwise turn applied to the stored pictures (0, 90, 180 or 270), from the display matrix.
    int rotation = 0;
    // Seconds from the start of the file to the end of its last frame, as the container says.
    double duration = 0.0;
    // The nominal rate; the frames of a variable-rate video come at their own times.
    double frameRate = 0.0;
    bool constantFrameRate = false;
    std::string codecName;
    bool hardwareDecoding = false;
};
