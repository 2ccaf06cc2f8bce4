#pragma once

#include <QImage>
#include <QMetaType>
#include <QObject>
#include <QString>

// One square map tile of 256 × 256 pixels in the XYZ scheme: zoom z, column x from the
// antimeridian eastwards, row y from the north.
struct TileKey {
    int z = 0;
    int x = 0;
    int y = 0;

    bool operator==(const TileKey& o) const { return z == o.z && x == o.x && y == o.y; }
    // A key that fits in one integer, for hashing.
    quint64 packed() const { return (quint64(z) << 58) | (quint64(x) << 29) | quint64(y); }
};
Q_DECLARE_METATYPE(TileKey)

// Where the map's raster tiles come from. Loading is asynchronous: requestTile returns at once,
// and tileLoaded or tileFailed follows later on the main thread.
class TileSource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    static constexpr int tileSize = 256;

    virtual QString attribution() const = 0;
    virtual int minimumZoom() const { return 0; }
    virtual int maximumZoom() const = 0;
    virtual void requestTile(TileKey key) = 0;

signals:
    void tileLoaded(TileKey key, QImage image);
    // This one tile could not be had (not in the file, a network error): the map shows what it
    // has in its place.
    void tileFailed(TileKey key);
    // The source as a whole does not work: a short text for the map to show.
    void unavailable(QString message);
    // Attribution or zoom range became known.
    void detailsChanged();
};
