#include "presentation/MediaExporter.h"

#include "app/ProgressWindowController.h"
#include "core/UserDefaults.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "presentation/WarningAlert.h"

#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <QSaveFile>
#include <QSet>
#include <cstdio>

namespace {

constexpr qint64 copyChunk = 1 << 20;

void printWarning(const QString& line) {
    std::fprintf(stderr, "%s\n", line.toLocal8Bit().constData());
    std::fflush(stderr);
}

// Copies through a temporary file renamed into place, so that a failed or interrupted copy never
// leaves half a photo under a good name. Returns the reason for a failure, else empty.
QString copyPhoto(const QString& source, const QString& target, const std::function<void(qint64)>& progress) {
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly))
        return QObject::tr("the photo %1 could not be read: %2").arg(source, in.errorString());
    QSaveFile out(target);
    if (!out.open(QIODevice::WriteOnly))
        return out.errorString();
    qint64 done = 0;
    while (!in.atEnd()) {
        QByteArray chunk = in.read(copyChunk);
        if (chunk.isEmpty() && in.error() != QFileDevice::NoError)
            return QObject::tr("the photo %1 could not be read: %2").arg(source, in.errorString());
        if (out.write(chunk) != chunk.size())
            return out.errorString();
        done += chunk.size();
        progress(done);
    }
    if (!out.commit())
        return out.errorString();
    return {};
}

} // namespace

MediaExporter::MediaExporter(QWidget* window)
    : QObject(window), window_(window), exportFolder_(UserDefaults::standard()) {
    presentAlert_ = [this](const QString& title, const QString& informativeText) {
        showWarningAlert(window_, title, informativeText);
    };
    pool_.setMaxThreadCount(1);
}

MediaExporter::~MediaExporter() {
    // The copy under way finishes; the rest are not started. Its report back is dropped with us.
    cancelled_ = true;
    pool_.waitForDone();
    delete progress_.data();
}

void MediaExporter::alert(const QString& title, const QString& informativeText) {
    presentAlert_(title, informativeText);
}

void MediaExporter::pictureNotWritten(const QString& path, const QString& reason) {
    alert(tr("Could not export the picture"),
          tr("The picture could not be written to %1: %2. Check that the folder can be written, or choose "
             "another with Choose Export Folder…")
              .arg(path, reason));
}

QString MediaExporter::exportView(const QImage& picture, Instant time, const TimeZone& zone) {
    if (picture.isNull()) {
        alert(tr("Nothing to export"),
              tr("Seek to a point on the timeline where a photo or video is displayed."));
        return {};
    }
    std::optional<QString> folder = exportFolder_.folder();
    if (!folder)
        return {};
    const QString stem = ExportFolder::timeName(time, zone);
    QString path;
    QFile file;
    for (int number = 1;; ++number) {
        path = ExportFolder::numberedPath(*folder, stem, "png", number);
        QFileInfo info(path);
        if (info.exists() || info.isSymLink())
            continue;
        file.setFileName(path);
        // NewOnly: a file that appeared since the check above is still never written over.
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            break;
        if (!QFileInfo::exists(path)) {
            pictureNotWritten(path, file.errorString());
            return {};
        }
    }
    QImageWriter writer(&file, "png");
    const bool encoded = writer.write(picture);
    if (!encoded || !file.flush()) {
        QString reason = encoded ? file.errorString() : writer.errorString();
        file.remove();
        pictureNotWritten(path, reason);
        return {};
    }
    return path;
}

