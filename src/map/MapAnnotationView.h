#pragma once

#include "map/MapAnnotationViewStyle.h"

#include <QColor>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <memory>

class MapAnnotation;
class QPainter;

// Draws one point annotation. Views are light objects painted straight into the map's frame:
// twenty boats bring eighty of them, which child widgets would make slow to move every tick.
// Annotation views stay upright when the map turns.
class MapAnnotationView {
public:
    explicit MapAnnotationView(const MapAnnotationViewStyle& style);
    virtual ~MapAnnotationView() = default;

    // A view of the kind the description asks for.
    static std::unique_ptr<MapAnnotationView> make(const MapAnnotationViewStyle& style);

    const QString& reuseIdentifier() const { return reuseIdentifier_; }
    QSizeF size() const { return size_; }
    // Where the centre sits relative to the annotation's view point, y down.
    QPointF centerOffset() const { return centerOffset_; }
    // The frame for an annotation at `point` in the map's view.
    QRectF frameAt(QPointF point) const;
    // Takes the look of another description of the same kind, as a reused view does.
    virtual void configure(const MapAnnotationViewStyle& style);

    // Draws into the view's own coordinates: origin at the frame's top left, y down.
    virtual void paint(QPainter& painter, const MapAnnotation& annotation) = 0;

    static QColor qColor(const RgbColor& color, double alpha = 1.0);

private:
    QString reuseIdentifier_;
    QSizeF size_;
    QPointF centerOffset_;
};
