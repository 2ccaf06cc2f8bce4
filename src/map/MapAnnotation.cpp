#include "map/MapAnnotation.h"

#include "map/MapScene.h"

void MapAnnotation::setCoordinate(MapCoordinate coordinate) {
    coordinate_ = coordinate;
    changed();
}

void MapAnnotation::changed() {
    if (scene_)
        scene_->contentChanged();
}

void HeadingAnnotation::setHeading(double heading) {
    heading_ = heading;
    changed();
}

void WindAnnotation::setWindSpeed(double knots) {
    windSpeed_ = knots;
    changed();
}
