#include "map/MapView.h"

#include "core/UserDefaults.h"
#include "map/MapAnnotation.h"
#include "map/MapAnnotationView.h"
#include "map/MapOverlayPainter.h"
#include "map/MapScene.h"
#include "map/MapViewDelegate.h"
#include "map/MbTilesSource.h"
#include "map/XyzTileSource.h"

#include <QContextMenuEvent>
#include <QGestureEvent>
#include <QMenu>
#include <QNativeGestureEvent>
#include <QPainter>
#include <QPinchGesture>
#include <QVariantAnimation>
#include <QWheelEvent>
#include <cmath>

namespace {
constexpr int animationMilliseconds = 300;
constexpr int maximumCachedTiles = 160;
constexpr qint64 tileRetryMilliseconds = 30000;
// How far back the map looks for a coarser tile to stretch while the right one loads.
constexpr int fallbackLevels = 5;
constexpr double keyZoomFactor = 2.0;
constexpr double keyPanStep = 80.0;

QString backgroundName(MapView::Background background) {
    switch (background) {
    case MapView::Background::Tiles:
        return QStringLiteral("tiles");
    case MapView::Background::MbTiles:
        return QStringLiteral("mbtiles");
    case MapView::Background::Offline:
        break;
    }
    return QStringLiteral("offline");
}

double interpolateAngle(double from, double to, double t) {
    return from + std::remainder(to - from, 360.0) * t;
}
} // namespace

MapView::MapView(QWidget* parent) : QWidget(parent), animation_(new QVariantAnimation(this)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::WheelFocus);
    setMinimumSize(100, 100);
    grabGesture(Qt::PinchGesture);
    tiles_.setMaxCost(maximumCachedTiles);
    clock_.start();
    animation_->setDuration(animationMilliseconds);
    animation_->setStartValue(0.0);
    animation_->setEndValue(1.0);
    animation_->setEasingCurve(QEasingCurve::InOutQuad);
    connect(animation_, &QVariantAnimation::valueChanged, this, [this] { update(); });
    defaultsObserver_ = UserDefaults::standard().observe([this](const QString& key) {
        if (key == backgroundKey || key == tileUrlTemplateKey || key == tileAttributionKey ||
            key == mbTilesPathKey)
            // The change may come in the middle of a menu action; apply it once that is done.
            QMetaObject::invokeMethod(this, &MapView::applyBackgroundSettings, Qt::QueuedConnection);
    });
    applyBackgroundSettings();
}

MapView::~MapView() {
    UserDefaults::standard().stopObserving(defaultsObserver_);
    setScene(nullptr);
}

void MapView::setScene(MapScene* scene) {
    if (scene_ == scene)
        return;
    if (scene_)
        scene_->onChange = nullptr;
    scene_ = scene;
    annotationViews_.clear();
    haveShownCamera_ = false;
    animation_->stop();
    if (scene_) {
        scene_->onChange = [this] { sceneChanged(); };
        scene_->setViewSize(width(), height());
        sceneChanged();
    }
    update();
}

void MapView::setDelegate(MapViewDelegate* delegate) {
    delegate_ = delegate;
    annotationViews_.clear();
    update();
}

MapView::CameraState MapView::sceneCamera() const {
    if (!scene_)
        return {};
    return {mapPoint(scene_->center()), scene_->mapPointsPerViewPoint(), scene_->heading()};
}

void MapView::sceneChanged() {
    if (!scene_ || scene_->revision() == shownRevision_)
        return;
    shownRevision_ = scene_->revision();
    const CameraState next = sceneCamera();
    const bool cameraMoved = !haveShownCamera_ || next.center.x != target_.center.x ||
                             next.center.y != target_.center.y || next.scale != target_.scale ||
                             next.heading != target_.heading;
    if (cameraMoved) {
        if (haveShownCamera_ && scene_->lastChangeAnimated() && isVisible()) {
            // Glide from wherever the screen is now, even from the middle of another glide.
            const MapViewport shown = viewport();
            animationStart_ = {shown.center(), shown.mapPointsPerViewPoint(), shown.heading()};
            target_ = next;
            animation_->stop();
            animation_->start();
        } else {
            animation_->stop();
            target_ = next;
        }
        haveShownCamera_ = true;
    }
    update();
}

