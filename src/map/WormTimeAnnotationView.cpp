#include "map/WormTimeAnnotationView.h"

#include <QPainter>

WormTimeAnnotationView::WormTimeAnnotationView(const MapAnnotationViewStyle& style)
    : MapAnnotationView(style) {
    WormTimeAnnotationView::configure(style);
}

void WormTimeAnnotationView::configure(const MapAnnotationViewStyle& style) {
    MapAnnotationView::configure(style);
    color_ = qColor(style.color, style.alpha);
}

void WormTimeAnnotationView::paint(QPainter& painter, const MapAnnotation&) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(color_);
    painter.drawEllipse(QRectF(QPointF(0, 0), size()));
}
