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

bool syncPath(const QString& path) {
    int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = ::fsync(fd) == 0;
    ::close(fd);
    return ok;
}

QString systemErrorText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// Copies in large steps, in the kernel where it can, reporting each step; answers the errno of a
// failure, or 0.
int copyFile(const QString& source, const QString& destination, const std::function<bool(qint64)>& step) {
    FileDescriptor in(::open(QFile::encodeName(source).constData(), O_RDONLY | O_CLOEXEC));
    if (in.get() < 0)
        return errno;
    FileDescriptor out(
        ::open(QFile::encodeName(destination).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (out.get() < 0)
        return errno;
    constexpr size_t chunk = 16 << 20;
    bool inKernel = true;
    std::vector<char> buffer;
    for (;;) {
        ssize_t moved = -1;
        if (inKernel) {
            moved = ::copy_file_range(in.get(), nullptr, out.get(), nullptr, chunk, 0);
            if (moved < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP)) {
                inKernel = false;
                continue;
            }
        } else {
            buffer.resize(chunk);
            ssize_t got = ::read(in.get(), buffer.data(), buffer.size());
            if (got > 0) {
                for (ssize_t written = 0; written < got;) {
                    ssize_t put =
                        ::write(out.get(), buffer.data() + written, static_cast<size_t>(got - written));
                    if (put < 0) {
                        if (errno == EINTR)
                            continue;
                        return errno;
                    }
                    written += put;
                }
            }
            moved = got;
        }
        if (moved < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        if (moved == 0)
            break;
        if (!step(moved))
            return ECANCELED;
    }
    return ::fsync(out.get()) == 0 ? 0 : errno;
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
        int error = errno;
        ::rename(QFile::encodeName(aside).constData(), to.constData());
        errno = error;
        return false;
    }
    return true;
}

} // namespace

QString DocumentPackageWriter::logFileName(const QUuid& uuid) {
    return uuid.toString(QUuid::WithoutBraces).toLower() + ".hdf5";
}

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
    const PackageRemainder& remainder = document.packageRemainder();
    const QString containingFolder =
        QFileInfo(QDir::cleanPath(QDir(packagePath).absolutePath())).absolutePath();
    for (const auto& asset : document.assets()) {
        AssetReference entry;
        entry.url = asset->url();
        if (asset->url().isLocalFile())
            entry.pathRelativeToDocumentDir = relativePath(containingFolder, asset->url().toLocalFile());
        if (!asset->bookmarkData().isEmpty())
            entry.bookmarkData = asset->bookmarkData();
        entry.fileStartTime = asset->fileStartTime();
        entry.offset = asset->offset();
        entry.fileTimeZone = asset->fileTimeZone().identifier();
        entry.duration = asset->duration();
        if (asset->mediaGroup())
            entry.mediaGroup = asset->mediaGroup()->name;
        entry.kind = asset->isPhoto() ? "PhotoAsset" : "VideoAsset";
        entry.unknownKeys = asset->unknownKeys();
        reference.assets.push_back(std::move(entry));
    }
    // Entries that could not be placed go back as they were read, found from the new place.
    for (AssetReference entry : remainder.assetEntries) {
        if (entry.url && entry.url->isLocalFile())
            entry.pathRelativeToDocumentDir = relativePath(containingFolder, entry.url->toLocalFile());
        reference.assets.push_back(std::move(entry));
    }
    reference.eventTimezone = document.eventTimezone().identifier();
    reference.eventStartTimeOverride = document.eventStartTimeOverride();
    reference.eventEndTimeOverride = document.eventEndTimeOverride();
    reference.playbackPosition = document.eventPlaybackPosition();
    reference.races = document.races();
    reference.mediaGroups = document.mediaGroups();
    reference.unknownKeys = remainder.documentKeys;
    reference.boats.emplace();
    for (const auto& boat : document.boats()) {
        BoatReference entry{boat, std::nullopt, {}, {}};
        if (auto keys = remainder.boatEntryKeys.find(boat.get()); keys != remainder.boatEntryKeys.end())
            entry.unknownKeys = keys->second;
        for (const auto& log : document.logAssets(boat)) {
            LogAssetReference logEntry{log->uuid(), log->offset(), log->fileTimeZone().identifier(), {}};
            if (auto keys = remainder.logEntryKeys.find(logFileName(log->uuid()));
                keys != remainder.logEntryKeys.end())
                logEntry.unknownKeys = keys->second;
            entry.logAssets.push_back(std::move(logEntry));
        }
        for (const UnloadedLogAsset& log : remainder.unloadedLogsOf(boat.get()))
            entry.logAssets.push_back(log.reference);
        reference.boats->push_back(std::move(entry));
    }
    return reference;
}

