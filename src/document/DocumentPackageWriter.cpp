#include "document/DocumentPackageWriter.h"

#include "boatlog/LogFileAsset.h"
#include "core/Diagnostics.h"
#include "document/Document.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "race/Race.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

QString logFileName(const QUuid& uuid) {
    return uuid.toString(QUuid::WithoutBraces).toLower() + ".hdf5";
}

bool syncPath(const QString& path) {
    int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = ::fsync(fd) == 0;
    ::close(fd);
    return ok;
}

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

// A log already inside a package is linked, not copied: saving in place costs nothing per log,
// and log files are never written after conversion, so sharing them is safe.
bool placeLog(const QString& source, const QString& destination, QString* error) {
    if (::link(QFile::encodeName(source).constData(), QFile::encodeName(destination).constData()) == 0)
        return true;
    QFile file(source);
    if (!file.copy(destination)) {
        *error = file.errorString();
        return false;
    }
    return syncPath(destination);
}

// Exchanges two paths in one step where the file system can; otherwise moves the old one aside
// first, which leaves a moment without the target but never a half-written one.
bool swapInto(const QString& staging, const QString& target, const QString& aside) {
    QByteArray from = QFile::encodeName(staging);
    QByteArray to = QFile::encodeName(target);
    if (!QFileInfo::exists(target))
        return ::rename(from.constData(), to.constData()) == 0;
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_EXCHANGE) == 0) {
        ::rename(from.constData(), QFile::encodeName(aside).constData());
        return true;
    }
    if (::rename(to.constData(), QFile::encodeName(aside).constData()) != 0)
        return false;
    if (::rename(from.constData(), to.constData()) != 0) {
        ::rename(QFile::encodeName(aside).constData(), to.constData());
        return false;
    }
    return true;
}

} // namespace

QString DocumentPackageWriter::relativePath(const QString& folder, const QString& file) {
    QStringList from = QDir::cleanPath(folder).split('/', Qt::SkipEmptyParts);
    QStringList to = QDir::cleanPath(file).split('/', Qt::SkipEmptyParts);
    qsizetype common = 0;
    while (common < from.size() && common < to.size() && from[common] == to[common])
        ++common;
    QStringList parts;
    for (qsizetype i = common; i < from.size(); ++i)
        parts << "..";
    for (qsizetype i = common; i < to.size(); ++i)
        parts << to[i];
    return parts.join('/');
}

DocumentReference DocumentPackageWriter::referenceOf(const Document& document, const QString& packagePath) {
    DocumentReference reference;
    const QString containingFolder =
        QFileInfo(QDir::cleanPath(QDir(packagePath).absolutePath())).absolutePath();
    for (const auto& asset : document.assets()) {
        AssetReference entry;
        entry.url = asset->url();
        if (asset->url().isLocalFile())
            entry.pathRelativeToDocumentDir = relativePath(containingFolder, asset->url().toLocalFile());
        entry.fileStartTime = asset->fileStartTime();
        entry.offset = asset->offset();
        entry.fileTimeZone = asset->fileTimeZone().identifier();
        entry.duration = asset->duration();
        if (asset->mediaGroup())
            entry.mediaGroup = asset->mediaGroup()->name;
        entry.kind = asset->isPhoto() ? "PhotoAsset" : "VideoAsset";
        reference.assets.push_back(std::move(entry));
    }
    reference.eventTimezone = document.eventTimezone().identifier();
    reference.eventStartTimeOverride = document.eventStartTimeOverride();
    reference.eventEndTimeOverride = document.eventEndTimeOverride();
    reference.playbackPosition = document.eventPlaybackPosition();
    reference.races = document.races();
    reference.mediaGroups = document.mediaGroups();
    reference.boats.emplace();
    for (const auto& boat : document.boats()) {
        BoatReference entry{boat, std::nullopt, {}};
        for (const auto& log : document.logAssets(boat))
            entry.logAssets.push_back({log->uuid(), log->offset(), log->fileTimeZone().identifier()});
        reference.boats->push_back(std::move(entry));
    }
    return reference;
}

std::optional<DocumentSavingError>
DocumentPackageWriter::write(Document& document, const QString& packagePath, const FailureInjection& inject) {
    auto injected = [&](const QString& step) { return inject && inject(step); };
    const QString target = QDir::cleanPath(QDir(packagePath).absolutePath());
    const DocumentSavingError contentError{DocumentSavingError::Kind::fileContentGeneration, {}, {}};

    // Never replace something that is not a package of ours.
    QFileInfo targetInfo(target);
    if (targetInfo.exists() &&
        (!targetInfo.isDir() || (!QFileInfo::exists(target + "/content.json") && !QDir(target).isEmpty()))) {
        Diagnostics::printLine("Warning: " + target.toStdString() +
                               " exists and is not a document; not replacing it");
        return contentError;
    }

    std::string content;
    try {
        content = referenceOf(document, target).encode();
    } catch (const std::exception& error) {
        Diagnostics::printLine(std::string("Warning: could not encode the document: ") + error.what());
        return contentError;
    }

    // A staging folder left by a save that was killed is only ever an incomplete copy.
    const QString staging = target + ".saving";
    const QString aside = target + ".replaced";
    QDir(staging).removeRecursively();
    QDir(aside).removeRecursively();
    if (!QDir().mkpath(staging + "/BoatLogs")) {
        Diagnostics::printLine("Warning: could not create " + staging.toStdString() + ": " +
                               systemError().toStdString());
        return contentError;
    }
    auto fail = [&](DocumentSavingError error) {
        QDir(staging).removeRecursively();
        return error;
    };

    QStringList entries;
    auto logs = document.allLogAssets();
    for (const auto& log : logs) {
        const QString name = logFileName(log->uuid());
        QString error;
        bool placed = !injected("BoatLogs/" + name) &&
                      placeLog(log->url().toLocalFile(), staging + "/BoatLogs/" + name, &error);
        if (!placed) {
            if (error.isEmpty())
                error = "the file could not be written";
            Diagnostics::printLine("Could not create FileWrapper for log asset " +
                                   DocumentReference::encodeUuid(log->uuid()) + ": " + error.toStdString());
            return fail({DocumentSavingError::Kind::fileWrapperCreation, log->uuid(), error});
        }
        entries << name;
    }
    Diagnostics::printLine("Saving log assets: [" + entries.join(", ").toStdString() + "]");

    QFile contentFile(staging + "/content.json");
    bool written = !injected("content.json") && contentFile.open(QIODevice::WriteOnly) &&
                   contentFile.write(content.data(), static_cast<qint64>(content.size())) ==
                       static_cast<qint64>(content.size()) &&
                   contentFile.flush() && ::fsync(contentFile.handle()) == 0;
    contentFile.close();
    if (!written) {
        Diagnostics::printLine("Warning: could not write content.json: " +
                               contentFile.errorString().toStdString());
        return fail(contentError);
    }
    syncPath(staging + "/BoatLogs");
    syncPath(staging);

    if (injected("swap") || !swapInto(staging, target, aside)) {
        Diagnostics::printLine("Warning: could not move the saved document into place: " +
                               systemError().toStdString());
        return fail(contentError);
    }
    syncPath(targetInfo.absolutePath());
    QDir(aside).removeRecursively();

    for (const auto& log : logs)
        log->setUrl(QUrl::fromLocalFile(target + "/BoatLogs/" + logFileName(log->uuid())));
    document.setPackagePath(target);
    // Saved: no edited mark, even when nothing new was written.
    document.setEdited(false);
    return std::nullopt;
}
