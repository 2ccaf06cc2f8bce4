#include "boatlog/BoatLog.h"

#include "boatlog/BoatLogView.h"

std::optional<BoatLogView> BoatLog::view(Instant t, bool interpolated) const {
    auto right = firstIndexAfter(t);
    if (!right)
        return std::nullopt;
    // Without interpolation the view is the record just after t, not the one before it.
    if (!interpolated || right->index == startIndex().index)
        return BoatLogView(DirectBoatLogView(*this, *right));
    BoatLogIndex left = indexBefore(*right);
    double a = t - left.time;
    double b = right->time - t;
    double total = a + b;
    // A gap of more than ten seconds shows as no data, never as a blend.
    if (total > maximumInterpolationGap)
        return std::nullopt;
    double leftWeight = total == 0.0 ? 0.0 : b / total;
    return BoatLogView(InterpolatedBoatLogView(*this, left, *right, leftWeight));
}

DirectBoatLogView BoatLog::directView(BoatLogIndex i) const {
    return DirectBoatLogView(*this, i);
}
