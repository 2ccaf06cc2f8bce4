#pragma once

#include "core/RgbColor.h"

// `color` moved `fraction` of the way towards `other`, as a colour picker blends: 0.5 with white
// is the pastel of a colour.
inline RgbColor blended(RgbColor color, double fraction, RgbColor other) {
    return {color.red + (other.red - color.red) * fraction,
            color.green + (other.green - color.green) * fraction,
            color.blue + (other.blue - color.blue) * fraction};
}

inline constexpr RgbColor whiteColor{1.0, 1.0, 1.0};
inline constexpr RgbColor blackColor{0.0, 0.0, 0.0};