bool MediaExporter::exportAllPhotos(const std::vector<std::shared_ptr<MediaAsset>>& assets,
                                    const std::shared_ptr<MediaGroup>& group, const TimeZone& zone) {
    if (exporting_) {
        if (progress_)
            progress_->raise();
        return false;
    }
    std::vector<std::shared_ptr<MediaAsset>> photos;
    for (const auto& asset : assets)
        if (asset && asset->isPhoto() && group && asset->mediaGroup() == group)
            photos.push_back(asset);
    if (photos.empty()) {
        alert(tr("No photos in selected media group"),
              "The media group " + (group ? group->name : QString()) +
                  " does not contain any photos. Select a different media group. For video snapshots, export "
                  "snapshots one by one.");
        return false;
    }
    std::optional<QString> folder = exportFolder_.folder();
    if (!folder)
        return false;

    folder_ = *folder;
    copies_.clear();
    totalBytes_ = 0;
    // Photos of a burst share a tenth of a second; each still gets a file of its own.
    QSet<QString> taken;
    for (const auto& photo : photos) {
        PhotoCopy copy;
        copy.source = photo->url().toLocalFile();
        QFileInfo source(copy.source);
        const QString stem = ExportFolder::timeName(photo->startTime(), zone);
        for (int number = 1; copy.target.isEmpty() || taken.contains(copy.target); ++number)
            copy.target = ExportFolder::numberedPath(folder_, stem, source.suffix(), number);
        taken.insert(copy.target);
        copy.size = source.size();
        totalBytes_ += copy.size;
        copies_.push_back(std::move(copy));
    }
    next_ = 0;
    bytesBefore_ = 0;
    written_ = 0;
    failed_ = 0;
    cancelled_ = false;
    exporting_ = true;

    // A window of its own per export, so that the log of the one before does not linger.
    if (progress_)
        progress_->close();
    progress_ = new ProgressWindowController(window_);
    progress_->setAttribute(Qt::WA_DeleteOnClose);
    progress_->begin(tr("Exporting photos..."));
    progress_->setCancelHandler([this] { cancelled_ = true; });
    progress_->setByteProgress(0, totalBytes_);
    copyNextPhoto();
    return true;
}

void MediaExporter::copyNextPhoto() {
    if (cancelled_ || next_ >= copies_.size()) {
        finishPhotoExport();
        return;
    }
    PhotoCopy copy = copies_[next_];
    pool_.start([this, copy] {
        qint64 shownMegabytes = 0;
        QString error = copyPhoto(copy.source, copy.target, [&](qint64 done) {
            // One report per megabyte is plenty for a bar and keeps the main thread's queue short.
            if (done / copyChunk == shownMegabytes)
                return;
            shownMegabytes = done / copyChunk;
            QMetaObject::invokeMethod(
                this, [this, done] { reportBytes(done); }, Qt::QueuedConnection);
        });
        QMetaObject::invokeMethod(
            this, [this, error] { photoCopied(error); }, Qt::QueuedConnection);
    });
}

void MediaExporter::reportBytes(qint64 doneInFile) {
    if (progress_)
        progress_->setByteProgress(bytesBefore_ + doneInFile, totalBytes_);
}

void MediaExporter::photoCopied(const QString& error) {
    const PhotoCopy& copy = copies_[next_];
    if (error.isEmpty()) {
        ++written_;
    } else {
        ++failed_;
        const QString warning = "Warning: could not write photo to " + copy.target;
        const QString reason = "  " + error;
        printWarning(warning);
        printWarning(reason);
        if (progress_) {
            progress_->appendLog(warning);
            progress_->appendLog(reason);
        }
    }
    bytesBefore_ += copy.size;
    reportBytes(0);
    ++next_;
    if (error.isEmpty())
        emit photoWritten(copy.target);
    copyNextPhoto();
}

void MediaExporter::finishPhotoExport() {
    exporting_ = false;
    const int total = int(copies_.size());
    const bool cancelled = cancelled_ && next_ < copies_.size();
    if (progress_) {
        if (cancelled)
            progress_->appendLog(tr("Export cancelled. The %1 of %2 photos written before stay in %3.")
                                     .arg(written_)
                                     .arg(total)
                                     .arg(folder_));
        else if (failed_ > 0)
            progress_->appendLog(tr("%1 of %2 photos written to %3.").arg(written_).arg(total).arg(folder_));
        // Nothing to read when all went well.
        progress_->setAutoClose(!cancelled && failed_ == 0);
        progress_->done();
    }
    emit photoExportFinished(written_, failed_, cancelled);
}
