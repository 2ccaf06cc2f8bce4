#include "presentation/MetricsGraphPositionMarker.h"

#include "boatlog/BoatLogView.h"
#include "document/BoatLogLookup.h"
#include "document/MetricSeries.h"
#include "metrics/Boat.h"
#include "presentation/MetricsGraphLayout.h"
#include "presentation/MetricsGraphStyle.h"

#include <QFontMetrics>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <optional>

using namespace MetricsGraphStyle;

namespace {

constexpr int tagHeight = 15;

} // namespace

MetricsGraphPositionMarker::MetricsGraphPositionMarker(const MetricsGraphLayout& layout, double x,
                                                       const QString& text, const QFont& font)
    : layout_(layout), x_(x), text_(text), font_(font) {
    const QRect plot = layout.plotRect();
    const int width = QFontMetrics(font).horizontalAdvance(text) + 10;
    const double left = std::clamp(x - width / 2.0, double(plot.left()), double(plot.right() + 1 - width));
    box_ = QRectF(left, layout.lanesBottom() + 3, width, MetricsGraphLayout::axisHeight - 4);
}

void MetricsGraphPositionMarker::paint(QPainter& painter) const {
    painter.setPen(QPen(playbackColor, 2));
    painter.drawLine(QPointF(x_, layout_.plotRect().top()), QPointF(x_, layout_.lanesBottom() + 4));
    painter.fillRect(box_, positionLabelColor);
    painter.setPen(QPen(playbackColor, 1));
    painter.drawRect(box_.adjusted(0.5, 0.5, -0.5, -0.5));
    painter.setPen(Qt::white);
    painter.setFont(font_);
    painter.drawText(box_, Qt::AlignCenter, text_);
}

void MetricsGraphPositionMarker::paintValues(QPainter& painter, const Document& document, Instant time,
                                             const std::vector<std::shared_ptr<Boat>>& boats,
                                             const std::vector<MetricPresentation>& metrics,
                                             const std::vector<GraphAxis>& axes) const {
    struct Tag {
        double y;
        Measurement measurement;
        QColor color;
        QString text;
        int width = 0;
    };
    // One view per boat; texts are made only for the tags that find room.
    std::vector<std::optional<BoatLogView>> views;
    views.reserve(boats.size());
    for (const auto& boat : boats)
        views.push_back(BoatLogLookup::view(document, boat, time));
    const QFontMetrics fontMetrics(font_);
    const QRect plot = layout_.plotRect();
    painter.setFont(font_);
    for (int lane = 0; lane < static_cast<int>(metrics.size()) && lane < static_cast<int>(axes.size());
         ++lane) {
        const QRect data = layout_.laneDataRect(lane);
        if (data.isEmpty())
            continue;
        const MetricPresentation& presentation = metrics[std::size_t(lane)];
        const GraphAxis& axis = axes[std::size_t(lane)];
        const auto circle = MetricSeries::circularRange(presentation);
        // As many as the lane holds, in the boats' order: the main boat first.
        const std::size_t room = std::size_t(std::max(1, data.height() / tagHeight));
        std::vector<Tag> tags;
        for (std::size_t b = 0; b < boats.size() && tags.size() < room; ++b) {
            if (!views[b])
                continue;
            std::optional<Measurement> measurement = views[b]->value(presentation.metric());
            std::optional<double> value = presentation.displayValue(measurement);
            if (!value)
                continue;
            const double v = circle ? MetricSeries::intoCircle(*value, *circle) : *value;
            tags.push_back({std::clamp(layout_.yIn(lane, axis, v), double(data.top()), double(data.bottom())),
                            *measurement, lineColor(*boats[b]), QString(), 0});
        }
        if (tags.empty())
            continue;
        // Each tag at its line's height, pushed apart so none covers another.
        std::sort(tags.begin(), tags.end(), [](const Tag& a, const Tag& b) { return a.y < b.y; });
        double floor = data.top() + tagHeight / 2.0;
        for (Tag& tag : tags) {
            tag.y = std::max(tag.y, floor);
            floor = tag.y + tagHeight;
        }
        double ceiling = data.bottom() + 1 - tagHeight / 2.0;
        for (auto it = tags.rbegin(); it != tags.rend(); ++it) {
            it->y = std::min(it->y, ceiling);
            ceiling = it->y - tagHeight;
        }
        for (Tag& tag : tags) {
            tag.text = presentation.text(tag.measurement);
            tag.width = fontMetrics.horizontalAdvance(tag.text) + 8;
            const bool left = x_ + 6 + tag.width > plot.right();
            const QRectF box(left ? x_ - 6 - tag.width : x_ + 6, std::round(tag.y - tagHeight / 2.0) + 0.5,
                             tag.width, tagHeight - 1);
            painter.setPen(Qt::NoPen);
            painter.setBrush(tag.color);
            painter.drawRoundedRect(box, 3, 3);
            painter.setPen(luminance(tag.color) > 0.55 ? Qt::black : Qt::white);
            painter.drawText(box, Qt::AlignCenter, tag.text);
        }
    }
}
