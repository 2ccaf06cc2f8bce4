#pragma once

#include <QColor>
#include <QCoreApplication>
#include <QFont>
#include <QHash>
#include <QStaticText>

class MapViewport;
class QPainter;

// The chart drawn without any data: open sea, a graticule labelled in degrees and minutes at a
// step that suits the zoom, a scale bar and a north arrow. Tiles, when there are any, cover the
// sea and graticule; the scale bar and arrow are drawn on top of everything.
class OfflineBackground {
    Q_DECLARE_TR_FUNCTIONS(OfflineBackground)

public:
    OfflineBackground();

    static QColor seaColor() { return QColor(170, 211, 223); }

    void paintSea(QPainter& painter, const MapViewport& viewport) const;
    void paintGraticule(QPainter& painter, const MapViewport& viewport) const;
    void paintScaleBar(QPainter& painter, const MapViewport& viewport) const;
    void paintNorthArrow(QPainter& painter, const MapViewport& viewport) const;

    // The graticule step in degrees for a given width of one view point in degrees of longitude:
    // lines come at least about 100 view points apart.
    static double graticuleStep(double degreesPerViewPoint);
    // "54°30′N", "3°15′30″W"…
    static QString latitudeLabel(double latitude, double step);
    static QString longitudeLabel(double longitude, double step);
    // The length shown by the scale bar, in metres: the largest 1, 2 or 5 × 10ⁿ that fits.
    static double scaleBarMetres(double metresPerViewPoint, double maximumWidth);

private:
    // Laid-out labels by text: the graticule is redrawn whenever the camera moves, and text
    // layout would be most of that work.
    const QStaticText& label(const QString& text) const;
    void drawLabel(QPainter& painter, const QString& text, QPointF at, const QRectF& view) const;

    QFont labelFont_;
    mutable QHash<QString, QStaticText> labels_;
};
