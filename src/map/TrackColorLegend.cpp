#include "map/TrackColorLegend.h"

#include "map/MapAnnotationView.h"
#include "map/TrackColorMap.h"
#include "map/TrackColorScale.h"
#include "metrics/MetricPresentation.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr double padding = 8.0;
constexpr double barWidth = 160.0;
constexpr double barHeight = 8.0;
constexpr double gap = 4.0;

QFont titleFont(const QFont& base) {
    QFont font = base;
    font.setPointSizeF(9.0);
    font.setBold(true);
    return font;
}

QFont valueFont(const QFont& base) {
    QFont font = base;
    font.setPointSizeF(8.0);
    return font;
}

// "7.25 kn", "42°", "98%": the formatter's text with the unit, as the metrics table shows them.
QString valueText(const MetricPresentation& presentation, const BoatMetric& metric, double value) {
    const Measurement measurement(value, metric.unit());
    const double shown = measurement.canConvert(presentation.displayUnit())
                             ? measurement.converted(presentation.displayUnit()).value()
                             : value;
    const QString number = presentation.text(shown);
    const QString& unit = presentation.unitSymbol();
    if (unit.isEmpty())
        return number;
    return unit == QStringLiteral("°") ? number + unit : number + QChar(0x202f) + unit;
}

} // namespace

TrackColorLegend::TrackColorLegend(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
}

void TrackColorLegend::setContent(const std::optional<BoatMetric>& metric,
                                  std::shared_ptr<const TrackColorScale> scale) {
    if (metric == metric_ && scale == scale_)
        return;
    metric_ = metric;
    scale_ = std::move(scale);
    title_.clear();
    lowText_.clear();
    highText_.clear();
    if (metric_) {
        const MetricPresentation presentation(*metric_);
        if (scale_) {
            title_ = presentation.name();
            lowText_ = valueText(presentation, *metric_, scale_->low());
            highText_ = valueText(presentation, *metric_, scale_->high());
        } else {
            title_ = tr("No %1 in the logs").arg(presentation.name());
        }
    }
    render();
    resize(sizeHint());
    setVisible(metric_.has_value());
    update();
}

QSize TrackColorLegend::sizeHint() const {
    const qreal ratio = image_.isNull() ? 1.0 : image_.devicePixelRatio();
    return image_.isNull() ? QSize(0, 0) : (QSizeF(image_.size()) / ratio).toSize();
}

void TrackColorLegend::render() {
    if (!metric_) {
        image_ = QImage();
        return;
    }
    const QFontMetricsF titleMetrics(titleFont(font()));
    const QFontMetricsF valueMetrics(valueFont(font()));
    const double contentWidth = scale_ ? std::max(barWidth, titleMetrics.horizontalAdvance(title_))
                                       : titleMetrics.horizontalAdvance(title_);
    double height = padding + titleMetrics.height() + padding;
    if (scale_)
        height += gap + barHeight + gap + valueMetrics.height();
    const QSizeF size(std::ceil(contentWidth + 2 * padding), std::ceil(height));
    const qreal ratio = std::max<qreal>(devicePixelRatioF(), 1.0);
    image_ = QImage((size * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image_.setDevicePixelRatio(ratio);
    image_.fill(Qt::transparent);

    QPainter painter(&image_);
    painter.setRenderHint(QPainter::Antialiasing);
    // The same frosted white as the scale bar and the north arrow.
    painter.setPen(QPen(QColor(60, 60, 60, 90), 1.0));
    painter.setBrush(QColor(255, 255, 255, 205));
    painter.drawRoundedRect(QRectF(QPointF(0.5, 0.5), size - QSizeF(1, 1)), 5, 5);

    double y = padding;
    painter.setFont(titleFont(font()));
    painter.setPen(QColor(30, 30, 30));
    painter.drawText(QRectF(padding, y, contentWidth, titleMetrics.height()),
                     Qt::AlignLeft | Qt::AlignVCenter, title_);
    if (!scale_)
        return;
    y += titleMetrics.height() + gap;

    const QRectF bar(padding, y, contentWidth, barHeight);
    QLinearGradient gradient(bar.topLeft(), bar.topRight());
    constexpr int steps = 16;
    for (int i = 0; i <= steps; ++i)
        gradient.setColorAt(double(i) / steps,
                            MapAnnotationView::qColor(TrackColorMap::color(double(i) / steps)));
    QPainterPath barPath;
    barPath.addRoundedRect(bar, 2, 2);
    painter.setPen(QPen(QColor(0, 0, 0, 70), 0.8));
    painter.setBrush(gradient);
    painter.drawPath(barPath);
    y += barHeight + gap;

    painter.setFont(valueFont(font()));
    painter.setPen(QColor(50, 50, 50));
    const QRectF values(padding, y, contentWidth, valueMetrics.height());
    painter.drawText(values, Qt::AlignLeft | Qt::AlignVCenter, lowText_);
    painter.drawText(values, Qt::AlignRight | Qt::AlignVCenter, highText_);
}

void TrackColorLegend::paintEvent(QPaintEvent*) {
    if (image_.isNull())
        return;
    QPainter painter(this);
    painter.drawImage(QPointF(0, 0), image_);
}
