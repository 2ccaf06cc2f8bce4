#include "map/BoatLabelAnnotationView.h"

#include <QPainter>

BoatLabelAnnotationView::BoatLabelAnnotationView(const MapAnnotationViewStyle& style)
    : MapAnnotationView(style) {
    font_.setBold(true);
    font_.setPixelSize(int(fontSize));
    text_.setTextFormat(Qt::PlainText);
    text_.setPerformanceHint(QStaticText::AggressiveCaching);
    BoatLabelAnnotationView::configure(style);
}

void BoatLabelAnnotationView::configure(const MapAnnotationViewStyle& style) {
    MapAnnotationView::configure(style);
    color_ = qColor(style.color, style.alpha);
    if (style.title != title_) {
        title_ = style.title;
        text_.setText(title_);
        text_.prepare(QTransform(), font_);
    }
}

void BoatLabelAnnotationView::paint(QPainter& painter, const MapAnnotation&) {
    if (title_.isEmpty())
        return;
    painter.setFont(font_);
    painter.setPen(color_);
    // Centred on the frame; a name wider than the frame spills over both sides evenly.
    const QSizeF textSize = text_.size();
    painter.drawStaticText(
        QPointF((size().width() - textSize.width()) * 0.5, (size().height() - textSize.height()) * 0.5),
        text_);
}
