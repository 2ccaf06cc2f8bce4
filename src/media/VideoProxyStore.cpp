#include "media/VideoProxyStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <filesystem>
#include <system_error>

namespace {

const QString proxySuffix = QStringLiteral(".mov");
const QString partialSuffix = QStringLiteral(".part");
// Names stay well inside the 255 bytes a file name may have.
constexpr int namePartLength = 80;
// A job writes to its partial file all along; one untouched this long belongs to no running job.
constexpr qint64 abandonedPartialSeconds = 3600;

// "SIZE-MTIME-", or empty when the original cannot be read.
QString keyOf(const QString& original) {
    const QFileInfo file(original);
    if (!file.isFile() || !file.isReadable())
        return {};
    return QStringLiteral("%1-%2-").arg(file.size()).arg(file.lastModified().toMSecsSinceEpoch());
}

} // namespace

VideoProxyStore::VideoProxyStore() {
    QString cache = QProcessEnvironment::systemEnvironment().value(QStringLiteral("XDG_CACHE_HOME"));
    // Relative paths are to be ignored, as the XDG rules say.
    if (cache.isEmpty() || QDir::isRelativePath(cache))
        cache = QDir::homePath() + QStringLiteral("/.cache");
    folder_ = cache + QStringLiteral("/Wakeline/proxies");
}

VideoProxyStore::VideoProxyStore(const QString& folder) : folder_(folder) {}

QString VideoProxyStore::find(const QString& original) const {
    const QString key = keyOf(original);
    if (key.isEmpty())
        return {};
    const QDir directory(folder_);
    // The key is digits and dashes, safe in a wildcard.
    const QStringList found = directory.entryList({key + '*' + proxySuffix}, QDir::Files, QDir::Name);
    if (found.isEmpty())
        return {};
    const QString path = directory.filePath(found.first());
    // The modification time of a proxy says when it was last used, for removeStale; access times are
    // not kept on most mounts.
    std::error_code ignored;
    std::filesystem::last_write_time(QFile::encodeName(path).toStdString(),
                                     std::filesystem::file_time_type::clock::now(), ignored);
    return path;
}

QString VideoProxyStore::proxyPath(const QString& original) const {
    const QString key = keyOf(original);
    if (key.isEmpty() || !QDir().mkpath(folder_))
        return {};
    return QDir(folder_).filePath(key + QFileInfo(original).completeBaseName().left(namePartLength) +
                                  proxySuffix);
}

QString VideoProxyStore::partialPath(const QString& proxyPath) {
    return proxyPath + partialSuffix;
}

int VideoProxyStore::removeStale(const QDateTime& unusedSince) const {
    const QDir directory(folder_);
    const QDateTime abandoned = QDateTime::currentDateTime().addSecs(-abandonedPartialSeconds);
    int removed = 0;
    const QFileInfoList files =
        directory.entryInfoList({'*' + proxySuffix, '*' + proxySuffix + partialSuffix}, QDir::Files);
    for (const QFileInfo& file : files) {
        const bool partial = file.fileName().endsWith(partialSuffix);
        if (file.lastModified() < (partial ? abandoned : unusedSince) && QFile::remove(file.filePath()))
            ++removed;
    }
    return removed;
}
