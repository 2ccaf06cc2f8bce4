#include "timeline/TimelineView.h"

#include "core/DateFormat.h"
#include "document/Document.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "race/Race.h"
#include "timeline/TimelineViewDelegate.h"

#include <QMouseEvent>
#include <QPainter>
#include <QSvgRenderer>
#include <algorithm>
#include <cmath>

namespace {

// Made once: the view repaints on every playback tick.
const QColor backgroundColor(85, 85, 85);
const QColor topEdgeColor(0, 0, 0);
const QColor manoeuvreColor(170, 170, 170);
const QColor longMarkColor(255, 255, 255);
const QColor playbackColor(255, 0, 0);
const QColor textColor(170, 170, 170);
const QColor tickMarkColor(170, 170, 170, 110);
// Blue blended with white at 0.3.
const QColor assetColor(77, 77, 255);
// Translucent, so that the tack and gybe marks drawn over them stay clear.
const QColor upwindColor(230, 130, 50, 110);
const QColor downwindColor(77, 77, 255, 120);
const QColor reachingColor(90, 190, 90, 110);
const QColor unknownLegColor(150, 150, 150, 70);

const QColor& legColor(SailingLegType type) {
    switch (type) {
    case SailingLegType::Upwind:
        return upwindColor;
    case SailingLegType::Downwind:
        return downwindColor;
    case SailingLegType::Reaching:
        return reachingColor;
    case SailingLegType::Unknown:
        break;
    }
    return unknownLegColor;
}

constexpr double tickIntervals[] = {300.0, 900.0, 3600.0, 21600.0};
constexpr double dayInterval = 86400.0;
const std::string clockPattern = "HH:mm";
const std::string datePattern = "yyyy-MM-dd";
const std::string positionPattern = "HH:mm:ss.S";
// A label is centred on its tick in a box this wide and high.
constexpr double labelWidth = 80.0;
constexpr double labelHeight = 20.0;
constexpr double labelBottom = 5.0;
// A range so long that its ticks would be a smear of lines is shown without ticks.
constexpr double maximumTickCount = 100000.0;

QString iconPath(const QString& name) {
    return QStringLiteral(":/images/%1.svg").arg(name);
}

} // namespace

