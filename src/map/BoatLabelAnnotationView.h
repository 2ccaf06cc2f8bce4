#pragma once

#include "map/MapAnnotationView.h"

#include <QFont>
#include <QStaticText>

// A boat's short name in bold, centred over the boat. The laid-out text is kept between frames.
class BoatLabelAnnotationView : public MapAnnotationView {
public:
    explicit BoatLabelAnnotationView(const MapAnnotationViewStyle& style);

    static constexpr double fontSize = 12.0;

    const QString& title() const { return title_; }
    QColor color() const { return color_; }
    void configure(const MapAnnotationViewStyle& style) override;
    void paint(QPainter& painter, const MapAnnotation& annotation) override;

private:
    QString title_;
    QColor color_ = Qt::darkGray;
    QFont font_;
    QStaticText text_;
};
