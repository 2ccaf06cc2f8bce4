#include "presentation/MetricsGraphView.h"

#include "boatlog/BoatLogView.h"
#include "document/BoatLogLookup.h"
#include "document/Document.h"
#include "metrics/Boat.h"
#include "presentation/MetricsGraphPositionMarker.h"
#include "presentation/MetricsGraphStyle.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

using namespace MetricsGraphStyle;

namespace {

// Columns of the plot image's lanes beyond the window drawn on each tick until all are: a few
// thousand points, little beside the tick itself.
constexpr int spareColumnsPerTick = 256;

} // namespace

MetricsGraphView::MetricsGraphView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMouseTracking(false);
    setFont(smallFont(font()));
}

MetricsGraphView::~MetricsGraphView() = default;

void MetricsGraphView::setDocument(Document* document) {
    if (document_ == document)
        return;
    document_ = document;
    reload();
}

void MetricsGraphView::setBoats(std::vector<std::shared_ptr<Boat>> boats) {
    boats_ = std::move(boats);
    invalidate();
}

void MetricsGraphView::setMetrics(std::vector<MetricPresentation> metrics) {
    metrics_ = std::move(metrics);
    invalidate();
}

void MetricsGraphView::setPlaybackTime(std::optional<Instant> time) {
    if (time == playbackTime_)
        return;
    playbackTime_ = time;
    update();
}

void MetricsGraphView::reload() {
    series_.invalidate();
    invalidate();
}

void MetricsGraphView::invalidate() {
    plotValid_ = false;
    chromeValid_ = false;
    update();
}

void MetricsGraphView::follow(double halfWidth) {
    following_ = true;
    halfWidth_ = std::clamp(halfWidth, minimumHalfWidth, maximumHalfWidth);
    heldWindow_.reset();
    chromeValid_ = false;
    update();
    emit windowChanged();
}

void MetricsGraphView::showRange(Instant start, Instant end) {
    if (!(end > start))
        return;
    following_ = false;
    fixedStart_ = start;
    fixedEnd_ = end;
    heldWindow_.reset();
    chromeValid_ = false;
    update();
    emit windowChanged();
}

std::optional<std::pair<Instant, Instant>> MetricsGraphView::window() const {
    if (heldWindow_)
        return heldWindow_;
    if (!following_)
        return std::pair{fixedStart_, fixedEnd_};
    if (playbackTime_)
        return std::pair{*playbackTime_ - halfWidth_, *playbackTime_ + halfWidth_};
    // Before the first seek the graph shows the event's beginning.
    if (document_)
        if (auto start = document_->eventStartTime())
            return std::pair{*start, *start + 2.0 * halfWidth_};
    return std::nullopt;
}

void MetricsGraphView::zoom(double factor, double anchorX) {
    if (!(factor > 0.0))
        return;
    if (following_) {
        follow(halfWidth_ * factor);
        return;
    }
    const Instant anchor = timeAt(anchorX);
    const double before = (anchor - fixedStart_) * factor;
    const double after = (fixedEnd_ - anchor) * factor;
    if (before + after < 2.0 * minimumHalfWidth || before + after > 2.0 * maximumHalfWidth)
        return;
    showRange(anchor - before, anchor + after);
}

MetricsGraphLayout MetricsGraphView::layout() const {
    return MetricsGraphLayout(size(), static_cast<int>(metrics_.size()));
}

QRect MetricsGraphView::plotRect() const {
    return layout().plotRect();
}

QRect MetricsGraphView::laneRect(int lane) const {
    return layout().laneRect(lane);
}

QRect MetricsGraphView::laneDataRect(int lane) const {
    return layout().laneDataRect(lane);
}

double MetricsGraphView::xAt(Instant time) const {
    auto shown = window();
    const QRect plot = plotRect();
    if (!shown || !(shown->second > shown->first))
        return plot.left();
    return plot.left() + (time - shown->first) / (shown->second - shown->first) * plot.width();
}

Instant MetricsGraphView::timeAt(double x) const {
    auto shown = window();
    if (!shown)
        return playbackTime_.value_or(Instant());
    const QRect plot = plotRect();
    if (plot.width() <= 0)
        return shown->first;
    // A drag past either end holds at that end rather than leaving the shown window.
    const double fraction = std::clamp((x - plot.left()) / plot.width(), 0.0, 1.0);
    return shown->first + fraction * (shown->second - shown->first);
}

