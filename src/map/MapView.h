#pragma once

#include "map/MapOverlayPainter.h"
#include "map/MapViewport.h"
#include "map/OfflineBackground.h"
#include "map/TileSource.h"

#include <QCache>
#include <QElapsedTimer>
#include <QHash>
#include <QImage>
#include <QPointer>
#include <QSet>
#include <QWidget>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

class MapAnnotation;
class MapAnnotationView;
class MapScene;
class MapViewDelegate;
class QMenu;
class QVariantAnimation;

// The race map's widget: draws a MapScene (Web Mercator, turned by the camera heading) through
// its delegate's renderers and annotation views over a background: the offline chart, raster
// tiles from a server, or an MBTiles chart file. Camera moves that the scene marks as animated
// glide for a moment on screen; the scene itself is already there. The user's drag, wheel, keys
// and pinch move the scene's camera, so the map's owner sees a user zoom as such.
class MapView : public QWidget {
    Q_OBJECT
public:
    enum class Background { Offline, Tiles, MbTiles };

    // The settings that choose the background.
    static inline const QString backgroundKey = QStringLiteral("mapBackground");
    static inline const QString tileUrlTemplateKey = QStringLiteral("mapTileURLTemplate");
    static inline const QString tileAttributionKey = QStringLiteral("mapTileAttribution");
    static inline const QString mbTilesPathKey = QStringLiteral("mapMBTilesPath");

    explicit MapView(QWidget* parent = nullptr);
    ~MapView() override;

    // Neither is owned; both must outlive the view or be replaced first.
    MapScene* scene() const { return scene_; }
    void setScene(MapScene* scene);
    MapViewDelegate* delegate() const { return delegate_; }
    void setDelegate(MapViewDelegate* delegate);

    Background background() const { return background_; }
    // Chooses the background and stores the choice in the settings.
    void setBackground(Background background);
    // Reads the background settings (also done whenever one of them changes).
    void applyBackgroundSettings();
    // The tile source in use; none for the offline chart. Tests put their own in.
    TileSource* tileSource() const { return tileSource_.get(); }
    void setTileSource(std::unique_ptr<TileSource> source, Background kind);
    // The short text shown over the map when a background fails; empty when all is well.
    QString statusMessage() const { return statusMessage_; }
    int cachedTileCount() const { return tiles_.count(); }

    // The camera as shown now: the scene's, or a step of a running animation.
    MapViewport viewport() const;
    bool isAnimating() const;
    void finishAnimation();

    // Draws the map at the widget's size with the camera as shown, for offscreen use.
    void paintMap(QPainter& painter);
    void paintMap(QPainter& painter, const MapViewport& viewport);

signals:
    // The user asked for the map's own camera back (key 0, double-click).
    void resetRequested();
    void backgroundChanged();
    // The context menu is about to open: the map's owner may add its own entries.
    void contextMenuAboutToShow(QMenu* menu);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool event(QEvent* event) override;

private:
    struct CameraState {
        MapPoint center;
        double scale = 1;
        double heading = 0;
    };
    // What the cached background was drawn for.
    struct BackgroundKey {
        double x = 0, y = 0, scale = 0, heading = 0;
        QSizeF size;
        qreal ratio = 0;
        const TileSource* source = nullptr;
        quint64 tileGeneration = 0;
        bool operator==(const BackgroundKey& o) const {
            return x == o.x && y == o.y && scale == o.scale && heading == o.heading && size == o.size &&
                   ratio == o.ratio && source == o.source && tileGeneration == o.tileGeneration;
        }
    };
    struct AnnotationEntry {
        // Held so that the address cannot be reused while the entry exists.
        std::shared_ptr<MapAnnotation> annotation;
        std::unique_ptr<MapAnnotationView> view;
        std::uint64_t lastFrame = 0;
    };

    void sceneChanged();
    CameraState sceneCamera() const;
    // Zooms by `factor` keeping the map under `anchor` (view points) in place.
    void zoomAround(double factor, QPointF anchor);
    void panBy(QPointF delta);

    void paintBackground(QPainter& painter, const MapViewport& viewport);
    void paintTiles(QPainter& painter, const MapViewport& viewport);
    bool paintCachedTile(QPainter& painter, TileKey key, const QRectF& target);
    void paintAnnotations(QPainter& painter, const MapViewport& viewport);
    void paintStatus(QPainter& painter, const MapViewport& viewport);
    MapAnnotationView* viewFor(const std::shared_ptr<MapAnnotation>& annotation);

    void tileLoaded(TileKey key, const QImage& image);
    void tileFailed(TileKey key);
    void showStatus(const QString& message);

    MapScene* scene_ = nullptr;
    MapViewDelegate* delegate_ = nullptr;
    std::uint64_t shownRevision_ = 0;
    bool haveShownCamera_ = false;
    CameraState target_;
    CameraState animationStart_;
    QVariantAnimation* animation_;

    Background background_ = Background::Offline;
    std::unique_ptr<TileSource> tileSource_;
    QCache<quint64, QImage> tiles_;
    QSet<quint64> requestedTiles_;
    // Failed tiles are asked for again only after a while, not at every frame.
    QHash<quint64, qint64> failedTiles_;
    QElapsedTimer clock_;
    quint64 tileGeneration_ = 0;
    QImage backgroundCache_;
    BackgroundKey backgroundKey_;
    QString statusMessage_;
    OfflineBackground offline_;
    int defaultsObserver_ = -1;

    std::unordered_map<const MapAnnotation*, AnnotationEntry> annotationViews_;
    std::unordered_multimap<QString, std::unique_ptr<MapAnnotationView>> reusableViews_;
    std::uint64_t frame_ = 0;
    MapOverlayPainter overlayPainter_;

    bool dragging_ = false;
    QPointF lastDragPoint_;
};