std::variant<PackageWritePlan, DocumentSavingError> DocumentPackageWriter::plan(const Document& document,
                                                                                const QString& packagePath) {
    PackageWritePlan plan;
    plan.target = QDir::cleanPath(QDir(packagePath).absolutePath());
    plan.changeCount = document.changeCount();
    const DocumentSavingError contentError{DocumentSavingError::Kind::fileContentGeneration, {}, {}};

    // Never replace something that is not a package of ours.
    QFileInfo targetInfo(plan.target);
    if (targetInfo.exists() && (!targetInfo.isDir() || (!QFileInfo::exists(plan.target + "/content.json") &&
                                                        !QDir(plan.target).isEmpty()))) {
        Diagnostics::printLine("Warning: " + plan.target.toStdString() +
                               " exists and is not a document; not replacing it");
        return contentError;
    }
    try {
        plan.content = referenceOf(document, plan.target).encode();
    } catch (const std::exception& error) {
        Diagnostics::printLine(std::string("Warning: could not encode the document: ") + error.what());
        return contentError;
    }
    for (const auto& log : document.allLogAssets())
        plan.files.push_back({log->url().toLocalFile(), logFileName(log->uuid()), log->uuid()});
    const PackageRemainder& remainder = document.packageRemainder();
    for (const auto& boat : document.boats())
        for (const UnloadedLogAsset& log : remainder.unloadedLogsOf(boat.get()))
            if (QFileInfo(log.path).isFile())
                plan.files.push_back({log.path, logFileName(log.reference.uuid), log.reference.uuid});
    for (const QString& file : remainder.logFiles)
        if (QFileInfo(file).isFile())
            plan.files.push_back({file, QFileInfo(file).fileName(), {}});
    return plan;
}

