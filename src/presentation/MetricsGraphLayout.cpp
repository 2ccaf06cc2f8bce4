#include "presentation/MetricsGraphLayout.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int laneGap = 4;
constexpr int laneInset = 3;

} // namespace

QRect MetricsGraphLayout::plotRect() const {
    return QRect(leftMargin, legendHeight, std::max(0, size_.width() - leftMargin - rightMargin),
                 std::max(0, size_.height() - legendHeight));
}

QRect MetricsGraphLayout::laneRect(int lane) const {
    if (lane < 0 || lane >= laneCount_)
        return {};
    const QRect plot = plotRect();
    const double available = plot.height() - axisHeight - laneGap * (laneCount_ - 1);
    const double each = available / laneCount_;
    if (each < 4.0)
        return {};
    const int top = plot.top() + int(std::lround(lane * (each + laneGap)));
    const int bottom = plot.top() + int(std::lround(lane * (each + laneGap) + each));
    return QRect(plot.left(), top, plot.width(), bottom - top);
}

QRect MetricsGraphLayout::laneDataRect(int lane) const {
    QRect rect = laneRect(lane);
    if (rect.isEmpty())
        return rect;
    const int title = rect.height() >= titledLaneHeight ? titleHeight : 0;
    return rect.adjusted(0, title + laneInset, 0, -laneInset);
}

double MetricsGraphLayout::yIn(int lane, const GraphAxis& axis, double value) const {
    const QRect data = laneDataRect(lane);
    return data.bottom() + 1 - (value - axis.low) / (axis.high - axis.low) * data.height();
}