bool MapView::isAnimating() const {
    return animation_->state() == QAbstractAnimation::Running;
}

void MapView::finishAnimation() {
    if (isAnimating()) {
        animation_->stop();
        update();
    }
}

MapViewport MapView::viewport() const {
    const QSizeF size(width(), height());
    if (!isAnimating())
        return MapViewport(target_.center, target_.scale, target_.heading, size);
    const double t = animation_->currentValue().toDouble();
    const MapPoint center{animationStart_.center.x + (target_.center.x - animationStart_.center.x) * t,
                          animationStart_.center.y + (target_.center.y - animationStart_.center.y) * t};
    // Scales change geometrically so a zoom looks even.
    const double scale = animationStart_.scale * std::pow(target_.scale / animationStart_.scale, t);
    return MapViewport(center, scale, interpolateAngle(animationStart_.heading, target_.heading, t), size);
}

// ---------------------------------------------------------------------------------------------
// Backgrounds

void MapView::applyBackgroundSettings() {
    const UserDefaults& defaults = UserDefaults::standard();
    const QString choice = defaults.stringValue(backgroundKey).value_or(QString()).toLower();
    if (choice == QLatin1String("tiles")) {
        const QString urlTemplate = defaults.stringValue(tileUrlTemplateKey).value_or(QString()).trimmed();
        auto* current = qobject_cast<XyzTileSource*>(tileSource_.get());
        const QString attribution = defaults.stringValue(tileAttributionKey).value_or(QString());
        if (urlTemplate.isEmpty()) {
            setTileSource(nullptr, Background::Offline);
            showStatus(tr("No map tile address is set; showing the offline chart."));
        } else if (!current || current->urlTemplate() != urlTemplate ||
                   current->attribution() != attribution) {
            setTileSource(std::make_unique<XyzTileSource>(urlTemplate, attribution), Background::Tiles);
        }
    } else if (choice == QLatin1String("mbtiles")) {
        const QString path = defaults.stringValue(mbTilesPathKey).value_or(QString());
        auto* current = qobject_cast<MbTilesSource*>(tileSource_.get());
        if (path.isEmpty()) {
            setTileSource(nullptr, Background::Offline);
            showStatus(tr("No chart file is chosen; showing the offline chart."));
        } else if (!current || current->path() != path) {
            setTileSource(std::make_unique<MbTilesSource>(path), Background::MbTiles);
        }
    } else if (tileSource_ || background_ != Background::Offline) {
        setTileSource(nullptr, Background::Offline);
    }
}

void MapView::setBackground(Background background) {
    UserDefaults::standard().setValue(backgroundKey, backgroundName(background));
}

void MapView::setTileSource(std::unique_ptr<TileSource> source, Background kind) {
    tileSource_ = std::move(source);
    background_ = tileSource_ ? kind : Background::Offline;
    tiles_.clear();
    ++tileGeneration_;
    requestedTiles_.clear();
    failedTiles_.clear();
    statusMessage_.clear();
    if (tileSource_) {
        connect(tileSource_.get(), &TileSource::tileLoaded, this, &MapView::tileLoaded);
        connect(tileSource_.get(), &TileSource::tileFailed, this, &MapView::tileFailed);
        connect(tileSource_.get(), &TileSource::unavailable, this, &MapView::showStatus);
        connect(tileSource_.get(), &TileSource::detailsChanged, this, [this] { update(); });
    }
    emit backgroundChanged();
    update();
}

void MapView::tileLoaded(TileKey key, const QImage& image) {
    requestedTiles_.remove(key.packed());
    failedTiles_.remove(key.packed());
    tiles_.insert(key.packed(), new QImage(image), 1);
    ++tileGeneration_;
    if (background_ == Background::Tiles)
        statusMessage_.clear();
    update();
}

void MapView::tileFailed(TileKey key) {
    requestedTiles_.remove(key.packed());
    failedTiles_.insert(key.packed(), clock_.elapsed());
}

void MapView::showStatus(const QString& message) {
    statusMessage_ = message;
    update();
}

