#pragma once

#include "core/Instant.h"
#include "document/GraphAxis.h"
#include "metrics/MetricPresentation.h"

#include <QFont>
#include <QRectF>
#include <QString>
#include <memory>
#include <vector>

class Boat;
class Document;
class MetricsGraphLayout;
class QPainter;

// The playback position over the metrics graph's plot: a red line through the lanes, the time in a
// box on the time axis, and each line's value at the position in a tag of the boat's colour
// beside the line, read as the metrics table reads it.
class MetricsGraphPositionMarker {
public:
    // At `x` in the view, showing `time` as `text`.
    MetricsGraphPositionMarker(const MetricsGraphLayout& layout, double x, const QString& text,
                               const QFont& font);

    // Where the time is shown: the time axis's own labels keep clear of it.
    QRectF timeBox() const { return box_; }
    void paint(QPainter& painter) const;
    // The tags of each lane's values at `time`, as many as the lane has room for, the first boats
    // first.
    void paintValues(QPainter& painter, const Document& document, Instant time,
                     const std::vector<std::shared_ptr<Boat>>& boats,
                     const std::vector<MetricPresentation>& metrics,
                     const std::vector<GraphAxis>& axes) const;

private:
    const MetricsGraphLayout& layout_;
    double x_;
    QString text_;
    QFont font_;
    QRectF box_;
};
