#include "map/MapAnnotationView.h"

#include "map/BoatLabelAnnotationView.h"
#include "map/PinAnnotationView.h"
#include "map/WindAnnotationView.h"
#include "map/WormTimeAnnotationView.h"

#include <algorithm>

MapAnnotationView::MapAnnotationView(const MapAnnotationViewStyle& style) {
    MapAnnotationView::configure(style);
}

std::unique_ptr<MapAnnotationView> MapAnnotationView::make(const MapAnnotationViewStyle& style) {
    switch (style.kind) {
    case MapAnnotationViewStyle::Kind::Wind:
        return std::make_unique<WindAnnotationView>(style);
    case MapAnnotationViewStyle::Kind::WormTime:
        return std::make_unique<WormTimeAnnotationView>(style);
    case MapAnnotationViewStyle::Kind::BoatLabel:
        return std::make_unique<BoatLabelAnnotationView>(style);
    case MapAnnotationViewStyle::Kind::Pin:
        break;
    }
    return std::make_unique<PinAnnotationView>(style);
}

void MapAnnotationView::configure(const MapAnnotationViewStyle& style) {
    reuseIdentifier_ = style.reuseIdentifier;
    size_ = QSizeF(std::max(0.0, style.width), std::max(0.0, style.height));
    // The description counts y upwards.
    centerOffset_ = QPointF(style.centerOffsetX, -style.centerOffsetY);
}

QRectF MapAnnotationView::frameAt(QPointF point) const {
    QRectF frame(QPointF(0, 0), size_);
    frame.moveCenter(point + centerOffset_);
    return frame;
}

QColor MapAnnotationView::qColor(const RgbColor& color, double alpha) {
    return QColor::fromRgbF(float(std::clamp(color.red, 0.0, 1.0)), float(std::clamp(color.green, 0.0, 1.0)),
                            float(std::clamp(color.blue, 0.0, 1.0)), float(std::clamp(alpha, 0.0, 1.0)));
}
