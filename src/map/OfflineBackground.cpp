#include "map/OfflineBackground.h"

#include "map/MapViewport.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <optional>
#include <utility>

namespace {
constexpr double minimumLineSpacing = 100.0;
constexpr double labelMargin = 4.0;

// Cuts the infinite line through a and b to the rectangle (Liang–Barsky); none when it misses.
std::optional<std::pair<QPointF, QPointF>> clipLine(QPointF a, QPointF b, const QRectF& r) {
    double t0 = -1e9, t1 = 1e9;
    const double dx = b.x() - a.x(), dy = b.y() - a.y();
    const double p[] = {-dx, dx, -dy, dy};
    const double q[] = {a.x() - r.left(), r.right() - a.x(), a.y() - r.top(), r.bottom() - a.y()};
    for (int i = 0; i < 4; ++i) {
        if (p[i] == 0) {
            if (q[i] < 0)
                return std::nullopt;
            continue;
        }
        const double t = q[i] / p[i];
        if (p[i] < 0)
            t0 = std::max(t0, t);
        else
            t1 = std::min(t1, t);
    }
    if (t0 >= t1)
        return std::nullopt;
    return std::pair{QPointF(a.x() + t0 * dx, a.y() + t0 * dy), QPointF(a.x() + t1 * dx, a.y() + t1 * dy)};
}

QString angleLabel(double value, double step, QChar positive, QChar negative) {
    const QChar hemisphere = value < 0 ? negative : positive;
    const long totalSeconds = std::lround(std::abs(value) * 3600.0);
    const long degrees = totalSeconds / 3600;
    const long minutes = totalSeconds / 60 % 60;
    const long seconds = totalSeconds % 60;
    QString text = QString::number(degrees) + QChar(0x00B0);
    if (step < 1.0 - 1e-9)
        text += QString::number(minutes) + QChar(0x2032);
    if (step < 1.0 / 60.0 - 1e-9)
        text += QString::number(seconds) + QChar(0x2033);
    if (totalSeconds != 0)
        text += hemisphere;
    return text;
}

} // namespace

OfflineBackground::OfflineBackground() {
    labelFont_.setPointSizeF(8.0);
}

const QStaticText& OfflineBackground::label(const QString& text) const {
    auto found = labels_.find(text);
    if (found != labels_.end())
        return *found;
    // Labels differ by zoom and place; a long session must not keep them all.
    if (labels_.size() > 500)
        labels_.clear();
    QStaticText staticText(text);
    staticText.setTextFormat(Qt::PlainText);
    staticText.prepare(QTransform(), labelFont_);
    return *labels_.insert(text, staticText);
}

void OfflineBackground::drawLabel(QPainter& painter, const QString& text, QPointF at,
                                  const QRectF& view) const {
    const QStaticText& staticText = label(text);
    const QSizeF size = staticText.size();
    QRectF box(QPointF(0, 0), size);
    box.moveCenter(at);
    // Keep the whole label inside the view.
    box.moveLeft(
        std::clamp(box.left(), view.left() + labelMargin, view.right() - labelMargin - size.width()));
    box.moveTop(std::clamp(box.top(), view.top() + labelMargin, view.bottom() - labelMargin - size.height()));
    painter.drawStaticText(box.topLeft(), staticText);
}

double OfflineBackground::graticuleStep(double degreesPerViewPoint) {
    static const double steps[] = {1.0 / 3600, 2.0 / 3600, 5.0 / 3600, 10.0 / 3600, 20.0 / 3600, 30.0 / 3600,
                                   1.0 / 60,   2.0 / 60,   5.0 / 60,   10.0 / 60,   20.0 / 60,   30.0 / 60,
                                   1.0,        2.0,        5.0,        10.0,        30.0};
    for (double step : steps)
        if (step / degreesPerViewPoint >= minimumLineSpacing)
            return step;
    return steps[std::size(steps) - 1];
}

QString OfflineBackground::latitudeLabel(double latitude, double step) {
    return angleLabel(latitude, step, 'N', 'S');
}

QString OfflineBackground::longitudeLabel(double longitude, double step) {
    // Tracks are not normalised across the antimeridian; the label is.
    const double normalised = std::remainder(longitude, 360.0);
    return angleLabel(normalised == -180.0 ? 180.0 : normalised, step, 'E', 'W');
}

double OfflineBackground::scaleBarMetres(double metresPerViewPoint, double maximumWidth) {
    const double maximumMetres = metresPerViewPoint * maximumWidth;
    if (!(maximumMetres > 0) || !std::isfinite(maximumMetres))
        return 0;
    const double magnitude = std::pow(10.0, std::floor(std::log10(maximumMetres)));
    for (double factor : {5.0, 2.0, 1.0})
        if (factor * magnitude <= maximumMetres)
            return factor * magnitude;
    return magnitude;
}

void OfflineBackground::paintSea(QPainter& painter, const MapViewport& viewport) const {
    painter.fillRect(QRectF(QPointF(0, 0), viewport.viewSize()), seaColor());
}

