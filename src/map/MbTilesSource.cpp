#include "map/MbTilesSource.h"

#include "core/SerialQueue.h"

#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>
#include <algorithm>

struct MbTilesSource::Metadata {
    QString error;
    QString attribution;
    int minimumZoom = 0;
    int maximumZoom = 22;
};

namespace {
QString shortError(const QSqlError& error) {
    const QString text = error.databaseText().isEmpty() ? error.text() : error.databaseText();
    return text.isEmpty() ? QObject::tr("not an MBTiles file") : text;
}
} // namespace

MbTilesSource::MbTilesSource(QString path, QObject* parent)
    : TileSource(parent), path_(std::move(path)),
      connectionName_("mbtiles-" + QUuid::createUuid().toString(QUuid::WithoutBraces)),
      queue_(std::make_unique<SerialQueue>("MBTilesQueue")) {
    // A database connection belongs to the thread that made it: everything runs on the queue.
    queue_->async([this] {
        Metadata metadata;
        const QFileInfo info(path_);
        if (!info.isFile() || !info.isReadable()) {
            metadata.error = tr("The chart file %1 cannot be read.").arg(info.fileName());
        } else {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", connectionName_);
            db.setDatabaseName(path_);
            db.setConnectOptions("QSQLITE_OPEN_READONLY");
            if (!db.open()) {
                metadata.error = shortError(db.lastError());
            } else {
                QSqlQuery query(db);
                if (query.exec("SELECT name, value FROM metadata")) {
                    while (query.next()) {
                        const QString name = query.value(0).toString();
                        const QString value = query.value(1).toString();
                        if (name == "attribution")
                            metadata.attribution = value;
                        else if (name == "minzoom")
                            metadata.minimumZoom = std::clamp(value.toInt(), 0, 24);
                        else if (name == "maxzoom")
                            metadata.maximumZoom = std::clamp(value.toInt(), 0, 24);
                        else if (name == "format" && value == "pbf")
                            metadata.error = tr("it holds vector tiles, which Wakeline does not draw");
                    }
                }
                // The metadata table is optional in practice; the tiles table is not.
                if (metadata.error.isEmpty() && !query.exec("SELECT 1 FROM tiles LIMIT 1"))
                    metadata.error = shortError(query.lastError());
            }
            if (!metadata.error.isEmpty())
                metadata.error =
                    tr("The chart file %1 cannot be used: %2.").arg(info.fileName(), metadata.error);
        }
        if (metadata.maximumZoom < metadata.minimumZoom)
            std::swap(metadata.minimumZoom, metadata.maximumZoom);
        if (!closing_)
            QMetaObject::invokeMethod(
                this, [this, metadata] { opened(metadata); }, Qt::QueuedConnection);
    });
}

MbTilesSource::~MbTilesSource() {
    closing_ = true;
    queue_->sync([this] {
        if (QSqlDatabase::contains(connectionName_)) {
            QSqlDatabase::database(connectionName_, false).close();
            QSqlDatabase::removeDatabase(connectionName_);
        }
    });
    queue_.reset();
}

void MbTilesSource::opened(const Metadata& metadata) {
    if (!metadata.error.isEmpty()) {
        broken_ = true;
        emit unavailable(metadata.error);
        return;
    }
    open_ = true;
    attribution_ = metadata.attribution;
    minimumZoom_ = metadata.minimumZoom;
    maximumZoom_ = metadata.maximumZoom;
    emit detailsChanged();
}

void MbTilesSource::requestTile(TileKey key) {
    if (broken_) {
        QMetaObject::invokeMethod(
            this, [this, key] { emit tileFailed(key); }, Qt::QueuedConnection);
        return;
    }
    queue_->async([this, key] {
        if (closing_)
            return;
        QImage image;
        if (QSqlDatabase::contains(connectionName_)) {
            QSqlDatabase db = QSqlDatabase::database(connectionName_, false);
            QSqlQuery query(db);
            query.prepare(
                "SELECT tile_data FROM tiles WHERE zoom_level = ? AND tile_column = ? AND tile_row = ?");
            query.addBindValue(key.z);
            query.addBindValue(key.x);
            // MBTiles counts rows from the south (TMS).
            query.addBindValue((1 << key.z) - 1 - key.y);
            if (query.exec() && query.next() && image.loadFromData(query.value(0).toByteArray()))
                image = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        }
        if (closing_)
            return;
        QMetaObject::invokeMethod(
            this,
            [this, key, image] {
                if (image.isNull())
                    emit tileFailed(key);
                else
                    emit tileLoaded(key, image);
            },
            Qt::QueuedConnection);
    });
}
