#pragma once

#include "core/RgbColor.h"

#include <QString>

// What the view of an annotation looks like, as data; the map widget draws it.
struct MapAnnotationViewStyle {
    enum class Kind {
        Wind,      // a wind barb from the WindAnnotation's heading and speed, 80 × 80 points
        WormTime,  // a filled dot in `color`
        BoatLabel, // `title` in bold 12 pt in `color`
        Pin,       // a map pin drawn from the image `imageName`, its tip on the point
    };

    Kind kind = Kind::Pin;
    // Views with the same identifier are interchangeable; the widget may recycle them.
    QString reuseIdentifier;
    // Frame in view points.
    double width = 0;
    double height = 0;
    // Where the view's centre sits relative to the annotation's point, in view points, with y
    // growing UPWARDS: (0, 20) puts the centre 20 points above the point. A y-down widget draws
    // the centre at (point.x + centerOffsetX, point.y - centerOffsetY).
    double centerOffsetX = 0;
    double centerOffsetY = 0;
    RgbColor color;
    double alpha = 1.0;
    QString title;
    // For Pin: the name of the image resource.
    QString imageName;
};
