#pragma once

// An opaque RGB colour with components in 0…1. The core library has no GUI types; views turn
// this into a QColor.
struct RgbColor {
    double red = 0.0;
    double green = 0.0;
    double blue = 0.0;

    static constexpr RgbColor pureRed() { return {1.0, 0.0, 0.0}; }
    bool operator==(const RgbColor& o) const { return red == o.red && green == o.green && blue == o.blue; }
};
