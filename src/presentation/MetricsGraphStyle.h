#pragma once

#include "metrics/Boat.h"

#include <QColor>
#include <QFont>

// The colours and type of the metrics graph, made once: the graph repaints on every playback tick.
// The greys and marks follow the timeline's.
namespace MetricsGraphStyle {

inline const QColor backgroundColor(66, 66, 66);
inline const QColor laneColor(44, 44, 44);
inline const QColor gridColor(62, 62, 62);
inline const QColor timeGridColor(54, 54, 54);
inline const QColor textColor(170, 170, 170);
inline const QColor titleColor(220, 220, 220);
inline const QColor manoeuvreColor(170, 170, 170);
inline const QColor raceStartColor(255, 255, 255);
inline const QColor playbackColor(255, 0, 0);
inline const QColor positionLabelColor(30, 30, 30);

inline double luminance(const QColor& color) {
    return 0.299 * color.redF() + 0.587 * color.greenF() + 0.114 * color.blueF();
}

// A boat colour too dark to read on the lanes is drawn in a lighter shade of itself.
inline QColor lineColor(const Boat& boat) {
    const RgbColor rgb = boat.color();
    const QColor color = QColor::fromRgbF(float(rgb.red), float(rgb.green), float(rgb.blue));
    return luminance(color) < 0.2 ? color.lighter(250) : color;
}

inline QFont smallFont(const QFont& base, bool bold = false) {
    QFont font = base;
    font.setPixelSize(11);
    font.setBold(bold);
    return font;
}

} // namespace MetricsGraphStyle
