#pragma once

#include "core/RgbColor.h"

#include <cstdint>
#include <memory>
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
    // A line in many colours: a palette index per vertex of the overlay, each segment drawn in the
    // colour of the vertex it starts from; the palette holds 0xAARRGGBB colours. Without them (or
    // when they do not fit the overlay) the line is drawn in strokeColor.
    std::shared_ptr<const std::vector<std::uint8_t>> vertexColorIndices;
    std::shared_ptr<const std::vector<std::uint32_t>> palette;
};
