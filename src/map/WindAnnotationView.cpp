#include "map/WindAnnotationView.h"

#include "map/MapAnnotation.h"

#include <QPainter>
#include <QPen>
#include <cmath>
#include <numbers>

namespace {
constexpr double radiansPerDegree = std::numbers::pi / 180.0;
// A speed beyond reason (a corrupt log) must not turn into an endless row of barbs.
constexpr int maximumBarbs = 20;
} // namespace

QPainterPath WindAnnotationView::barbPath(QSizeF size, double heading, double windSpeed) {
    const double cx = size.width() * 0.5;
    const double cy = size.height() * 0.5;
    const double r = size.height() * 0.5 - 10.0;
    const double theta = heading * radiansPerDegree;
    const double barbAngle = theta + 60.0 * radiansPerDegree;
    // The barb is drawn with y up (heading 0 points down the screen); this view's y runs down,
    // so every y step changes sign.
    QPainterPath path;
    path.moveTo(cx, cy);
    path.lineTo(cx + std::sin(theta) * r, cy + std::cos(theta) * r);
    double s = windSpeed;
    for (int i = 0; s > 0 && i < maximumBarbs; ++i) {
        const double along = r - 5.0 * i;
        const QPointF p(cx + std::sin(theta) * along, cy + std::cos(theta) * along);
        const double length = std::min(s, 10.0);
        path.moveTo(p);
        path.lineTo(p.x() + std::sin(barbAngle) * length, p.y() + std::cos(barbAngle) * length);
        s -= 10.0;
    }
    return path;
}

void WindAnnotationView::paint(QPainter& painter, const MapAnnotation& annotation) {
    const auto* wind = dynamic_cast<const WindAnnotation*>(&annotation);
    const auto* heading = dynamic_cast<const HeadingAnnotation*>(&annotation);
    const double h = heading ? heading->heading() : 0.0;
    const double speed = wind ? wind->windSpeed() : 0.0;
    // Rebuilt only when the wind changed, which is rarely every tick.
    if (h != pathHeading_ || speed != pathSpeed_) {
        path_ = barbPath(size(), h, speed);
        pathHeading_ = h;
        pathSpeed_ = speed;
    }
    static const QPen pen(QBrush(Qt::black), 2.0, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(path_);
}
