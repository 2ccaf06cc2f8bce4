#include "presentation/MetricsGraphPlot.h"

#include "boatlog/BoatLog.h"
#include "document/Document.h"
#include "document/MetricSeriesSet.h"
#include "metrics/Boat.h"
#include "presentation/MetricsGraphDateFormats.h"
#include "presentation/MetricsGraphLayout.h"
#include "presentation/MetricsGraphStyle.h"
#include "race/Race.h"

#include <QFontMetrics>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstring>

using namespace MetricsGraphStyle;

namespace {

constexpr double minimumTimeLabelSpacing = 110.0;
// A line's points are taken this many columns beyond the columns drawn, so that its joins and caps
// (a pixel round a point at most) come out as in a drawing of the whole line.
constexpr int lineOverlap = 3;

double timeStepFor(double columnSeconds) {
    return GraphAxis::timeStep(1.0 / columnSeconds, minimumTimeLabelSpacing);
}

} // namespace

int MetricsGraphPlot::columnsFor(const MetricSeriesSet& series) const {
    return std::min(
        maximumWidth,
        int(std::ceil(series.spanEnd().secondsSinceReference() / columnSeconds_ - originColumn_)) + 2);
}

void MetricsGraphPlot::draw(const Scene& scene) {
    const MetricSeriesSet& series = scene.series;
    columnSeconds_ = series.columnSeconds();
    originColumn_ = std::floor(series.spanStart().secondsSinceReference() / columnSeconds_);
    spanStart_ = series.spanStart().secondsSinceReference();
    spanEnd_ = series.spanEnd().secondsSinceReference();
    resize(columnsFor(series), scene.layout.plotRect().height());
    drawn_.assign(scene.axes.size(), {0, 0});
    drawAxis(scene, 0, image_.width());
    makeTimeLabels(scene, false);
}

void MetricsGraphPlot::slide(const Scene& scene, const std::vector<bool>& rescaled) {
    const MetricSeriesSet& series = scene.series;
    if (series.columnSeconds() != columnSeconds_ || image_.isNull() ||
        image_.height() != scene.layout.plotRect().height() || rescaled.size() != drawn_.size()) {
        draw(scene);
        return;
    }
    const double start = series.spanStart().secondsSinceReference();
    const double end = series.spanEnd().secondsSinceReference();
    const double originColumn = std::floor(start / columnSeconds_);
    const double shift = originColumn - originColumn_;
    // Columns whose points both spans hold whole are the same in both reads (see
    // MetricSeries::slide); a line reaches at most the widest blended gap past its last point.
    const double reach = std::ceil(BoatLog::maximumInterpolationGap / columnSeconds_) + lineOverlap;
    const double keptFrom =
        std::floor(std::max(start, spanStart_) / columnSeconds_) + 1.0 - originColumn + reach;
    const double keptTo = std::floor(std::min(end, spanEnd_) / columnSeconds_) - originColumn - reach;
    const int oldWidth = image_.width();
    originColumn_ = originColumn;
    // The width a span needs varies by a column with its place on the grid: keeping the image's
    // spares making a new one.
    const int needed = columnsFor(series);
    const int columns = oldWidth >= needed && oldWidth <= needed + 2 ? oldWidth : needed;
    // The columns of the new image that the old one holds as they would be drawn now.
    const int keepFrom = int(std::max({keptFrom, -shift, 0.0}));
    const int keepTo = int(std::min({keptTo, oldWidth - shift, double(columns)}));
    spanStart_ = start;
    spanEnd_ = end;
    if (keepFrom >= keepTo) {
        draw(scene);
        return;
    }

    moveColumns(int(shift), columns);
    for (std::size_t lane = 0; lane < drawn_.size(); ++lane) {
        auto& [first, last] = drawn_[lane];
        first = std::max(first - int(shift), keepFrom);
        last = std::min(last - int(shift), keepTo);
        if (rescaled[lane] || first >= last)
            first = last = 0;
    }
    drawAxis(scene, 0, keepFrom);
    drawAxis(scene, keepTo, columns);
    makeTimeLabels(scene, true);
}