std::optional<GraphAxis> MetricsGraphView::laneAxis(int lane) const {
    if (lane < 0 || lane >= static_cast<int>(axes_.size()))
        return std::nullopt;
    return axes_[static_cast<std::size_t>(lane)];
}

std::vector<MetricsGraphView::CursorValue> MetricsGraphView::cursorValues() const {
    std::vector<CursorValue> values;
    if (!document_ || !playbackTime_)
        return values;
    for (int b = 0; b < static_cast<int>(boats_.size()); ++b) {
        std::optional<BoatLogView> view =
            BoatLogLookup::view(*document_, boats_[std::size_t(b)], *playbackTime_);
        for (int lane = 0; lane < static_cast<int>(metrics_.size()); ++lane) {
            const MetricPresentation& presentation = metrics_[std::size_t(lane)];
            std::optional<Measurement> measurement = view ? view->value(presentation.metric()) : std::nullopt;
            values.push_back(
                {lane, b, presentation.displayValue(measurement), presentation.text(measurement)});
        }
    }
    return values;
}

QSize MetricsGraphView::sizeHint() const {
    return {800, 90 + 80 * std::max<int>(1, int(metrics_.size()))};
}

QSize MetricsGraphView::minimumSizeHint() const {
    return {300, 120};
}

const DateFormat& MetricsGraphView::dateFormat(const std::string& pattern) {
    return formats_.format(pattern, document_ ? document_->eventTimezone() : TimeZone::current());
}

bool MetricsGraphView::prepare(Instant start, Instant end) {
    const MetricsGraphLayout layout = this->layout();
    const QRect plot = layout.plotRect();
    if (!document_ || plot.width() < 10 || layout.laneRect(0).isEmpty())
        return false;
    // From the nominal width, not end - start: that differs in the last bits from tick to tick.
    const double seconds = following_ ? 2.0 * halfWidth_ : fixedEnd_ - fixedStart_;
    const double columnSeconds = seconds / plot.width();
    // A following window slides: hold half a window more on each side, so that playing finds its
    // data and lines ready while the set and the image follow in short steps.
    const double margin =
        following_ ? std::clamp((MetricsGraphPlot::maximumWidth - plot.width() - 4) / 2 * columnSeconds, 0.0,
                                seconds / 2.0)
                   : 0.0;
    const auto change = series_.update(*document_, boats_, metrics_, start, end, columnSeconds, margin);
    const bool sameHeight = plot_.image().height() == plot.height();
    const bool current = plotValid_ && sameHeight && plotGeneration_ == series_.generation();
    const bool oneBehind = plotValid_ && sameHeight && plotGeneration_ + 1 == series_.generation();
    if (!current || !plot_.isComplete()) {
        const TimeZone zone = document_->eventTimezone();
        const MetricsGraphPlot::Scene scene{layout,    series_, axes_, boats_,
                                            document_, font(),  zone,  formats_};
        if (!current) {
            std::vector<GraphAxis> axes = axesFor(layout);
            std::vector<bool> rescaled(axes.size(), true);
            if (axes.size() == axes_.size())
                for (std::size_t lane = 0; lane < axes.size(); ++lane)
                    rescaled[lane] = axes[lane] != axes_[lane];
            axes_ = std::move(axes);
            if (change == MetricSeriesSet::Change::slid && oneBehind) {
                plot_.slide(scene, rescaled);
            } else {
                plot_.draw(scene);
                chromeValid_ = false;
            }
            if (std::find(rescaled.begin(), rescaled.end(), true) != rescaled.end())
                chromeValid_ = false;
            plotValid_ = true;
            plotGeneration_ = series_.generation();
        }
        // The window at once, the rest of the image a little on each tick that follows.
        plot_.complete(scene, start, plot.width(), spareColumnsPerTick);
    }
    if (!chromeValid_ || chrome_.size() != size()) {
        chrome_.draw(layout, metrics_, axes_, boats_, rangeText(), font());
        chromeValid_ = true;
    }
    return true;
}

