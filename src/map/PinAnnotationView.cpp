#include "map/PinAnnotationView.h"

#include <QPainter>
#include <QSvgRenderer>

namespace {
MapAnnotationViewStyle withPinFrame(MapAnnotationViewStyle style) {
    if (style.width <= 0 || style.height <= 0) {
        style.width = PinAnnotationView::defaultWidth;
        style.height = PinAnnotationView::defaultHeight;
    }
    // The tip, at the bottom centre of the image, marks the point.
    if (style.centerOffsetX == 0 && style.centerOffsetY == 0)
        style.centerOffsetY = style.height * 0.5;
    return style;
}
} // namespace

PinAnnotationView::PinAnnotationView(const MapAnnotationViewStyle& style)
    : MapAnnotationView(withPinFrame(style)) {
    PinAnnotationView::configure(style);
}

void PinAnnotationView::configure(const MapAnnotationViewStyle& style) {
    MapAnnotationView::configure(withPinFrame(style));
    const QString name = style.imageName.isEmpty() ? QStringLiteral("YellowPin") : style.imageName;
    if (name != imageName_)
        image_ = QImage();
    imageName_ = name;
}

void PinAnnotationView::paint(QPainter& painter, const MapAnnotation&) {
    const QRectF frame(QPointF(0, 0), size());
    const qreal ratio = painter.device() ? painter.device()->devicePixelRatioF() : 1.0;
    const QSize pixels = (size() * ratio).toSize();
    if (image_.isNull() || image_.size() != pixels) {
        image_ = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
        image_.fill(Qt::transparent);
        image_.setDevicePixelRatio(ratio);
        QSvgRenderer renderer(QStringLiteral(":/images/%1.svg").arg(imageName_));
        if (renderer.isValid()) {
            QPainter imagePainter(&image_);
            imagePainter.setRenderHint(QPainter::Antialiasing, true);
            renderer.render(&imagePainter, frame);
        }
    }
    painter.drawImage(frame, image_);
}