void MapView::paintTiles(QPainter& painter, const MapViewport& viewport) {
    TileSource* source = tileSource_.get();
    const double exactZoom = 20.0 - std::log2(viewport.mapPointsPerViewPoint());
    const int z = std::clamp(int(std::lround(exactZoom)), source->minimumZoom(), source->maximumZoom());
    const int tilesPerSide = 1 << z;
    const double tileSpan = mapWorldSize / tilesPerSide;
    const QRectF bounds = viewport.visibleMapBounds();
    const long firstX = long(std::floor(bounds.left() / tileSpan));
    const long lastX = long(std::floor(bounds.right() / tileSpan));
    const long firstY = std::max(0L, long(std::floor(bounds.top() / tileSpan)));
    const long lastY = std::min(long(tilesPerSide) - 1, long(std::floor(bounds.bottom() / tileSpan)));
    if ((lastX - firstX + 1) * (lastY - firstY + 1) > 400)
        return;

    painter.save();
    // Tiles are laid edge to edge; antialiased edges would show seams between them.
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
    const QSizeF size = viewport.viewSize();
    QTransform transform;
    transform.translate(size.width() * 0.5, size.height() * 0.5);
    transform.rotate(-viewport.heading());
    transform.scale(1.0 / viewport.mapPointsPerViewPoint(), 1.0 / viewport.mapPointsPerViewPoint());
    painter.setTransform(transform);
    const MapPoint center = viewport.center();
    const qint64 now = clock_.elapsed();
    for (long y = firstY; y <= lastY; ++y) {
        for (long x = firstX; x <= lastX; ++x) {
            const int wrappedX = int(((x % tilesPerSide) + tilesPerSide) % tilesPerSide);
            const TileKey key{z, wrappedX, int(y)};
            const QRectF target(x * tileSpan - center.x, y * tileSpan - center.y, tileSpan, tileSpan);
            if (paintCachedTile(painter, key, target))
                continue;
            const auto failed = failedTiles_.constFind(key.packed());
            const bool recentlyFailed =
                failed != failedTiles_.cend() && now - *failed < tileRetryMilliseconds;
            if (!requestedTiles_.contains(key.packed()) && !recentlyFailed) {
                requestedTiles_.insert(key.packed());
                source->requestTile(key);
            }
            // Meanwhile a coarser tile, stretched, is better than nothing.
            for (int level = 1; level <= fallbackLevels && z - level >= source->minimumZoom(); ++level) {
                const TileKey parent{z - level, wrappedX >> level, int(y) >> level};
                auto* image = tiles_.object(parent.packed());
                if (!image)
                    continue;
                const int parts = 1 << level;
                const double part = double(image->width()) / parts;
                const QRectF sourceRect((wrappedX % parts) * part, (y % parts) * part, part, part);
                painter.drawImage(target, *image, sourceRect);
                break;
            }
        }
    }
    painter.restore();
}

bool MapView::paintCachedTile(QPainter& painter, TileKey key, const QRectF& target) {
    const QImage* image = tiles_.object(key.packed());
    if (!image)
        return false;
    painter.drawImage(target, *image);
    return true;
}

// ---------------------------------------------------------------------------------------------
// Drawing

void MapView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintMap(painter);
}

void MapView::paintMap(QPainter& painter) {
    paintMap(painter, viewport());
}

void MapView::paintMap(QPainter& painter, const MapViewport& viewport) {
    ++frame_;
    painter.setRenderHint(QPainter::Antialiasing, true);
    paintBackground(painter, viewport);
    if (scene_) {
        overlayPainter_.paint(painter, viewport, scene_->overlays(), delegate_);
        paintAnnotations(painter, viewport);
    }
    offline_.paintScaleBar(painter, viewport);
    offline_.paintNorthArrow(painter, viewport);
    paintStatus(painter, viewport);
}

