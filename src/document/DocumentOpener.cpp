#include "document/DocumentOpener.h"

#include "boatlog/LogFileAsset.h"
#include "core/SerialQueue.h"
#include "document/Document.h"
#include "document/LegDerivation.h"
#include "document/ProgressSink.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "race/Race.h"

#include <QDir>
#include <QDirIterator>
#include <QEventLoop>
#include <QFileInfo>
#include <QHash>
#include <QPointer>
#include <QSet>

namespace {

// What the HDF5 queue prepares, handed to the document in one piece.
struct OpenedContent {
    std::vector<std::shared_ptr<Boat>> boats;
    std::vector<std::pair<std::shared_ptr<Boat>, std::shared_ptr<LogFileAsset>>> logs;
    std::vector<std::shared_ptr<MediaGroup>> groups;
    std::vector<std::shared_ptr<MediaAsset>> assets;
    PackageRemainder remainder;
};

TimeZone zoneOr(const std::optional<std::string>& identifier, const TimeZone& fallback) {
    if (!identifier)
        return fallback;
    return TimeZone::fromIdentifier(*identifier).value_or(fallback);
}

QString logFileName(const QUuid& uuid) {
    return uuid.toString(QUuid::WithoutBraces).toLower() + ".hdf5";
}

// A library can throw on a file it chokes on (or run out of memory on a huge one); that is one
// bad log, not a reason to stop opening the rest.
std::shared_ptr<LogFileAsset> loadLog(const QString& path, const BoatReference& entry,
                                      const LogAssetReference& log, QString& failure) {
    try {
        auto asset = LogFileAsset::open(path, entry.boat, log.uuid, log.offset.value_or(0.0),
                                        zoneOr(log.fileTimeZone, TimeZone::utc()), &failure);
        if (!asset && failure.isEmpty())
            failure = "the file is not a readable boat log";
        return asset;
    } catch (const std::exception& error) {
        failure = QString::fromLocal8Bit(error.what());
    } catch (...) {
        failure = "an unexpected error";
    }
    return nullptr;
}

// The files of BoatLogs/ that no log entry names: kept, since they may belong to another
// version of Wakeline or have been put there by the user.
QStringList unnamedLogFiles(const QString& boatLogs, const DocumentReference& reference) {
    QSet<QString> named;
    for (const BoatReference& entry : reference.boats.value_or(std::vector<BoatReference>{}))
        for (const LogAssetReference& log : entry.logAssets)
            named.insert(logFileName(log.uuid));
    QStringList files;
    for (const QFileInfo& file :
         QDir(boatLogs).entryInfoList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name))
        if (!named.contains(file.fileName()))
            files << file.absoluteFilePath();
    return files;
}

// Files below the package's folder by name, listed once and only when some media file is not
// where its relative path says.
class FileIndex {
public:
    explicit FileIndex(QString folder) : folder_(std::move(folder)) {}
    QString find(const QString& name) {
        if (!listed_) {
            QDirIterator it(folder_, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                QString path = it.next();
                files_.insert(QFileInfo(path).fileName(), path);
            }
            listed_ = true;
        }
        return files_.value(name);
    }

private:
    QString folder_;
    bool listed_ = false;
    QHash<QString, QString> files_;
};

QString locate(const AssetReference& asset, const QString& containingFolder, FileIndex& index) {
    if (asset.pathRelativeToDocumentDir) {
        QString candidate =
            QDir::cleanPath(QDir(containingFolder).filePath(*asset.pathRelativeToDocumentDir));
        if (QFileInfo(candidate).isFile())
            return candidate;
    }
    QString name = asset.url ? QFileInfo(asset.url->path()).fileName()
                             : QFileInfo(asset.pathRelativeToDocumentDir.value_or("")).fileName();
    if (!name.isEmpty()) {
        QString found = index.find(name);
        if (!found.isEmpty())
            return found;
    }
    if (asset.url && asset.url->isLocalFile() && QFileInfo(asset.url->toLocalFile()).isFile())
        return asset.url->toLocalFile();
    return {};
}

