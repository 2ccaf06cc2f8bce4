#pragma once

#include "app/ProgressWindowController.h"
#include "core/Instant.h"
#include "core/TimeZone.h"
#include "presentation/ExportFolder.h"

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QThreadPool>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

class MediaAsset;
class MediaGroup;
class QWidget;

// Writes what the media view shows to the export folder: the picture on screen as a PNG, or every
// photo of a media group as a copy of its file. Files are named after the instant they show.
class MediaExporter : public QObject {
    Q_OBJECT
public:
    // Shows a warning with one button; tests collect the texts instead.
    using AlertPresenter = std::function<void(const QString& title, const QString& informativeText)>;

    // `window` owns the exporter and parents its alerts and progress window.
    explicit MediaExporter(QWidget* window = nullptr);
    ~MediaExporter() override;

    ExportFolder& exportFolder() { return exportFolder_; }
    void setAlertPresenter(AlertPresenter presenter) { presentAlert_ = std::move(presenter); }

    // Writes `picture` at its own size as a PNG named after `time` in `zone`, beside any file of
    // that name rather than over it. A null picture means nothing is displayed. Returns the path
    // written, or empty when nothing was (the user was told why, or cancelled the folder choice).
    QString exportView(const QImage& picture, Instant time, const TimeZone& zone);

    // Copies the files of the photos of `group` among `assets`, byte for byte so that their
    // metadata stays, each named after its instant on the event axis in `zone`. The copying runs
    // off the main thread behind a progress window with a Cancel button; photoExportFinished tells
    // the end. False when nothing was started. A photo exported before under the same name is
    // replaced, so that exporting a group again refreshes its copies rather than doubling them.
    bool exportAllPhotos(const std::vector<std::shared_ptr<MediaAsset>>& assets,
                         const std::shared_ptr<MediaGroup>& group, const TimeZone& zone);
    bool isExportingPhotos() const { return exporting_; }
    ProgressWindowController* progressWindow() const { return progress_; }

signals:
    void photoWritten(const QString& path);
    void photoExportFinished(int written, int failed, bool cancelled);

private:
    struct PhotoCopy {
        QString source;
        QString target;
        qint64 size = 0;
    };

    void copyNextPhoto();
    void photoCopied(const QString& error);
    void reportBytes(qint64 doneInFile);
    void finishPhotoExport();
    void alert(const QString& title, const QString& informativeText);
    void pictureNotWritten(const QString& path, const QString& reason);

    QWidget* window_;
    ExportFolder exportFolder_;
    AlertPresenter presentAlert_;

    // The photo export in progress: one copy at a time on the pool, the next started from the main
    // thread, so that Cancel takes effect between two files.
    QThreadPool pool_;
    QPointer<ProgressWindowController> progress_;
    std::vector<PhotoCopy> copies_;
    QString folder_;
    std::size_t next_ = 0;
    qint64 bytesBefore_ = 0;
    qint64 totalBytes_ = 0;
    int written_ = 0;
    int failed_ = 0;
    bool exporting_ = false;
    std::atomic<bool> cancelled_ = false;
};
