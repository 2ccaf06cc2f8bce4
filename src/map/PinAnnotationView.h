#pragma once

#include "map/MapAnnotationView.h"

#include <QImage>

// A map pin from an SVG image resource, drawn with its tip on the point. The image is rendered
// once at the size and pixel ratio in use.
class PinAnnotationView : public MapAnnotationView {
public:
    explicit PinAnnotationView(const MapAnnotationViewStyle& style);

    static constexpr double defaultWidth = 24.0;
    static constexpr double defaultHeight = 36.0;

    void configure(const MapAnnotationViewStyle& style) override;
    void paint(QPainter& painter, const MapAnnotation& annotation) override;

private:
    QString imageName_;
    QImage image_;
};