std::shared_ptr<MediaGroup> groupNamed(OpenedContent& content, const std::optional<QString>& name) {
    QString wanted = name.value_or("Media");
    for (const auto& group : content.groups)
        if (group->name == wanted)
            return group;
    auto group = std::make_shared<MediaGroup>(wanted);
    content.groups.push_back(group);
    return group;
}

OpenedContent fill(const DocumentReference& reference, const QString& packagePath, ProgressSink& progress) {
    OpenedContent content;
    if (reference.mediaGroups)
        content.groups = *reference.mediaGroups;

    PackageRemainder& remainder = content.remainder;
    remainder.documentKeys = reference.unknownKeys;
    const QString boatLogs = QDir(packagePath).filePath("BoatLogs");
    for (const BoatReference& entry : reference.boats.value_or(std::vector<BoatReference>{})) {
        content.boats.push_back(entry.boat);
        remainder.boatEntryKeys[entry.boat.get()] = entry.unknownKeys;
        for (const LogAssetReference& log : entry.logAssets) {
            QString path = QDir(boatLogs).filePath(logFileName(log.uuid));
            if (!QFileInfo(path).isFile()) {
                progress.appendLog("Warning: no HDF5 data file found for boat " + entry.boat->fullName());
                remainder.addUnloadedLog(entry.boat, {log, path, "no HDF5 data file found"});
                continue;
            }
            QString failure;
            auto asset = loadLog(path, entry, log, failure);
            if (!asset) {
                progress.appendLog("Could not load data at " + path + " for boat " + entry.boat->fullName() +
                                   ", skipping: " + failure);
                remainder.addUnloadedLog(entry.boat, {log, path, failure});
                continue;
            }
            remainder.logEntryKeys[logFileName(log.uuid)] = log.unknownKeys;
            content.logs.emplace_back(entry.boat, std::move(asset));
        }
    }
    remainder.logFiles = unnamedLogFiles(boatLogs, reference);

    const QString containingFolder =
        QFileInfo(QDir::cleanPath(QDir(packagePath).absolutePath())).absolutePath();
    FileIndex index(containingFolder);
    for (const AssetReference& entry : reference.assets) {
        QString path = locate(entry, containingFolder, index);
        // A file found nowhere keeps its stored place, so that saving again loses nothing.
        QUrl url = !path.isEmpty() ? QUrl::fromLocalFile(path)
                   : entry.url
                       ? *entry.url
                       : QUrl::fromLocalFile(
                             QDir(containingFolder).filePath(entry.pathRelativeToDocumentDir.value_or("")));
        if (path.isEmpty())
            progress.appendLog("Warning: media file not found: " + url.toString(QUrl::PreferLocalFile));
        // Entries that cannot be placed are kept as they were read, so that saving writes them back.
        const bool photo = entry.kind == "PhotoAsset";
        if (!photo && entry.kind != "VideoAsset") {
            progress.appendLog("Warning: unknown kind of media \"" +
                               QString::fromStdString(entry.kind.value_or("")) + "\" for " + url.fileName() +
                               ", skipping");
            remainder.assetEntries.push_back(entry);
            continue;
        }
        TimeZone zone = zoneOr(entry.fileTimeZone, TimeZone::utc());
        std::shared_ptr<MediaAsset> asset;
        std::shared_ptr<MediaGroup> group;
        try {
            group = groupNamed(content, entry.mediaGroup);
            if (entry.fileStartTime) {
                if (photo)
                    asset = std::make_shared<PhotoAsset>(url, *entry.fileStartTime,
                                                         entry.offset.value_or(0.0), zone, group);
                else
                    asset =
                        std::make_shared<VideoAsset>(url, *entry.fileStartTime, entry.duration.value_or(0.0),
                                                     entry.offset.value_or(0.0), zone, group);
            } else if (!path.isEmpty()) {
                // Saved before its time was known: place it from the file, as when it was added.
                asset = photo ? std::shared_ptr<MediaAsset>(PhotoAsset::detect(url, zone, group).asset)
                              : std::shared_ptr<MediaAsset>(VideoAsset::detect(url, zone, group).asset);
                if (asset && entry.offset)
                    asset->setOffset(*entry.offset);
            }
        } catch (const std::exception& error) {
            progress.appendLog("Warning: could not read " + url.fileName() + ": " +
                               QString::fromLocal8Bit(error.what()));
            asset = nullptr;
        }
        if (!asset) {
            progress.appendLog("Warning: no recording time for " + url.fileName() + ", skipping");
            remainder.assetEntries.push_back(entry);
            continue;
        }
        if (entry.bookmarkData)
            asset->setBookmarkData(*entry.bookmarkData);
        asset->setUnknownKeys(entry.unknownKeys);
        content.assets.push_back(std::move(asset));
    }
    return content;
}

} // namespace