void MetricsGraphPlot::complete(const Scene& scene, Instant start, int width, int spare) {
    const int columns = image_.width();
    const int windowFirst = std::clamp(int(std::lround(xOf(start.secondsSinceReference()))) - 1, 0, columns);
    const int windowLast = std::clamp(windowFirst + width + 2, 0, columns);
    for (int lane = 0; lane < int(drawn_.size()); ++lane) {
        auto& [first, last] = drawn_[std::size_t(lane)];
        if (windowFirst >= windowLast)
            break;
        if (first >= last) {
            drawLane(scene, lane, windowFirst, windowLast);
            first = windowFirst;
            last = windowLast;
            continue;
        }
        // The drawn columns stay one stretch: what lies between them and the window is drawn too.
        if (windowFirst < first) {
            drawLane(scene, lane, windowFirst, first);
            first = windowFirst;
        }
        if (windowLast > last) {
            drawLane(scene, lane, last, windowLast);
            last = windowLast;
        }
    }
    for (int lane = 0; lane < int(drawn_.size()) && spare > 0; ++lane) {
        auto& [first, last] = drawn_[std::size_t(lane)];
        if (first >= last)
            continue;
        const int before = std::min(spare, first);
        drawLane(scene, lane, first - before, first);
        first -= before;
        spare -= before;
        const int after = std::min(spare, columns - last);
        drawLane(scene, lane, last, last + after);
        last += after;
        spare -= after;
    }
}

bool MetricsGraphPlot::isComplete() const {
    return std::all_of(drawn_.begin(), drawn_.end(), [this](const std::pair<int, int>& drawn) {
        return drawn.first == 0 && drawn.second == image_.width();
    });
}

void MetricsGraphPlot::resize(int columns, int height) {
    if (image_.width() != columns || image_.height() != height)
        image_ = QImage(columns, height, QImage::Format_RGB32);
}

void MetricsGraphPlot::moveColumns(int shift, int columns) {
    const int height = image_.height();
    const int oldWidth = image_.width();
    const int first = std::max(0, shift);
    const int last = std::min(oldWidth, shift + columns);
    QImage moved;
    if (columns != oldWidth)
        moved = QImage(columns, height, image_.format());
    QImage& target = moved.isNull() ? image_ : moved;
    if (last > first) {
        // Rows of 32-bit pixels; within one image the rows overlap themselves only.
        const qsizetype sourceStride = image_.bytesPerLine();
        const qsizetype targetStride = target.bytesPerLine();
        uchar* targetBits = target.bits();
        const uchar* sourceBits = moved.isNull() ? targetBits : image_.constBits();
        for (int y = 0; y < height; ++y)
            std::memmove(targetBits + y * targetStride + qsizetype(first - shift) * 4,
                         sourceBits + y * sourceStride + qsizetype(first) * 4, std::size_t(last - first) * 4);
    }
    if (!moved.isNull())
        image_ = std::move(moved);
}

std::vector<double> MetricsGraphPlot::tickColumns(int from, int to) const {
    // Clock time on whole multiples of the step, so that labels keep their times.
    const double step = timeStepFor(columnSeconds_);
    std::vector<double> ticks;
    const double firstSeconds = (originColumn_ + from - 1) * columnSeconds_;
    const double lastSeconds = (originColumn_ + to + 1) * columnSeconds_;
    for (double k = std::ceil(firstSeconds / step); k * step <= lastSeconds; ++k)
        ticks.push_back(std::floor(xOf(k * step)) + 0.5);
    return ticks;
}

void MetricsGraphPlot::drawAxis(const Scene& scene, int from, int to) {
    if (from >= to)
        return;
    const QRect plot = scene.layout.plotRect();
    const int lanesBottom = scene.layout.lanesBottom();
    QPainter painter(&image_);
    // Widget coordinates vertically, image columns horizontally.
    painter.translate(0, -plot.top());
    painter.fillRect(QRect(from, plot.top(), to - from, image_.height()), backgroundColor);
    painter.setClipRect(QRect(from, lanesBottom, to - from, plot.bottom() + 1 - lanesBottom));
    painter.setPen(QPen(textColor, 1));
    for (double x : tickColumns(from, to))
        painter.drawLine(QPointF(x, lanesBottom), QPointF(x, lanesBottom + 4));
}

