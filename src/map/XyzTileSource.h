#pragma once

#include "map/TileSource.h"

#include <QHash>
#include <QSet>
#include <QThreadPool>

class QNetworkAccessManager;
class QNetworkReply;

// Raster tiles from a web server by an address template such as
// "https://tile.example.org/{z}/{x}/{y}.png" ({s} picks one of the subdomains a, b, c). Every
// tile is kept as a file under the cache folder, so a chart once seen stays there at sea; files
// older than a week are fetched again, and kept when the network fails.
class XyzTileSource : public TileSource {
    Q_OBJECT
public:
    // `cacheDirectory` empty: the user's cache folder, "tiles", one folder per template.
    XyzTileSource(QString urlTemplate, QString attribution, QString cacheDirectory = {},
                  QObject* parent = nullptr);
    ~XyzTileSource() override;

    static QString defaultCacheDirectory(const QString& urlTemplate);

    QString attribution() const override { return attribution_; }
    int maximumZoom() const override { return 19; }
    void requestTile(TileKey key) override;

    QString urlTemplate() const { return urlTemplate_; }
    QString cacheDirectory() const { return cacheDirectory_; }
    QString urlFor(TileKey key) const;
    bool isValidTemplate() const;

private:
    void fetch(TileKey key, QByteArray staleBytes);
    void finished(QNetworkReply* reply, TileKey key, const QByteArray& staleBytes);
    void deliver(TileKey key, const QImage& image);
    void fail(TileKey key, const QString& message);
    QString filePath(TileKey key) const;

    QString urlTemplate_;
    QString attribution_;
    QString cacheDirectory_;
    QNetworkAccessManager* network_;
    QSet<quint64> pending_;
    bool reportedFailure_ = false;
    // Cache files are read, decoded and written here, off the main thread.
    QThreadPool pool_;
};
