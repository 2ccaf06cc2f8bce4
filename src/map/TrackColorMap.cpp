#include "map/TrackColorMap.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

struct Stop {
    std::uint8_t red, green, blue;
};

// Viridis at 33 even steps; between them the colour is interpolated linearly.
constexpr std::array<Stop, 33> stops{{
    {68, 1, 84},    {71, 13, 96},   {72, 24, 106},  {72, 35, 116},  {71, 45, 123},  {69, 55, 129},
    {66, 64, 134},  {62, 73, 137},  {59, 82, 139},  {55, 91, 141},  {51, 99, 141},  {47, 107, 142},
    {44, 114, 142}, {41, 122, 142}, {38, 130, 142}, {35, 137, 142}, {33, 145, 140}, {31, 151, 139},
    {31, 159, 136}, {33, 166, 133}, {39, 173, 129}, {49, 181, 123}, {61, 188, 116}, {76, 194, 108},
    {92, 200, 99},  {110, 206, 88}, {129, 211, 77}, {149, 216, 64}, {170, 220, 50}, {192, 223, 37},
    {213, 226, 26}, {234, 229, 26}, {253, 231, 37},
}};

std::uint32_t packed(RgbColor c) {
    auto byte = [](double v) {
        return static_cast<std::uint32_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
    };
    return 0xff000000u | byte(c.red) << 16 | byte(c.green) << 8 | byte(c.blue);
}

} // namespace

RgbColor TrackColorMap::color(double fraction) {
    if (std::isnan(fraction))
        fraction = 0.0;
    const double position = std::clamp(fraction, 0.0, 1.0) * double(stops.size() - 1);
    const std::size_t below = std::min(static_cast<std::size_t>(position), stops.size() - 2);
    const double t = position - double(below);
    const Stop& a = stops[below];
    const Stop& b = stops[below + 1];
    auto mix = [t](std::uint8_t from, std::uint8_t to) { return (from + (to - from) * t) / 255.0; };
    return {mix(a.red, b.red), mix(a.green, b.green), mix(a.blue, b.blue)};
}

std::uint8_t TrackColorMap::level(double fraction) {
    if (std::isnan(fraction))
        return noLevel;
    return static_cast<std::uint8_t>(std::lround(std::clamp(fraction, 0.0, 1.0) * (levelCount - 1)));
}

RgbColor TrackColorMap::levelColor(std::uint8_t level) {
    return color(double(std::min<int>(level, levelCount - 1)) / (levelCount - 1));
}

const std::shared_ptr<const std::vector<std::uint32_t>>& TrackColorMap::palette() {
    static const auto colors = [] {
        auto table = std::make_shared<std::vector<std::uint32_t>>();
        for (int level = 0; level < levelCount; ++level)
            table->push_back(packed(levelColor(static_cast<std::uint8_t>(level))));
        return std::shared_ptr<const std::vector<std::uint32_t>>(std::move(table));
    }();
    return colors;
}