void MetricsGraphPlot::drawLane(const Scene& scene, int lane, int from, int to) {
    const MetricsGraphLayout& layout = scene.layout;
    const QRect rect = layout.laneRect(lane);
    if (from >= to || rect.isEmpty() || lane >= int(scene.axes.size()))
        return;
    const QRect data = layout.laneDataRect(lane);
    const GraphAxis& axis = scene.axes[std::size_t(lane)];
    QPainter painter(&image_);
    painter.translate(0, -layout.plotRect().top());
    painter.setClipRect(QRect(from, rect.top(), to - from, rect.height()));
    painter.fillRect(QRect(from, rect.top(), to - from, rect.height()), laneColor);
    painter.setPen(QPen(gridColor, 1));
    for (double value : axis.ticks()) {
        const double y = std::floor(layout.yIn(lane, axis, value)) + 0.5;
        if (y >= data.top() - 1 && y <= data.bottom() + 1)
            painter.drawLine(QPointF(from - 1, y), QPointF(to + 1, y));
    }
    painter.setPen(QPen(timeGridColor, 1));
    for (double x : tickColumns(from, to))
        painter.drawLine(QPointF(x, data.top()), QPointF(x, data.bottom()));
    // Race starts and manoeuvres cross every lane, as on the timeline.
    if (scene.document) {
        auto mark = [&](Instant t) {
            const double x = std::floor(xOf(t.secondsSinceReference())) + 0.5;
            if (x >= from - 1 && x <= to + 1)
                painter.drawLine(QPointF(x, rect.top()), QPointF(x, rect.bottom()));
        };
        painter.setPen(QPen(manoeuvreColor, 1));
        for (const auto* times : {&scene.document->tackTimes(), &scene.document->gybeTimes()})
            for (Instant t : *times)
                mark(t);
        painter.setPen(QPen(raceStartColor, 1));
        for (const auto& race : scene.document->races())
            if (race)
                mark(race->time());
    }
    drawLines(painter, scene, lane, from, to);
}

