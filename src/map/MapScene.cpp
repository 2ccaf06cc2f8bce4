#include "map/MapScene.h"

#include <algorithm>
#include <cmath>
#include <numbers>

MapScene::~MapScene() {
    for (const auto& annotation : annotations_)
        annotation->scene_ = nullptr;
}

void MapScene::insertOverlay(MapOverlayPtr overlay, std::size_t index) {
    if (!overlay || containsOverlay(overlay.get()))
        return;
    index = std::min(index, overlays_.size());
    overlays_.insert(overlays_.begin() + static_cast<std::ptrdiff_t>(index), std::move(overlay));
    contentChanged();
}

void MapScene::addOverlay(MapOverlayPtr overlay) {
    insertOverlay(std::move(overlay), overlays_.size());
}

void MapScene::removeOverlay(const MapOverlayPtr& overlay) {
    auto index = indexOfOverlay(overlay.get());
    if (!index)
        return;
    overlays_.erase(overlays_.begin() + static_cast<std::ptrdiff_t>(*index));
    contentChanged();
}

std::optional<std::size_t> MapScene::indexOfOverlay(const MapOverlay* overlay) const {
    if (!overlay)
        return std::nullopt;
    // From the top: the overlays that come and go every update (outlines, laylines) sit there.
    for (std::size_t i = overlays_.size(); i-- > 0;)
        if (overlays_[i].get() == overlay)
            return i;
    return std::nullopt;
}

void MapScene::addAnnotation(MapAnnotationPtr annotation) {
    if (!annotation || containsAnnotation(annotation.get()))
        return;
    annotation->scene_ = this;
    annotations_.push_back(std::move(annotation));
    contentChanged();
}

void MapScene::removeAnnotation(const MapAnnotationPtr& annotation) {
    auto found = std::find(annotations_.begin(), annotations_.end(), annotation);
    if (!annotation || found == annotations_.end())
        return;
    annotation->scene_ = nullptr;
    annotations_.erase(found);
    contentChanged();
}

bool MapScene::containsAnnotation(const MapAnnotation* annotation) const {
    return annotation && annotation->scene_ == this;
}

void MapScene::setViewSize(double width, double height) {
    width = std::isfinite(width) ? std::max(width, 0.0) : 0.0;
    height = std::isfinite(height) ? std::max(height, 0.0) : 0.0;
    if (width == viewWidth_ && height == viewHeight_)
        return;
    viewWidth_ = width;
    viewHeight_ = height;
    cameraChanged(false);
}

void MapScene::setCenter(MapCoordinate center, bool animated) {
    if (!std::isfinite(center.latitude) || !std::isfinite(center.longitude))
        return;
    center_ = center;
    cameraChanged(animated);
}

void MapScene::setCameraHeading(double heading, bool animated) {
    if (!std::isfinite(heading))
        return;
    heading = std::fmod(heading, 360.0);
    if (heading < 0)
        heading += 360.0;
    // fmod of a tiny negative angle rounds up to exactly 360.
    if (heading >= 360.0)
        heading = 0.0;
    heading_ = heading;
    cameraChanged(animated);
}

MapRegion MapScene::region() const {
    const MapPoint c = mapPoint(center_);
    const double halfHeight = visibleMapHeight() * 0.5;
    const double north = coordinate({c.x, c.y - halfHeight}).latitude;
    const double south = coordinate({c.x, c.y + halfHeight}).latitude;
    return {center_, north - south, visibleMapWidth() / mapWorldSize * 360.0};
}

void MapScene::setRegion(MapCoordinate center, double metresNorthSouth, double metresEastWest,
                         bool animated) {
    if (!std::isfinite(center.latitude) || !std::isfinite(center.longitude))
        return;
    center_ = center;
    if (viewWidth_ > 0 && viewHeight_ > 0) {
        const double perMetre = mapPointsPerMetre(center.latitude);
        const double scale =
            std::max(metresEastWest * perMetre / viewWidth_, metresNorthSouth * perMetre / viewHeight_);
        if (std::isfinite(scale) && scale > 0)
            mapPointsPerViewPoint_ =
                std::clamp(scale, minimumMapPointsPerViewPoint, maximumMapPointsPerViewPoint);
    }
    cameraChanged(animated);
}

void MapScene::setMapPointsPerViewPoint(double scale) {
    if (!std::isfinite(scale) || scale <= 0)
        return;
    mapPointsPerViewPoint_ = std::clamp(scale, minimumMapPointsPerViewPoint, maximumMapPointsPerViewPoint);
    cameraChanged(false);
}

void MapScene::zoomBy(double factor) {
    if (!std::isfinite(factor) || factor <= 0)
        return;
    setMapPointsPerViewPoint(mapPointsPerViewPoint_ / factor);
}

int MapScene::zoomLevel() const {
    if (viewWidth_ == 0)
        return 20;
    const double r = visibleMapWidth() / viewWidth_;
    if (r > 0)
        return 20 - static_cast<int>(std::ceil(std::log2(r)));
    return 20;
}

QPointF MapScene::viewPoint(MapCoordinate c) const {
    const MapPoint p = mapPoint(c);
    const MapPoint o = mapPoint(center_);
    const double dx = (p.x - o.x) / mapPointsPerViewPoint_;
    const double dy = (p.y - o.y) / mapPointsPerViewPoint_;
    // The camera heading points up: turn the map by -heading.
    const double a = -heading_ * std::numbers::pi / 180.0;
    const double cosA = std::cos(a);
    const double sinA = std::sin(a);
    return {viewWidth_ * 0.5 + dx * cosA - dy * sinA, viewHeight_ * 0.5 + dx * sinA + dy * cosA};
}

MapCoordinate MapScene::coordinateAt(QPointF v) const {
    const double vx = v.x() - viewWidth_ * 0.5;
    const double vy = v.y() - viewHeight_ * 0.5;
    const double a = heading_ * std::numbers::pi / 180.0;
    const double cosA = std::cos(a);
    const double sinA = std::sin(a);
    const MapPoint o = mapPoint(center_);
    const double dx = (vx * cosA - vy * sinA) * mapPointsPerViewPoint_;
    const double dy = (vx * sinA + vy * cosA) * mapPointsPerViewPoint_;
    return coordinate({o.x + dx, o.y + dy});
}

void MapScene::contentChanged() {
    ++revision_;
    notify();
}

void MapScene::cameraChanged(bool animated) {
    ++revision_;
    lastChangeAnimated_ = animated;
    notify();
}

void MapScene::notify() {
    if (batchDepth_ > 0) {
        pendingNotification_ = true;
        return;
    }
    if (onChange)
        onChange();
}

MapScene::ChangeBatch::ChangeBatch(MapScene& scene) : scene_(scene) {
    ++scene_.batchDepth_;
}

MapScene::ChangeBatch::~ChangeBatch() {
    if (--scene_.batchDepth_ == 0 && scene_.pendingNotification_) {
        scene_.pendingNotification_ = false;
        if (scene_.onChange)
            scene_.onChange();
    }
}
