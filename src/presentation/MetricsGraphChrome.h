#pragma once

#include "document/GraphAxis.h"
#include "metrics/MetricPresentation.h"

#include <QImage>
#include <QPoint>
#include <QString>
#include <memory>
#include <utility>
#include <vector>

class Boat;
class MetricsGraphLayout;
class QPainter;

// What surrounds the metrics graph's plot: the legend above it (each boat's colour and name, and
// the window's extent), the lanes' scales in the margin beside it and the lanes' titles over it.
// Drawn when the choice, the size or a scale changes, not on a tick.
class MetricsGraphChrome {
public:
    // `range` is the window's extent as the legend names it: "±2 min", "14:05 – 14:32".
    void draw(const MetricsGraphLayout& layout, const std::vector<MetricPresentation>& metrics,
              const std::vector<GraphAxis>& axes, const std::vector<std::shared_ptr<Boat>>& boats,
              const QString& range, const QFont& font);
    QSize size() const { return image_.size(); }
    // Draws the margins round the plot, and the titles over it.
    void paint(QPainter& painter, const MetricsGraphLayout& layout) const;

private:
    void drawScales(QPainter& painter, const MetricsGraphLayout& layout,
                    const std::vector<MetricPresentation>& metrics, const std::vector<GraphAxis>& axes);
    void drawLegend(QPainter& painter, const MetricsGraphLayout& layout,
                    const std::vector<std::shared_ptr<Boat>>& boats, const QString& range);
    void drawTitles(const MetricsGraphLayout& layout, const std::vector<MetricPresentation>& metrics,
                    const QFont& font);

    QImage image_;
    std::vector<std::pair<QPoint, QImage>> titles_;
};