void OfflineBackground::paintGraticule(QPainter& painter, const MapViewport& viewport) const {
    const QRectF view(QPointF(0, 0), viewport.viewSize());
    const QRectF bounds = viewport.visibleMapBounds();
    const MapCoordinate northWest = coordinate({bounds.left(), bounds.top()});
    const MapCoordinate southEast = coordinate({bounds.right(), bounds.bottom()});
    const double degreesPerViewPoint = viewport.mapPointsPerViewPoint() * 360.0 / mapWorldSize;
    const double step = graticuleStep(degreesPerViewPoint);
    const long firstMeridian = std::lround(std::ceil(northWest.longitude / step));
    const long lastMeridian = std::lround(std::floor(southEast.longitude / step));
    const long firstParallel = std::lround(std::ceil(southEast.latitude / step));
    const long lastParallel = std::lround(std::floor(northWest.latitude / step));
    if (lastMeridian - firstMeridian > 400 || lastParallel - firstParallel > 400)
        return;

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setFont(labelFont_);
    // The lines only ever lie on the sea: an opaque tint of it draws the same and blends faster.
    const QColor sea = seaColor();
    const QPen linePen(
        QColor((sea.red() + 2 * 255) / 3, (sea.green() + 2 * 255) / 3, (sea.blue() + 2 * 255) / 3), 1.0);
    const QColor labelColor(40, 70, 100);

    for (long i = firstMeridian; i <= lastMeridian; ++i) {
        const double longitude = double(i) * step;
        const double x = (longitude + 180.0) / 360.0 * mapWorldSize;
        const auto segment = clipLine(viewport.viewPoint(MapPoint{x, bounds.top()}),
                                      viewport.viewPoint(MapPoint{x, bounds.bottom()}), view);
        if (!segment)
            continue;
        painter.setPen(linePen);
        painter.drawLine(segment->first, segment->second);
        // Meridians are labelled where they leave the view at the bottom.
        const QPointF end = segment->first.y() > segment->second.y() ? segment->first : segment->second;
        painter.setPen(labelColor);
        drawLabel(painter, longitudeLabel(longitude, step), end, view);
    }
    for (long i = firstParallel; i <= lastParallel; ++i) {
        const double latitude = double(i) * step;
        const double y = mapPoint({latitude, 0}).y;
        const auto segment = clipLine(viewport.viewPoint(MapPoint{bounds.left(), y}),
                                      viewport.viewPoint(MapPoint{bounds.right(), y}), view);
        if (!segment)
            continue;
        painter.setPen(linePen);
        painter.drawLine(segment->first, segment->second);
        // Parallels are labelled at their left end.
        const QPointF end = segment->first.x() < segment->second.x() ? segment->first : segment->second;
        painter.setPen(labelColor);
        drawLabel(painter, latitudeLabel(latitude, step), end, view);
    }
    painter.restore();
}

void OfflineBackground::paintScaleBar(QPainter& painter, const MapViewport& viewport) const {
    constexpr double maximumWidth = 120.0;
    const double metresPerViewPoint = viewport.metresPerViewPoint();
    const double metres = scaleBarMetres(metresPerViewPoint, maximumWidth);
    if (metres <= 0)
        return;
    const double width = metres / metresPerViewPoint;
    const QString text = metres >= 1000 ? tr("%1 km").arg(metres / 1000.0) : tr("%1 m").arg(metres);
    const double left = 12.0;
    const double baseline = viewport.viewSize().height() - 14.0;

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setFont(labelFont_);
    const QFontMetricsF metrics(labelFont_);
    const QRectF textBox(left, baseline - 6 - metrics.height(),
                         std::max(width, metrics.horizontalAdvance(text)) + 4, metrics.height());
    painter.fillRect(textBox.united(QRectF(left - 3, baseline - 6, width + 6, 9)),
                     QColor(255, 255, 255, 150));
    painter.setPen(QPen(QColor(30, 30, 30), 2.0, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    const QPointF path[] = {
        {left, baseline - 5}, {left, baseline}, {left + width, baseline}, {left + width, baseline - 5}};
    painter.drawPolyline(path, 4);
    painter.drawText(textBox, Qt::AlignLeft | Qt::AlignVCenter, text);
    painter.restore();
}

void OfflineBackground::paintNorthArrow(QPainter& painter, const MapViewport& viewport) const {
    constexpr double radius = 15.0;
    const QPointF center(viewport.viewSize().width() - radius - 10.0, radius + 10.0);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.translate(center);
    painter.setPen(QPen(QColor(60, 60, 60, 200), 1.0));
    painter.setBrush(QColor(255, 255, 255, 190));
    painter.drawEllipse(QPointF(0, 0), radius, radius);
    // North is where the camera's heading is not: turn the arrow back by it.
    painter.rotate(-viewport.heading());
    QPainterPath north;
    north.moveTo(0, -radius + 3);
    north.lineTo(5, 2);
    north.lineTo(0, -1);
    north.lineTo(-5, 2);
    north.closeSubpath();
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(200, 30, 30));
    painter.drawPath(north);
    painter.setBrush(QColor(90, 90, 90));
    QPainterPath south;
    south.moveTo(0, radius - 3);
    south.lineTo(4, 2);
    south.lineTo(0, -1);
    south.lineTo(-4, 2);
    south.closeSubpath();
    painter.drawPath(south);
    painter.restore();
}
