#include "document/GraphAxis.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace {

double niceStep(double span, int maximumSteps) {
    const double rough = span / std::max(1, maximumSteps);
    const double magnitude = std::pow(10.0, std::floor(std::log10(rough)));
    for (double factor : {1.0, 2.0, 2.5, 5.0, 10.0})
        if (factor * magnitude >= rough * (1.0 - 1e-9))
            return factor * magnitude;
    return 10.0 * magnitude;
}

double listedStep(std::initializer_list<double> steps, double span, int maximumSteps) {
    const double rough = span / std::max(1, maximumSteps);
    for (double step : steps)
        if (step >= rough * (1.0 - 1e-9))
            return step;
    return niceStep(span, maximumSteps);
}

double stepFor(GraphAxis::Kind kind, double span, int maximumSteps) {
    switch (kind) {
    case GraphAxis::Kind::angle:
        return listedStep({1, 2, 5, 10, 15, 30, 45, 90, 180}, span, maximumSteps);
    case GraphAxis::Kind::duration:
        return listedStep({1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600}, span, maximumSteps);
    case GraphAxis::Kind::number:
        break;
    }
    return niceStep(span, maximumSteps);
}

} // namespace

GraphAxis GraphAxis::around(double low, double high, int maximumSteps, Kind kind) {
    if (!std::isfinite(low) || !std::isfinite(high))
        return {};
    if (high < low)
        std::swap(low, high);
    if (high - low < 1e-9) {
        // A steady value sits in the middle of a small range rather than on an edge.
        const double pad = std::max(std::abs(low) * 0.05, kind == Kind::number ? 0.5 : 5.0);
        low -= pad;
        high += pad;
    }
    for (int attempt = 0; attempt < 3; ++attempt) {
        const double step = stepFor(kind, high - low, maximumSteps);
        GraphAxis axis{std::floor(low / step + 1e-9) * step, std::ceil(high / step - 1e-9) * step, step};
        // Rounding out both ends can take one step more than asked; a wider step then fits.
        if ((axis.high - axis.low) / step <= maximumSteps + 1e-9 || attempt == 2)
            return axis;
        maximumSteps = std::max(1, maximumSteps - 1);
    }
    return {};
}

std::vector<double> GraphAxis::ticks() const {
    std::vector<double> values;
    if (!(step > 0.0) || !(high >= low) || (high - low) / step > 1000.0)
        return values;
    for (double v = low; v <= high + step * 1e-6; v += step)
        values.push_back(std::abs(v) < step * 1e-9 ? 0.0 : v);
    return values;
}

double GraphAxis::timeStep(double pixelsPerSecond, double minimumSpacing) {
    constexpr double steps[] = {1,   2,   5,    10,   15,   30,    60,    120,   300,
                                600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400};
    for (double step : steps)
        if (step * pixelsPerSecond >= minimumSpacing)
            return step;
    return 86400.0 * std::ceil(minimumSpacing / (86400.0 * std::max(pixelsPerSecond, 1e-12)));
}
