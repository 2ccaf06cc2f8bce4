#pragma once

#include "map/MapAnnotationView.h"

// A dot where the boat will be a given time ahead.
class WormTimeAnnotationView : public MapAnnotationView {
public:
    explicit WormTimeAnnotationView(const MapAnnotationViewStyle& style);

    QColor color() const { return color_; }
    void configure(const MapAnnotationViewStyle& style) override;
    void paint(QPainter& painter, const MapAnnotation& annotation) override;

private:
    QColor color_ = Qt::gray;
};
