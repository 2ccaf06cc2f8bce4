#pragma once

#include "core/RgbColor.h"

#include <optional>
#include <vector>

// How an overlay is drawn. Widths and dash lengths in view points; alphas in 0…1.
struct MapOverlayRenderer {
    double lineWidth = 1.0;
    RgbColor strokeColor;
    double strokeAlpha = 1.0;
    // No fill when absent (lines; outlined circles).
    std::optional<RgbColor> fillColor;
    double fillAlpha = 1.0;
    // Alternating on and off lengths; empty draws a solid line.
    std::vector<double> lineDashPattern;
};
