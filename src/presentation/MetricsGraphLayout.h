#pragma once

#include "document/GraphAxis.h"

#include <QRect>
#include <QSize>

// Where the parts of the metrics graph lie in a view of a given size: the legend along the top,
// the scales in the left margin, and the plot, which holds the lanes (one per metric, each with
// its title above its values) over the time axis.
class MetricsGraphLayout {
public:
    static constexpr int legendHeight = 22;
    static constexpr int axisHeight = 20;
    static constexpr int leftMargin = 60;
    static constexpr int rightMargin = 8;
    // Lanes this high or higher keep a strip for their title above the values.
    static constexpr int titledLaneHeight = 48;
    static constexpr int titleHeight = 16;

    MetricsGraphLayout(QSize size, int laneCount) : size_(size), laneCount_(laneCount) {}

    QSize size() const { return size_; }
    int laneCount() const { return laneCount_; }
    QRect plotRect() const;
    // Empty when the lanes do not fit.
    QRect laneRect(int lane) const;
    QRect laneDataRect(int lane) const;
    // The top of the time axis, below the last lane.
    int lanesBottom() const { return plotRect().bottom() + 1 - axisHeight; }
    // The height of `value` in a lane scaled by `axis`.
    double yIn(int lane, const GraphAxis& axis, double value) const;

private:
    QSize size_;
    int laneCount_;
};