bool DocumentOpener::openAndWait(Document& document, DocumentReference reference, const QString& packagePath,
                                 std::shared_ptr<ProgressSink> progress) {
    QEventLoop loop;
    open(document, std::move(reference), packagePath, std::move(progress), [&loop] { loop.quit(); });
    loop.exec();
    return document.isEditable();
}

void DocumentOpener::open(Document& document, DocumentReference reference, const QString& packagePath,
                          std::shared_ptr<ProgressSink> progress, std::function<void()> finished) {
    progress->begin("Opening document…");
    document.setActivity(Document::Activity::opening);
    QPointer<Document> target(&document);
    auto shared = std::make_shared<DocumentReference>(std::move(reference));
    SerialQueue::hdf().async([target, shared, packagePath, progress, finished] {
        std::shared_ptr<OpenedContent> content;
        try {
            content = std::make_shared<OpenedContent>(fill(*shared, packagePath, *progress));
        } catch (const std::exception& error) {
            // Half a document must never be saved over the whole one: it stays unopened, and so
            // read-only, until the user closes it.
            progress->appendLog("Could not open the document: " + QString::fromLocal8Bit(error.what()));
            QMetaObject::invokeMethod(
                target.data(),
                [progress, finished] {
                    progress->done();
                    if (finished)
                        finished();
                },
                Qt::QueuedConnection);
            return;
        }
        QMetaObject::invokeMethod(
            target.data(),
            [target, shared, packagePath, progress, finished, content] {
                if (!target)
                    return;
                Document& document = *target;
                document.setEventTimezone(zoneOr(shared->eventTimezone, TimeZone::current()));
                document.setEventStartTimeOverride(shared->eventStartTimeOverride);
                document.setEventEndTimeOverride(shared->eventEndTimeOverride);
                document.setRaces(shared->races.value_or(std::vector<std::shared_ptr<Race>>{}));
                // Older files mark the main boat with a flag of its own.
                for (const BoatReference& entry : shared->boats.value_or(std::vector<BoatReference>{}))
                    if (entry.isMain.value_or(false))
                        entry.boat->setDisplayMode(Boat::DisplayMode::Main);
                document.setBoats(content->boats);
                for (const auto& [boat, log] : content->logs)
                    document.addLogAsset(boat, log);
                document.setMediaGroups(content->groups);
                for (const auto& asset : content->assets)
                    document.addAsset(asset, asset->mediaGroup());
                document.setPackageRemainder(std::move(content->remainder));
                LegDerivation::apply(document);
                if (shared->playbackPosition)
                    document.setPlaybackPosition(*shared->playbackPosition, false);
                else if (auto start = document.eventStartTime())
                    document.setPlaybackPosition(*start, false);
                document.setPackagePath(QDir::cleanPath(QDir(packagePath).absolutePath()));
                document.postAssetsUpdated();
                document.setEdited(false);
                progress->done();
                document.setActivity(Document::Activity::ready);
                if (finished)
                    finished();
            },
            Qt::QueuedConnection);
    });
}