std::vector<GraphAxis> MetricsGraphView::axesFor(const MetricsGraphLayout& layout) const {
    std::vector<GraphAxis> axes;
    for (const auto& lane : series_.lanes()) {
        const Unit::Dimension dimension = lane.presentation.displayUnit().dimension();
        const GraphAxis::Kind kind = dimension == Unit::Dimension::angle      ? GraphAxis::Kind::angle
                                     : dimension == Unit::Dimension::duration ? GraphAxis::Kind::duration
                                                                              : GraphAxis::Kind::number;
        // A grid line every 22 px or more.
        const int steps = std::max(1, layout.laneDataRect(int(axes.size())).height() / 22);
        if (lane.valueRange)
            axes.push_back(GraphAxis::around(lane.valueRange->first, lane.valueRange->second, steps, kind));
        else
            axes.push_back(GraphAxis::around(0.0, 1.0, steps, kind));
    }
    return axes;
}

QString MetricsGraphView::rangeText() {
    if (following_)
        return QStringLiteral("±%1").arg(halfWidth_ >= 60.0
                                             ? QStringLiteral("%1 min").arg(halfWidth_ / 60.0, 0, 'g', 3)
                                             : QStringLiteral("%1 s").arg(halfWidth_, 0, 'g', 3));
    auto shown = window();
    if (!shown)
        return {};
    const DateFormat& format = dateFormat(MetricsGraphDateFormats::minutesPattern);
    return QString::fromStdString(format.format(shown->first)) + QStringLiteral(" – ") +
           QString::fromStdString(format.format(shown->second));
}

void MetricsGraphView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setFont(font());
    auto shown = window();
    if (!shown || !prepare(shown->first, shown->second)) {
        painter.fillRect(rect(), backgroundColor);
        painter.setPen(textColor);
        QString message;
        if (!document_ || !shown)
            message = tr("No times to show");
        else if (metrics_.empty())
            message = tr("No metrics chosen");
        else
            message = tr("Too small for the graph");
        painter.drawText(rect(), Qt::AlignCenter, message);
        return;
    }
    const MetricsGraphLayout layout = this->layout();
    const QRect plot = layout.plotRect();
    plot_.paint(painter, plot, shown->first);
    chrome_.paint(painter, layout);
    if (boats_.empty()) {
        painter.setPen(textColor);
        painter.drawText(plot, Qt::AlignCenter, tr("No boats chosen"));
    }

    const bool positioned =
        playbackTime_ && *playbackTime_ >= shown->first && *playbackTime_ <= shown->second;
    auto xOf = [this](Instant t) { return xAt(t); };
    if (!positioned) {
        plot_.paintTimeLabels(painter, layout, xOf, QRectF());
        return;
    }
    const QString label =
        QString::fromStdString(dateFormat(MetricsGraphDateFormats::positionPattern).format(*playbackTime_));
    const MetricsGraphPositionMarker marker(layout, std::floor(xAt(*playbackTime_)) + 0.5, label, font());
    plot_.paintTimeLabels(painter, layout, xOf, marker.timeBox());
    marker.paint(painter);
    painter.setRenderHint(QPainter::Antialiasing);
    marker.paintValues(painter, *document_, *playbackTime_, boats_, metrics_, axes_);
}

void MetricsGraphView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    plotValid_ = false;
    chromeValid_ = false;
}

void MetricsGraphView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    heldWindow_ = window();
    seekTo(event->position().x());
}

void MetricsGraphView::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton)) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    seekTo(event->position().x());
}

void MetricsGraphView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    // A following window catches up with the position only now.
    heldWindow_.reset();
    update();
}

void MetricsGraphView::wheelEvent(QWheelEvent* event) {
    const int delta = event->angleDelta().y();
    if (delta == 0) {
        QWidget::wheelEvent(event);
        return;
    }
    // One notch in: the window a fifth narrower.
    zoom(std::pow(0.8, delta / 120.0), event->position().x());
    event->accept();
}

void MetricsGraphView::seekTo(double x) {
    if (!window())
        return;
    const Instant t = timeAt(x);
    setPlaybackTime(t);
    if (document_)
        document_->setPlaybackPosition(t, true);
}
