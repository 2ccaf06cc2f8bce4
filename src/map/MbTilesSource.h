#pragma once

#include "map/TileSource.h"

#include <atomic>
#include <memory>

class SerialQueue;

// Raster tiles from an MBTiles file (an SQLite database of PNG or JPEG tiles in TMS rows), the
// usual form of charts carried on board. The database is opened and read on a queue of its own;
// a missing or broken file is reported once through unavailable().
class MbTilesSource : public TileSource {
    Q_OBJECT
public:
    explicit MbTilesSource(QString path, QObject* parent = nullptr);
    ~MbTilesSource() override;

    QString attribution() const override { return attribution_; }
    int minimumZoom() const override { return minimumZoom_; }
    int maximumZoom() const override { return maximumZoom_; }
    void requestTile(TileKey key) override;

    QString path() const { return path_; }
    // The file has been opened and read as MBTiles.
    bool isOpen() const { return open_; }

private:
    struct Metadata;
    void opened(const Metadata& metadata);

    QString path_;
    QString connectionName_;
    QString attribution_;
    int minimumZoom_ = 0;
    int maximumZoom_ = 22;
    bool open_ = false;
    bool broken_ = false;
    std::atomic<bool> closing_ = false;
    std::unique_ptr<SerialQueue> queue_;
};