TimelineView::TimelineView(QWidget* parent)
    : QWidget(parent), droneIcon_(new QSvgRenderer(iconPath("DroneIcon"), this)),
      boatIcon_(new QSvgRenderer(iconPath("BoatAssetIcon"), this)),
      photoIcon_(new QSvgRenderer(iconPath("PhotoAssetIcon"), this)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

TimelineView::~TimelineView() = default;

TimelineView::TickScale TimelineView::tickScale(double width, Instant start, Instant end) {
    double seconds = end - start;
    if (!(seconds > 0.0) || !(width > 0.0))
        return {dayInterval, datePattern};
    double scale = width / seconds;
    for (double interval : tickIntervals)
        if (interval * scale >= minimumTickSpacing)
            return {interval, clockPattern};
    return {dayInterval, datePattern};
}

std::vector<Instant> TimelineView::tickTimes(Instant start, Instant end, double interval) {
    std::vector<Instant> times;
    if (!(interval > 0.0) || !(end > start) || (end - start) / interval > maximumTickCount)
        return times;
    // Counted from the reference date, not from local midnight, so that ticks sit on the same
    // instants whatever the event's time zone.
    double first = std::ceil(start.secondsSinceReference() / interval) * interval;
    for (double t = first; t < end.secondsSinceReference(); t += interval)
        times.emplace_back(t);
    return times;
}

QString TimelineView::iconNameForGroup(const QString& groupName) {
    if (groupName == QLatin1String("Drone"))
        return QStringLiteral("DroneIcon");
    if (groupName == QLatin1String("Boat"))
        return QStringLiteral("BoatAssetIcon");
    if (groupName == QLatin1String("Other"))
        return QStringLiteral("PhotoAssetIcon");
    return {};
}

void TimelineView::setDocument(Document* document) {
    document_ = document;
    update();
}

void TimelineView::setAssets(std::vector<std::shared_ptr<MediaAsset>> assets) {
    assets_ = std::move(assets);
    update();
}

void TimelineView::setTimeRange(Instant start, Instant end) {
    startTime_ = start;
    endTime_ = end;
    update();
}

void TimelineView::setPlaybackTime(std::optional<Instant> time) {
    playbackTime_ = time;
    update();
}

void TimelineView::setLegs(std::vector<SailingLeg> legs) {
    legs_ = std::move(legs);
    update();
}

void TimelineView::setTacks(std::vector<Instant> tacks) {
    tacks_ = std::move(tacks);
    update();
}

void TimelineView::setGybes(std::vector<Instant> gybes) {
    gybes_ = std::move(gybes);
    update();
}

bool TimelineView::hasTimeRange() const {
    double seconds = endTime_ - startTime_;
    return seconds > 0.0 && std::isfinite(seconds) && width() > 0;
}

double TimelineView::pixelsPerSecond() const {
    return hasTimeRange() ? width() / (endTime_ - startTime_) : 0.0;
}

double TimelineView::xAt(Instant time) const {
    return (time - startTime_) * pixelsPerSecond();
}

Instant TimelineView::timeAt(double x) const {
    if (!hasTimeRange())
        return startTime_;
    return startTime_ + (x / width()) * (endTime_ - startTime_);
}

QRect TimelineView::visibleArea() const {
    // Inside a scroll area only part of the view shows; drawn off screen, all of it counts.
    if (isVisible()) {
        QRect visible = visibleRegion().boundingRect();
        if (!visible.isEmpty())
            return visible;
    }
    return rect();
}

std::vector<TimelineView::Tick> TimelineView::ticks() const {
    std::vector<Tick> ticks;
    if (!hasTimeRange())
        return ticks;
    TickScale scale = tickScale(width(), startTime_, endTime_);
    QRect visible = visibleArea();
    std::optional<double> playbackX;
    if (playbackTime_)
        playbackX = xAt(*playbackTime_);
    for (Instant time : tickTimes(startTime_, endTime_, scale.interval)) {
        double x = xAt(time);
        bool labelled = x + 20.0 >= visible.left() && x - 20.0 <= visible.left() + visible.width();
        // The playback label sits at the same height and wins.
        if (playbackX && std::abs(x - *playbackX) < minimumTickSpacing)
            labelled = false;
        ticks.push_back({time, x, labelled});
    }
    return ticks;
}

double TimelineView::rowHeight() const {
    if (!document_ || document_->mediaGroups().empty())
        return 0.0;
    return (height() - rowsBottom - 5.0) / static_cast<double>(document_->mediaGroups().size());
}

QRectF TimelineView::rowRect(int index) const {
    double r = rowHeight();
    if (r <= 0.0 || index < 0 || index >= static_cast<int>(document_->mediaGroups().size()))
        return {};
    // Row k spans h - 5 - (k + 1) r to h - 5 - k r above the bottom, the first row at the top.
    return QRectF(0.0, 5.0 + index * r, width(), r);
}

QRectF TimelineView::iconRect(int index) const {
    QRectF row = rowRect(index);
    if (row.isEmpty())
        return {};
    double s = std::min(20.0, 0.8 * row.height());
    return QRectF(5.0, row.top() + row.height() / 2.0 - s / 2.0, s, s);
}

QSize TimelineView::sizeHint() const {
    return {600, 130};
}

QSize TimelineView::minimumSizeHint() const {
    return {200, 110};
}

const DateFormat& TimelineView::formatFor(const std::string& pattern) const {
    TimeZone zone = document_ ? document_->eventTimezone() : TimeZone::current();
    if (zone.identifier() != formatsZone_) {
        formats_.clear();
        formatsZone_ = zone.identifier();
    }
    for (const auto& [p, format] : formats_)
        if (p == pattern)
            return *format;
    formats_.emplace_back(pattern, std::make_unique<DateFormat>(pattern, zone));
    return *formats_.back().second;
}

QSvgRenderer* TimelineView::iconRenderer(const QString& name) const {
    if (name == QLatin1String("DroneIcon"))
        return droneIcon_;
    if (name == QLatin1String("BoatAssetIcon"))
        return boatIcon_;
    if (name == QLatin1String("PhotoAssetIcon"))
        return photoIcon_;
    return nullptr;
}

void TimelineView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const double w = width();
    const double h = height();
    // Heights below are measured upward from the bottom edge; this turns one into a widget y.
    auto yUp = [h](double height) { return h - height; };
    QRect visible = visibleArea();
    QFont font = painter.font();
    font.setPixelSize(11);
    painter.setFont(font);

    painter.fillRect(rect(), backgroundColor);
    painter.setPen(QPen(topEdgeColor, 1));
    painter.drawLine(QPointF(0.0, 0.5), QPointF(w, 0.5));

    const bool timed = hasTimeRange();
    auto showsTime = [this](Instant t) { return t >= startTime_ && t <= endTime_; };

    if (timed) {
        for (const SailingLeg& leg : legs_) {
            if (leg.end < startTime_ || leg.start > endTime_)
                continue;
            double x1 = std::max(0.0, xAt(leg.start));
            double x2 = std::min(w, xAt(leg.end));
            painter.fillRect(QRectF(x1, yUp(marksTop), std::max(1.0, x2 - x1), marksTop - marksBottom),
                             legColor(leg.type));
        }

        TickScale scale = tickScale(w, startTime_, endTime_);
        const DateFormat& tickFormat = formatFor(scale.pattern);
        for (const Tick& tick : ticks()) {
            painter.setPen(tickMarkColor);
            painter.drawLine(QPointF(tick.x, yUp(marksBottom)), QPointF(tick.x, yUp(marksBottom + 5.0)));
            if (!tick.labelled)
                continue;
            painter.setPen(textColor);
            QRectF box(tick.x - labelWidth / 2.0, yUp(labelBottom + labelHeight), labelWidth, labelHeight);
            painter.drawText(box, Qt::AlignCenter, QString::fromStdString(tickFormat.format(tick.time)));
        }
    }

    double r = rowHeight();
    if (r > 0.0) {
        const auto& groups = document_->mediaGroups();
        for (int k = 0; k < static_cast<int>(groups.size()); ++k) {
            QRectF row = rowRect(k);
            if (timed) {
                double inset = std::max(1.0, std::floor(row.height() * 0.15));
                for (const auto& asset : assets_) {
                    if (!asset || asset->mediaGroup() != groups[k])
                        continue;
                    double x1 = xAt(asset->startTime());
                    double x2 = xAt(asset->endTime());
                    if (x2 < 0.0 || x1 > w)
                        continue;
                    // A photo is an instant; it still needs a visible mark.
                    painter.fillRect(
                        QRectF(x1, row.top() + inset, std::max(2.0, x2 - x1), row.height() - 2 * inset),
                        assetColor);
                }
            }
            QRectF icon = iconRect(k);
            if (visible.left() < icon.width() + 5.0) {
                if (QSvgRenderer* renderer = iconRenderer(iconNameForGroup(groups[k]->name));
                    renderer && renderer->isValid())
                    renderer->render(&painter, icon);
            }
            if (visible.left() < 100) {
                painter.setPen(textColor);
                painter.drawText(QRectF(icon.width() + 10.0, row.top(), 200.0, row.height()),
                                 Qt::AlignLeft | Qt::AlignVCenter, groups[k]->name);
            }
        }
    }

    if (!timed)
        return;

    painter.setPen(QPen(manoeuvreColor, 1));
    for (const auto* times : {&tacks_, &gybes_})
        for (Instant t : *times)
            if (showsTime(t))
                painter.drawLine(QPointF(xAt(t), yUp(marksBottom)), QPointF(xAt(t), yUp(marksTop)));

    // Race starts cross the whole view, rows included.
    if (document_) {
        painter.setPen(QPen(longMarkColor, 1));
        for (const auto& race : document_->races())
            if (showsTime(race->time()))
                painter.drawLine(QPointF(xAt(race->time()), yUp(marksBottom)),
                                 QPointF(xAt(race->time()), 5.0));
    }

    if (playbackTime_) {
        double x = xAt(*playbackTime_);
        painter.setPen(QPen(playbackColor, 1));
        painter.drawLine(QPointF(x, yUp(playbackLineBottom)), QPointF(x, 0.0));
        painter.setPen(longMarkColor);
        QRectF box(x - labelWidth / 2.0, yUp(labelBottom + labelHeight), labelWidth, labelHeight);
        painter.drawText(box, Qt::AlignCenter,
                         QString::fromStdString(formatFor(positionPattern).format(*playbackTime_)));
    }
}

void TimelineView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    seekTo(event->position().x());
}

void TimelineView::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton)) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    seekTo(event->position().x());
}

void TimelineView::seekTo(double x) {
    if (!hasTimeRange())
        return;
    // A drag past either end holds at that end rather than leaving the shown range.
    Instant t = timeAt(std::clamp(x, 0.0, static_cast<double>(width())));
    setPlaybackTime(t);
    if (delegate_)
        delegate_->timelineViewDidSeek(this, t);
    else if (document_)
        document_->setPlaybackPosition(t, true);
}