std::optional<DocumentSavingError> DocumentPackageWriter::run(const PackageWritePlan& plan,
                                                              Placement placement, const Progress& progress,
                                                              const FailureInjection& inject,
                                                              const std::atomic<bool>* cancel) {
    auto injected = [&](const QString& step) { return inject && inject(step); };
    const QString& target = plan.target;
    const DocumentSavingError contentError{DocumentSavingError::Kind::fileContentGeneration, {}, {}};

    // A staging folder left by a save that was killed is only ever an incomplete copy.
    const QString staging = target + ".saving";
    const QString aside = target + ".replaced";
    QDir(staging).removeRecursively();
    QDir(aside).removeRecursively();
    if (injected("staging") || !QDir().mkpath(staging + "/BoatLogs")) {
        int error = injected("staging") ? EROFS : errno;
        Diagnostics::printLine("Warning: could not create " + staging.toStdString() + ": " +
                               systemErrorText(error).toStdString());
        return DocumentSavingError{
            DocumentSavingError::Kind::fileContentGeneration, {}, systemErrorText(error), error};
    }
    auto fail = [&](DocumentSavingError error) {
        QDir(staging).removeRecursively();
        return error;
    };
    auto fileError = [&](const PackageFile& file, int error) {
        QString text = error == ECANCELED ? QStringLiteral("the save was cancelled")
                       : error != 0       ? systemErrorText(error)
                                          : QStringLiteral("the file could not be written");
        Diagnostics::printLine("Could not create FileWrapper for log asset " +
                               DocumentReference::encodeUuid(file.logAsset) + ": " + text.toStdString());
        return fail({DocumentSavingError::Kind::fileWrapperCreation, file.logAsset, text, error});
    };

    // Links first; what cannot be linked is copied after, with the bytes shown.
    QStringList entries;
    std::vector<const PackageFile*> toCopy;
    qint64 bytesToCopy = 0;
    for (const PackageFile& file : plan.files) {
        const QString destination = staging + "/BoatLogs/" + file.name;
        if (injected("BoatLogs/" + file.name))
            return fileError(file, 0);
        QByteArray from = QFile::encodeName(file.source);
        QByteArray to = QFile::encodeName(destination);
        // A restored recovery copy may hold symbolic links: the package gets the file itself.
        if (::linkat(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), AT_SYMLINK_FOLLOW) == 0) {
            entries << file.name;
            continue;
        }
        if (placement == Placement::linkOrSymlink) {
            if (::symlink(from.constData(), to.constData()) != 0)
                return fileError(file, errno);
            entries << file.name;
            continue;
        }
        toCopy.push_back(&file);
        bytesToCopy += QFileInfo(file.source).size();
    }
    qint64 copied = 0;
    for (const PackageFile* file : toCopy) {
        if (progress)
            progress(copied, bytesToCopy);
        int error = copyFile(file->source, staging + "/BoatLogs/" + file->name, [&](qint64 bytes) {
            copied += bytes;
            if (progress)
                progress(copied, bytesToCopy);
            return !(cancel && cancel->load());
        });
        if (error != 0)
            return fileError(*file, error);
        entries << file->name;
    }
    Diagnostics::printLine("Saving log assets: [" + entries.join(", ").toStdString() + "]");

    QFile contentFile(staging + "/content.json");
    bool written = !injected("content.json") && contentFile.open(QIODevice::WriteOnly) &&
                   contentFile.write(plan.content.data(), static_cast<qint64>(plan.content.size())) ==
                       static_cast<qint64>(plan.content.size()) &&
                   contentFile.flush() && ::fsync(contentFile.handle()) == 0;
    contentFile.close();
    if (!written) {
        Diagnostics::printLine("Warning: could not write content.json: " +
                               contentFile.errorString().toStdString());
        return fail(contentError);
    }
    syncPath(staging + "/BoatLogs");
    syncPath(staging);

    if (cancel && cancel->load())
        return fail(
            {DocumentSavingError::Kind::fileContentGeneration, {}, "the save was cancelled", ECANCELED});
    if (injected("swap") || !swapInto(staging, target, aside)) {
        int error = errno;
        Diagnostics::printLine("Warning: could not move the saved document into place: " +
                               systemErrorText(error).toStdString());
        return fail({DocumentSavingError::Kind::fileContentGeneration, {}, systemErrorText(error), error});
    }
    syncPath(QFileInfo(target).absolutePath());
    QDir(aside).removeRecursively();
    return std::nullopt;
}

void DocumentPackageWriter::apply(Document& document, const PackageWritePlan& plan) {
    const QString boatLogs = plan.target + "/BoatLogs/";
    for (const auto& log : document.allLogAssets())
        log->setUrl(QUrl::fromLocalFile(boatLogs + logFileName(log->uuid())));
    PackageRemainder& remainder = document.packageRemainder();
    for (auto& [boat, logs] : remainder.unloadedLogs)
        for (UnloadedLogAsset& log : logs)
            log.path = boatLogs + logFileName(log.reference.uuid);
    for (QString& file : remainder.logFiles)
        file = boatLogs + QFileInfo(file).fileName();
    document.setPackagePath(plan.target);
    // What changed while the files were written is not in this package and still needs saving.
    if (document.changeCount() == plan.changeCount)
        document.setEdited(false);
}

std::optional<DocumentSavingError>
DocumentPackageWriter::write(Document& document, const QString& packagePath, const FailureInjection& inject) {
    auto planned = plan(document, packagePath);
    if (auto* error = std::get_if<DocumentSavingError>(&planned))
        return *error;
    const auto& writePlan = std::get<PackageWritePlan>(planned);
    if (auto error = run(writePlan, Placement::linkOrCopy, {}, inject))
        return error;
    apply(document, writePlan);
    return std::nullopt;
}
