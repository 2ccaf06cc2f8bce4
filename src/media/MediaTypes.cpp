#include "media/MediaTypes.h"

#include "core/Diagnostics.h"
#include "core/FatalError.h"

#include <QFileInfo>
#include <QMimeDatabase>

namespace {

QMimeType typeOf(const QUrl& url) {
    static const QMimeDatabase database;
    return database.mimeTypeForFile(url.toLocalFile());
}

bool conformsTo(const QMimeType& type, const QStringList& prefixes, const QStringList& names = {}) {
    QStringList all = type.allAncestors();
    all.prepend(type.name());
    for (const QString& name : all) {
        if (names.contains(name))
            return true;
        for (const QString& prefix : prefixes)
            if (name.startsWith(prefix))
                return true;
    }
    return false;
}

} // namespace

bool isSupportedVideo(const QUrl& url) {
    QMimeType type = typeOf(url);
    if (!type.isValid())
        fatalError("Could not read the type of " + url.toString().toStdString());
    // Containers registered under application/ that hold movies.
    static const QStringList movieContainers{"application/ogg", "application/mxf",
                                             "application/vnd.rn-realmedia"};
    return conformsTo(type, {"video/"}, movieContainers) || conformsTo(type, {"audio/"});
}

bool isSupportedPhoto(const QUrl& url) {
    QMimeType type = typeOf(url);
    Diagnostics::printLine((QFileInfo(url.toLocalFile()).fileName() + " UTI = " + type.name()).toStdString());
    return conformsTo(type, {"image/"});
}

QString mediaTypeName(const QUrl& url) {
    return typeOf(url).name();
}
