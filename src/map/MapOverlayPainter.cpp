#include "map/MapOverlayPainter.h"

#include "map/MapAnnotationView.h"
#include "map/MapOverlayRenderer.h"
#include "map/MapViewDelegate.h"
#include "map/MapViewport.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

namespace {

// Points of a line closer than this to the last drawn one (view points) add nothing visible.
constexpr double minimumSegment = 0.5;
// The same for a line in many colours, which is drawn wider.
constexpr double minimumMulticolorSegment = 3.0;
// Qt strokes lines wider than a pixel through its general path filler, some twenty times slower
// than a hairline, and a fleet's tracks are tens of thousands of segments per frame: a wide line
// in many colours is three hairlines a little apart, about two pixels wide in any direction and
// covering its middle pixels fully, so that they show the colour itself.
constexpr QPointF hairlineBundle[] = {{-0.27, -0.27}, {0.53, -0.27}, {-0.27, 0.53}};

// Unlike QRectF::intersects, true for a box of no width or height: a line that runs straight
// across the view is still seen.
bool overlaps(const QRectF& view, double minX, double minY, double maxX, double maxY) {
    return maxX >= view.left() && minX <= view.right() && maxY >= view.top() && minY <= view.bottom();
}

} // namespace

void MapOverlayPainter::paint(QPainter& painter, const MapViewport& viewport,
                              const std::vector<MapOverlayPtr>& overlays, MapViewDelegate* delegate) {
    const QRectF view(QPointF(0, 0), viewport.viewSize());
    QPen pen;
    pen.setCapStyle(Qt::RoundCap);
    pen.setJoinStyle(Qt::RoundJoin);
    for (const MapOverlayPtr& overlay : overlays) {
        const MapOverlayRenderer renderer = delegate ? delegate->rendererFor(*overlay) : MapOverlayRenderer{};
        const double width = std::max(renderer.lineWidth, 0.0);
        pen.setWidthF(width);
        pen.setColor(MapAnnotationView::qColor(renderer.strokeColor, renderer.strokeAlpha));
        if (renderer.lineDashPattern.empty() || width <= 0) {
            pen.setStyle(Qt::SolidLine);
            pen.setCapStyle(Qt::RoundCap);
        } else {
            // The pattern is in view points; Qt counts it in line widths.
            QList<qreal> dashes;
            for (double length : renderer.lineDashPattern)
                dashes.append(std::max(length, 0.01) / width);
            if (dashes.size() % 2 == 1)
                dashes.append(dashes.back());
            pen.setDashPattern(dashes);
            pen.setCapStyle(Qt::FlatCap);
        }
        const bool stroked = width > 0;
        painter.setPen(stroked ? pen : QPen(Qt::NoPen));
        if (renderer.fillColor && overlay->kind() != MapOverlay::Kind::Polyline)
            painter.setBrush(MapAnnotationView::qColor(*renderer.fillColor, renderer.fillAlpha));
        else
            painter.setBrush(Qt::NoBrush);
        const double margin = width + 1.0;
        const QRectF visible = view.adjusted(-margin, -margin, margin, margin);

        if (overlay->kind() == MapOverlay::Kind::Circle) {
            const QPointF center = viewport.viewPoint(overlay->center());
            const double radius = overlay->radius() * mapPointsPerMetre(overlay->center().latitude) /
                                  viewport.mapPointsPerViewPoint();
            if (!std::isfinite(radius) || radius < 0 ||
                !overlaps(visible, center.x() - radius, center.y() - radius, center.x() + radius,
                          center.y() + radius))
                continue;
            painter.drawEllipse(center, radius, radius);
            continue;
        }

        const bool multicolor = overlay->kind() == MapOverlay::Kind::Polyline && stroked &&
                                renderer.vertexColorIndices && renderer.palette &&
                                renderer.vertexColorIndices->size() == overlay->points().size();
        if (!project(*overlay, viewport, visible, multicolor ? renderer.vertexColorIndices.get() : nullptr))
            continue;
        if (multicolor)
            paintMulticolorLine(painter, pen, width, *renderer.palette);
        else if (overlay->kind() == MapOverlay::Kind::Polygon)
            painter.drawPolygon(points_.data(), int(points_.size()));
        else
            painter.drawPolyline(points_.data(), int(points_.size()));
    }
    painter.setBrush(Qt::NoBrush);
}

bool MapOverlayPainter::project(const MapOverlay& overlay, const MapViewport& viewport, const QRectF& visible,
                                const std::vector<std::uint8_t>* colors) {
    const auto& coordinates = overlay.points();
    const double skip = colors ? minimumMulticolorSegment : minimumSegment;
    points_.clear();
    pointColors_.clear();
    double minX = 1e300, minY = 1e300, maxX = -1e300, maxY = -1e300;
    const std::size_t count = coordinates.size();
    for (std::size_t i = 0; i < count; ++i) {
        const QPointF p = viewport.viewPoint(coordinates[i]);
        if (!std::isfinite(p.x()) || !std::isfinite(p.y()))
            continue;
        // Dense tracks put many samples into one pixel; only the last point must stay exact.
        if (!points_.empty() && i + 1 < count && std::abs(p.x() - points_.back().x()) < skip &&
            std::abs(p.y() - points_.back().y()) < skip)
            continue;
        points_.push_back(p);
        if (colors)
            pointColors_.push_back((*colors)[i]);
        minX = std::min(minX, p.x());
        maxX = std::max(maxX, p.x());
        minY = std::min(minY, p.y());
        maxY = std::max(maxY, p.y());
    }
    return points_.size() >= 2 && overlaps(visible, minX, minY, maxX, maxY);
}

void MapOverlayPainter::paintMulticolorLine(QPainter& painter, QPen& pen, double width,
                                            const std::vector<std::uint32_t>& palette) {
    pen.setWidthF(std::min(width, 1.0));
    const QTransform base = painter.transform();
    const int passes = width > 1.0 ? 3 : 1;
    for (int pass = 0; pass < passes; ++pass) {
        if (passes > 1)
            painter.setTransform(
                QTransform(base).translate(hairlineBundle[pass].x(), hairlineBundle[pass].y()));
        // Runs of one colour are drawn as one polyline each, from the vertex where the colour
        // starts to the one where the next begins.
        for (std::size_t first = 0; first + 1 < points_.size();) {
            std::size_t last = first + 1;
            while (last + 1 < points_.size() && pointColors_[last] == pointColors_[first])
                ++last;
            if (const std::size_t color = pointColors_[first]; color < palette.size()) {
                pen.setColor(QColor::fromRgba(palette[color]));
                painter.setPen(pen);
                painter.drawPolyline(points_.data() + first, int(last - first + 1));
            }
            first = last;
        }
    }
    painter.setTransform(base);
}
