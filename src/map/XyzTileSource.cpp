#include "map/XyzTileSource.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSaveFile>
#include <QStandardPaths>

namespace {
// A tile older than this is fetched again; the old file still serves when the network fails.
constexpr qint64 freshSeconds = 7 * 24 * 3600;
constexpr int transferTimeoutMs = 15000;

QImage decodeTile(const QByteArray& bytes) {
    QImage image;
    if (!image.loadFromData(bytes))
        return {};
    // One format for all tiles keeps the blit on the fast path.
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}
} // namespace

XyzTileSource::XyzTileSource(QString urlTemplate, QString attribution, QString cacheDirectory,
                             QObject* parent)
    : TileSource(parent), urlTemplate_(std::move(urlTemplate)), attribution_(std::move(attribution)),
      cacheDirectory_(cacheDirectory.isEmpty() ? defaultCacheDirectory(urlTemplate_)
                                               : std::move(cacheDirectory)),
      network_(new QNetworkAccessManager(this)) {
    pool_.setMaxThreadCount(2);
}

XyzTileSource::~XyzTileSource() {
    // Tasks post back to this object; none may outlive it.
    pool_.clear();
    pool_.waitForDone();
}

QString XyzTileSource::defaultCacheDirectory(const QString& urlTemplate) {
    // One folder per server, so switching chart styles never mixes their tiles.
    const QByteArray hash =
        QCryptographicHash::hash(urlTemplate.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    return QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + "/tiles/" +
           QString::fromLatin1(hash);
}

bool XyzTileSource::isValidTemplate() const {
    const QUrl url(urlFor({1, 0, 0}));
    return urlTemplate_.contains("{z}") && urlTemplate_.contains("{x}") && urlTemplate_.contains("{y}") &&
           url.isValid() && !url.scheme().isEmpty();
}

QString XyzTileSource::urlFor(TileKey key) const {
    static const char* const subdomains[] = {"a", "b", "c"};
    QString url = urlTemplate_;
    url.replace("{z}", QString::number(key.z));
    url.replace("{x}", QString::number(key.x));
    url.replace("{y}", QString::number(key.y));
    url.replace("{s}", subdomains[(key.x + key.y) % 3]);
    return url;
}

QString XyzTileSource::filePath(TileKey key) const {
    return QStringLiteral("%1/%2/%3/%4.tile").arg(cacheDirectory_).arg(key.z).arg(key.x).arg(key.y);
}

void XyzTileSource::requestTile(TileKey key) {
    if (pending_.contains(key.packed()))
        return;
    if (!isValidTemplate()) {
        QMetaObject::invokeMethod(
            this, [this, key] { fail(key, tr("The map tile address needs {z}, {x} and {y}.")); },
            Qt::QueuedConnection);
        return;
    }
    pending_.insert(key.packed());
    const QString path = filePath(key);
    pool_.start([this, key, path] {
        QFile file(path);
        QByteArray bytes;
        bool fresh = false;
        if (file.open(QIODevice::ReadOnly)) {
            bytes = file.readAll();
            const QDateTime modified = QFileInfo(file).lastModified();
            fresh = modified.secsTo(QDateTime::currentDateTime()) < freshSeconds;
        }
        QImage image = fresh ? decodeTile(bytes) : QImage();
        QMetaObject::invokeMethod(
            this,
            [this, key, image, bytes] {
                if (!image.isNull())
                    deliver(key, image);
                else
                    fetch(key, bytes);
            },
            Qt::QueuedConnection);
    });
}

void XyzTileSource::fetch(TileKey key, QByteArray staleBytes) {
    QNetworkRequest request{QUrl(urlFor(key))};
    // Tile servers ask every client to say who it is.
    request.setHeader(QNetworkRequest::UserAgentHeader, QByteArrayLiteral("Wakeline (race replay)"));
    request.setTransferTimeout(transferTimeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    QNetworkReply* reply = network_->get(request);
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, key, staleBytes] { finished(reply, key, staleBytes); });
}

void XyzTileSource::finished(QNetworkReply* reply, TileKey key, const QByteArray& staleBytes) {
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const bool ok = reply->error() == QNetworkReply::NoError && (status == 0 || status == 200);
    const QByteArray bytes = ok ? reply->readAll() : QByteArray();
    const QString error = reply->error() != QNetworkReply::NoError ? reply->errorString()
                                                                   : tr("the server answered %1").arg(status);
    const QString path = filePath(key);
    pool_.start([this, key, bytes, staleBytes, path, error, ok] {
        QImage image = ok ? decodeTile(bytes) : QImage();
        if (!image.isNull()) {
            QDir().mkpath(QFileInfo(path).absolutePath());
            QSaveFile file(path);
            if (file.open(QIODevice::WriteOnly)) {
                file.write(bytes);
                file.commit();
            }
        }
        const bool fromNetwork = !image.isNull();
        if (image.isNull() && !staleBytes.isEmpty())
            image = decodeTile(staleBytes);
        const QString message = ok ? tr("a tile could not be read") : error;
        QMetaObject::invokeMethod(
            this,
            [this, key, image, message, fromNetwork] {
                if (fromNetwork)
                    reportedFailure_ = false;
                if (!fromNetwork)
                    fail(key, message);
                if (!image.isNull())
                    deliver(key, image);
            },
            Qt::QueuedConnection);
    });
}

void XyzTileSource::deliver(TileKey key, const QImage& image) {
    pending_.remove(key.packed());
    emit tileLoaded(key, image);
}

void XyzTileSource::fail(TileKey key, const QString& message) {
    pending_.remove(key.packed());
    // One message per outage, not one per tile.
    if (!reportedFailure_) {
        reportedFailure_ = true;
        emit unavailable(tr("Map tiles unavailable (%1).").arg(message));
    }
    emit tileFailed(key);
}