void MapView::paintBackground(QPainter& painter, const MapViewport& viewport) {
    // The camera stays put through most ticks: the chart under the boats is drawn once and
    // copied until the camera moves or a tile arrives.
    const qreal ratio = painter.device() ? painter.device()->devicePixelRatioF() : 1.0;
    const BackgroundKey key{viewport.center().x, viewport.center().y, viewport.mapPointsPerViewPoint(),
                            viewport.heading(),  viewport.viewSize(), ratio,
                            tileSource_.get(),   tileGeneration_};
    if (backgroundCache_.isNull() || !(key == backgroundKey_)) {
        const QSize pixels = (viewport.viewSize() * ratio).toSize();
        if (backgroundCache_.size() != pixels)
            backgroundCache_ = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
        backgroundCache_.setDevicePixelRatio(ratio);
        QPainter cachePainter(&backgroundCache_);
        cachePainter.setRenderHint(QPainter::Antialiasing, true);
        offline_.paintSea(cachePainter, viewport);
        if (tileSource_)
            paintTiles(cachePainter, viewport);
        else
            offline_.paintGraticule(cachePainter, viewport);
        backgroundKey_ = key;
    }
    painter.drawImage(QPointF(0, 0), backgroundCache_);
}

MapAnnotationView* MapView::viewFor(const std::shared_ptr<MapAnnotation>& annotation) {
    auto found = annotationViews_.find(annotation.get());
    if (found != annotationViews_.end()) {
        found->second.lastFrame = frame_;
        return found->second.view.get();
    }
    AnnotationEntry entry;
    entry.annotation = annotation;
    entry.lastFrame = frame_;
    if (delegate_) {
        if (const auto style = delegate_->viewFor(*annotation)) {
            auto reusable = reusableViews_.find(style->reuseIdentifier);
            if (reusable != reusableViews_.end() && !style->reuseIdentifier.isEmpty()) {
                entry.view = std::move(reusable->second);
                reusableViews_.erase(reusable);
                entry.view->configure(*style);
            } else {
                entry.view = MapAnnotationView::make(*style);
            }
        }
    }
    return annotationViews_.emplace(annotation.get(), std::move(entry)).first->second.view.get();
}

void MapView::paintAnnotations(QPainter& painter, const MapViewport& viewport) {
    const QRectF view(QPointF(0, 0), viewport.viewSize());
    const QTransform base = painter.transform();
    for (const auto& annotation : scene_->annotations()) {
        MapAnnotationView* annotationView = viewFor(annotation);
        if (!annotationView)
            continue;
        const QRectF frame = annotationView->frameAt(viewport.viewPoint(annotation->coordinate()));
        if (!frame.intersects(view))
            continue;
        painter.setTransform(QTransform(base).translate(frame.left(), frame.top()));
        annotationView->paint(painter, *annotation);
    }
    painter.setTransform(base);
    // Views of annotations that left the scene go back to the pool for reuse.
    for (auto it = annotationViews_.begin(); it != annotationViews_.end();) {
        if (it->second.lastFrame != frame_ && !scene_->containsAnnotation(it->first)) {
            if (it->second.view && reusableViews_.size() < 64)
                reusableViews_.emplace(it->second.view->reuseIdentifier(), std::move(it->second.view));
            it = annotationViews_.erase(it);
        } else {
            ++it;
        }
    }
}

void MapView::paintStatus(QPainter& painter, const MapViewport& viewport) {
    const QSizeF size = viewport.viewSize();
    QFont font = painter.font();
    font.setPointSizeF(8.0);
    painter.setFont(font);
    const QFontMetricsF metrics(font);
    const QString attribution = tileSource_ ? tileSource_->attribution() : QString();
    if (!attribution.isEmpty()) {
        const double width = std::min(metrics.horizontalAdvance(attribution) + 8.0, size.width() * 0.7);
        const QRectF box(size.width() - width, size.height() - metrics.height() - 2, width,
                         metrics.height() + 2);
        painter.fillRect(box, QColor(255, 255, 255, 190));
        painter.setPen(QColor(40, 40, 40));
        painter.drawText(box.adjusted(4, 0, -4, 0), Qt::AlignRight | Qt::AlignVCenter,
                         metrics.elidedText(attribution, Qt::ElideLeft, width - 8));
    }
    if (!statusMessage_.isEmpty()) {
        const double width = std::min(metrics.horizontalAdvance(statusMessage_) + 16.0, size.width() - 20);
        const QRectF box((size.width() - width) * 0.5, 8, width, metrics.height() + 8);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(40, 40, 40, 200));
        painter.drawRoundedRect(box, 4, 4);
        painter.setPen(Qt::white);
        painter.drawText(box, Qt::AlignCenter,
                         metrics.elidedText(statusMessage_, Qt::ElideRight, width - 16));
        painter.setBrush(Qt::NoBrush);
    }
}