// The lines of one lane; the first boat (the main one by default) last, on top. Points go straight
// into image coordinates: there are hundreds of thousands of them.
void MetricsGraphPlot::drawLines(QPainter& painter, const Scene& scene, int lane, int from, int to) const {
    if (lane >= int(scene.series.lanes().size()))
        return;
    const auto& laneSeries = scene.series.lanes()[std::size_t(lane)];
    const QRect plot = scene.layout.plotRect();
    const QRect data = scene.layout.laneDataRect(lane).translated(0, -plot.top());
    const GraphAxis& axis = scene.axes[std::size_t(lane)];
    const double base = data.bottom() + 1;
    const double scale = data.height() / (axis.high - axis.low);
    const double low = axis.low;
    const double columnSeconds = columnSeconds_;
    const double origin = originColumn_;
    const double firstSeconds = (origin + from - lineOverlap) * columnSeconds;
    const double lastSeconds = (origin + to + lineOverlap) * columnSeconds;
    painter.save();
    painter.resetTransform();
    painter.setClipRect(QRect(from, data.top() - 1, to - from, data.height() + 2));
    std::vector<QPointF> points;
    for (int b = static_cast<int>(laneSeries.series.size()) - 1; b >= 0; --b) {
        const MetricSeries& series = laneSeries.series[std::size_t(b)];
        if (series.isEmpty() || std::size_t(b) >= scene.boats.size())
            continue;
        const auto& times = series.times();
        const auto& values = series.values();
        // The points over the columns drawn, and one more on either side for the strokes that
        // cross their edges.
        const std::size_t lowest =
            std::size_t(std::lower_bound(times.begin(), times.end(), firstSeconds) - times.begin());
        const std::size_t highest =
            std::size_t(std::upper_bound(times.begin(), times.end(), lastSeconds) - times.begin());
        const std::size_t first = lowest > 0 ? lowest - 1 : 0;
        const std::size_t last = std::min(highest + 1, times.size());
        const Boat& boat = *scene.boats[std::size_t(b)];
        painter.setPen(QPen(lineColor(boat), boat.displayMode() == Boat::DisplayMode::Main ? 2.0 : 1.0,
                            Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        for (std::size_t r = 0; r < series.runCount(); ++r) {
            auto [runFirst, runLast] = series.run(r);
            runFirst = std::max(runFirst, first);
            runLast = std::min(runLast, last);
            if (runFirst >= runLast)
                continue;
            points.clear();
            for (std::size_t i = runFirst; i < runLast; ++i)
                points.emplace_back(times[i] / columnSeconds - origin, base - (values[i] - low) * scale);
            if (points.size() == 1)
                painter.drawPoint(points.front());
            else
                painter.drawPolyline(points.data(), int(points.size()));
        }
    }
    painter.restore();
}

void MetricsGraphPlot::makeTimeLabels(const Scene& scene, bool reuse) {
    // The labels are images apart from the plot, so that the one under the position's own label
    // can be left out.
    const double step = timeStepFor(columnSeconds_);
    const DateFormat& format =
        scene.formats.format(std::fmod(step, 60.0) == 0.0 ? MetricsGraphDateFormats::minutesPattern
                                                          : MetricsGraphDateFormats::secondsPattern,
                             scene.zone);
    const QFontMetrics metrics(scene.font);
    std::vector<std::pair<double, QImage>> previous;
    if (reuse)
        previous.swap(timeLabels_);
    timeLabels_.clear();
    auto kept = previous.begin();
    const double imageStart = originColumn_ * columnSeconds_;
    const double imageEnd = (originColumn_ + image_.width()) * columnSeconds_;
    for (double k = std::ceil(imageStart / step); k * step <= imageEnd; ++k) {
        const double t = k * step;
        while (kept != previous.end() && kept->first < t)
            ++kept;
        if (kept != previous.end() && kept->first == t) {
            timeLabels_.push_back(std::move(*kept));
            continue;
        }
        const QString text = QString::fromStdString(format.format(Instant(t)));
        QImage label(metrics.horizontalAdvance(text) + 4, MetricsGraphLayout::axisHeight - 4,
                     QImage::Format_ARGB32_Premultiplied);
        label.fill(Qt::transparent);
        QPainter painter(&label);
        painter.setFont(scene.font);
        painter.setPen(textColor);
        painter.drawText(label.rect(), Qt::AlignCenter, text);
        painter.end();
        timeLabels_.emplace_back(t, std::move(label));
    }
}

void MetricsGraphPlot::paint(QPainter& painter, const QRect& plot, Instant start) const {
    const int source = int(std::lround(xOf(start.secondsSinceReference())));
    painter.drawImage(plot.topLeft(), image_, QRect(source, 0, plot.width(), plot.height()));
}

void MetricsGraphPlot::paintTimeLabels(QPainter& painter, const MetricsGraphLayout& layout,
                                       const std::function<double(Instant)>& xAt,
                                       const QRectF& keepClear) const {
    const QRect plot = layout.plotRect();
    const int lanesBottom = layout.lanesBottom();
    painter.save();
    painter.setClipRect(QRect(plot.left(), lanesBottom, plot.width(), MetricsGraphLayout::axisHeight));
    for (const auto& [t, image] : timeLabels_) {
        const double left = std::round(xAt(Instant(t)) - image.width() / 2.0);
        if (left + image.width() < plot.left() || left > plot.right())
            continue;
        if (!keepClear.isEmpty() && left < keepClear.right() + 6 &&
            left + image.width() > keepClear.left() - 6)
            continue;
        painter.drawImage(QPointF(left, lanesBottom + 3), image);
    }
    painter.restore();
}
