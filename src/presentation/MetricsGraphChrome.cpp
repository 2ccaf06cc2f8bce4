#include "presentation/MetricsGraphChrome.h"

#include "metrics/Boat.h"
#include "presentation/MetricsGraphLayout.h"
#include "presentation/MetricsGraphStyle.h"

#include <QFontMetrics>
#include <QPainter>
#include <algorithm>
#include <cmath>

using namespace MetricsGraphStyle;

namespace {

// Enough decimals to tell the grid's values apart: 2.5 shows one, 0.25 two.
int decimalsFor(double step) {
    for (int decimals = 0; decimals < 6; ++decimals) {
        const double scaled = step * std::pow(10.0, decimals);
        if (std::abs(scaled - std::round(scaled)) < 1e-6 * std::max(1.0, scaled))
            return decimals;
    }
    return 6;
}

QString axisLabel(const MetricPresentation& presentation, double value, double step) {
    const Unit& unit = presentation.displayUnit();
    // Durations and percentages read as the values do: "-01:30", "95%".
    if (unit.dimension() == Unit::Dimension::duration || &unit == &UnitScalar::percent())
        return presentation.text(value);
    return QString::number(value, 'f', decimalsFor(step));
}

} // namespace

void MetricsGraphChrome::draw(const MetricsGraphLayout& layout,
                              const std::vector<MetricPresentation>& metrics,
                              const std::vector<GraphAxis>& axes,
                              const std::vector<std::shared_ptr<Boat>>& boats, const QString& range,
                              const QFont& font) {
    // Kept from draw to draw: a fresh image of the view's size costs more than a tick.
    if (image_.size() != layout.size())
        image_ = QImage(layout.size(), QImage::Format_RGB32);
    image_.fill(backgroundColor);
    QPainter painter(&image_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(font);
    drawScales(painter, layout, metrics, axes);
    drawLegend(painter, layout, boats, range);
    painter.end();
    drawTitles(layout, metrics, font);
}

// The scales, in the left margin beside their lanes.
void MetricsGraphChrome::drawScales(QPainter& painter, const MetricsGraphLayout& layout,
                                    const std::vector<MetricPresentation>& metrics,
                                    const std::vector<GraphAxis>& axes) {
    const int leftMargin = MetricsGraphLayout::leftMargin;
    for (int lane = 0; lane < static_cast<int>(metrics.size()) && lane < static_cast<int>(axes.size());
         ++lane) {
        const QRect data = layout.laneDataRect(lane);
        if (data.isEmpty())
            continue;
        const GraphAxis& axis = axes[std::size_t(lane)];
        painter.setPen(textColor);
        for (double value : axis.ticks()) {
            const double y = layout.yIn(lane, axis, value);
            if (y < data.top() - 1 || y > data.bottom() + 2)
                continue;
            painter.drawLine(QPointF(leftMargin - 4, std::floor(y) + 0.5),
                             QPointF(leftMargin, std::floor(y) + 0.5));
            painter.drawText(QRectF(0, y - 8, leftMargin - 7, 16), Qt::AlignRight | Qt::AlignVCenter,
                             axisLabel(metrics[std::size_t(lane)], value, axis.step));
        }
    }
}

// The legend: each boat's colour and name, as many as fit beside the window's extent.
void MetricsGraphChrome::drawLegend(QPainter& painter, const MetricsGraphLayout& layout,
                                    const std::vector<std::shared_ptr<Boat>>& boats, const QString& range) {
    const int width = layout.size().width();
    const int legendHeight = MetricsGraphLayout::legendHeight;
    const int rightMargin = MetricsGraphLayout::rightMargin;
    const QFontMetrics metrics(painter.font());
    const int rangeWidth = metrics.horizontalAdvance(range) + 8;
    painter.setPen(textColor);
    painter.drawText(QRect(width - rightMargin - rangeWidth, 0, rangeWidth, legendHeight),
                     Qt::AlignRight | Qt::AlignVCenter, range);
    int x = MetricsGraphLayout::leftMargin;
    const int limit = width - rightMargin - rangeWidth - 8;
    for (std::size_t b = 0; b < boats.size(); ++b) {
        const Boat& boat = *boats[b];
        const QString name = boat.shortName().isEmpty() ? boat.fullName() : boat.shortName();
        const int itemWidth = 14 + metrics.horizontalAdvance(name) + 14;
        if (x + itemWidth > limit) {
            painter.drawText(QRect(x, 0, limit - x, legendHeight), Qt::AlignLeft | Qt::AlignVCenter,
                             QStringLiteral("+%1").arg(boats.size() - b));
            break;
        }
        const QColor color = lineColor(boat);
        painter.setPen(QPen(color.darker(150), 1));
        painter.setBrush(color);
        painter.drawRoundedRect(QRectF(x + 0.5, legendHeight / 2.0 - 4.5, 9, 9), 2, 2);
        painter.setPen(titleColor);
        painter.drawText(QRect(x + 14, 0, itemWidth - 14, legendHeight), Qt::AlignLeft | Qt::AlignVCenter,
                         name);
        x += itemWidth;
    }
}

void MetricsGraphChrome::drawTitles(const MetricsGraphLayout& layout,
                                    const std::vector<MetricPresentation>& metrics, const QFont& font) {
    titles_.clear();
    const QFont bold = smallFont(font, true);
    const QFontMetrics fontMetrics(bold);
    const int titleHeight = MetricsGraphLayout::titleHeight;
    for (int lane = 0; lane < static_cast<int>(metrics.size()); ++lane) {
        const QRect rect = layout.laneRect(lane);
        if (rect.isEmpty())
            continue;
        const QString title = metrics[std::size_t(lane)].title();
        QImage image(fontMetrics.horizontalAdvance(title) + 12, titleHeight,
                     QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        // A lane without a title strip shows its title over the values: it gets a backing.
        if (layout.laneDataRect(lane).top() < rect.top() + titleHeight)
            painter.fillRect(image.rect(), QColor(laneColor.red(), laneColor.green(), laneColor.blue(), 210));
        painter.setFont(bold);
        painter.setPen(titleColor);
        painter.drawText(image.rect().adjusted(6, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, title);
        painter.end();
        titles_.emplace_back(QPoint(rect.left(), rect.top()), std::move(image));
    }
}

void MetricsGraphChrome::paint(QPainter& painter, const MetricsGraphLayout& layout) const {
    const QRect plot = layout.plotRect();
    const int width = layout.size().width();
    const int height = layout.size().height();
    const int legendHeight = MetricsGraphLayout::legendHeight;
    const int leftMargin = MetricsGraphLayout::leftMargin;
    painter.drawImage(QPoint(0, 0), image_, QRect(0, 0, width, legendHeight));
    painter.drawImage(QPoint(0, legendHeight), image_,
                      QRect(0, legendHeight, leftMargin, height - legendHeight));
    painter.drawImage(QPoint(plot.right() + 1, legendHeight), image_,
                      QRect(plot.right() + 1, legendHeight, width - plot.right() - 1, height - legendHeight));
    for (const auto& [at, image] : titles_)
        painter.drawImage(at, image);
}