// ---------------------------------------------------------------------------------------------
// User interaction

void MapView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (scene_)
        scene_->setViewSize(width(), height());
}

void MapView::panBy(QPointF delta) {
    if (!scene_ || delta.isNull())
        return;
    finishAnimation();
    const QPointF middle(width() * 0.5, height() * 0.5);
    scene_->setCenter(scene_->coordinateAt(middle - delta), false);
}

void MapView::zoomAround(double factor, QPointF anchor) {
    if (!scene_ || !(factor > 0))
        return;
    finishAnimation();
    const MapPoint before = mapPoint(scene_->coordinateAt(anchor));
    MapScene::ChangeBatch batch(*scene_);
    scene_->zoomBy(factor);
    const MapPoint after = mapPoint(scene_->coordinateAt(anchor));
    const MapPoint center = mapPoint(scene_->center());
    scene_->setCenter(coordinate({center.x + before.x - after.x, center.y + before.y - after.y}), false);
}

void MapView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        dragging_ = true;
        lastDragPoint_ = event->position();
        setCursor(Qt::ClosedHandCursor);
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void MapView::mouseMoveEvent(QMouseEvent* event) {
    if (!dragging_)
        return QWidget::mouseMoveEvent(event);
    panBy(event->position() - lastDragPoint_);
    lastDragPoint_ = event->position();
}

void MapView::mouseReleaseEvent(QMouseEvent* event) {
    if (dragging_ && event->button() == Qt::LeftButton) {
        dragging_ = false;
        unsetCursor();
        return;
    }
    QWidget::mouseReleaseEvent(event);
}

void MapView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        emit resetRequested();
        return;
    }
    QWidget::mouseDoubleClickEvent(event);
}

void MapView::wheelEvent(QWheelEvent* event) {
    // One notch of a wheel (120) is half a zoom level; touchpads send smaller steps.
    const double notches = event->angleDelta().y() / 120.0;
    if (notches != 0)
        zoomAround(std::pow(2.0, notches * 0.5), event->position());
    event->accept();
}

void MapView::keyPressEvent(QKeyEvent* event) {
    const QPointF middle(width() * 0.5, height() * 0.5);
    switch (event->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        zoomAround(keyZoomFactor, middle);
        break;
    case Qt::Key_Minus:
        zoomAround(1.0 / keyZoomFactor, middle);
        break;
    case Qt::Key_0:
        emit resetRequested();
        break;
    case Qt::Key_Left:
        panBy({keyPanStep, 0});
        break;
    case Qt::Key_Right:
        panBy({-keyPanStep, 0});
        break;
    case Qt::Key_Up:
        panBy({0, keyPanStep});
        break;
    case Qt::Key_Down:
        panBy({0, -keyPanStep});
        break;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    event->accept();
}

bool MapView::event(QEvent* event) {
    if (event->type() == QEvent::NativeGesture) {
        auto* gesture = static_cast<QNativeGestureEvent*>(event);
        if (gesture->gestureType() == Qt::ZoomNativeGesture) {
            zoomAround(1.0 + gesture->value(), gesture->position());
            return true;
        }
        if (gesture->gestureType() == Qt::SmartZoomNativeGesture) {
            emit resetRequested();
            return true;
        }
    } else if (event->type() == QEvent::Gesture) {
        auto* gestureEvent = static_cast<QGestureEvent*>(event);
        if (auto* pinch = static_cast<QPinchGesture*>(gestureEvent->gesture(Qt::PinchGesture))) {
            if (pinch->changeFlags() & QPinchGesture::ScaleFactorChanged)
                zoomAround(pinch->scaleFactor(), mapFromGlobal(pinch->centerPoint()));
            gestureEvent->accept(pinch);
            return true;
        }
    }
    return QWidget::event(event);
}

void MapView::contextMenuEvent(QContextMenuEvent* event) {
    // The background is chosen in the Preferences, for every map at once.
    QMenu menu(this);
    menu.addAction(tr("Reset Camera"), this, &MapView::resetRequested);
    emit contextMenuAboutToShow(&menu);
    menu.exec(event->globalPos());
}
