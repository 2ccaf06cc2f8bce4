#include "config/MediaFileAddition.h"

#include "app/ProgressWindowController.h"
#include "document/Document.h"
#include "document/DocumentEdit.h"
#include "media/MediaFileAdder.h"
#include "presentation/EditPerformer.h"
#include "presentation/WarningAlert.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QPointer>

ProgressWindowController* MediaFileAddition::start(QWidget* parent, Document* document,
                                                   std::shared_ptr<MediaGroup> group, const QList<QUrl>& urls,
                                                   Alert alert) {
    if (!document || !group)
        return nullptr;
    const QList<QUrl> files = filesOf(urls);
    if (files.isEmpty())
        return nullptr;
    if (!alert)
        alert = &showWarningAlert;
    auto* progress = new ProgressWindowController();
    progress->setAttribute(Qt::WA_DeleteOnClose);
    progress->setWindowTitle(QObject::tr("Add Media Files"));
    progress->setAutoClose(true);
    progress->begin(QObject::tr("Loading media files…"));
    // A document closed meanwhile never reports back: its window goes with it.
    QObject::connect(document, &QObject::destroyed, progress, &QWidget::close);
    // The asker may be gone when the files are examined (another item selected): the window
    // closes and the alert shows all the same.
    QPointer<ProgressWindowController> window(progress);
    QPointer<QWidget> owner(parent);
    MediaFileAdder::add(
        document, files, std::move(group), document->eventTimezone(),
        [window, owner, alert](const MediaFileAdder::Result& result) {
            if (window)
                window->done();
            if (result.hasFailures())
                alert(owner, MediaFileAdder::Result::alertMessage(), result.alertInformativeText());
        },
        &performEdit);
    return progress;
}

QList<QUrl> MediaFileAddition::filesOf(const QList<QUrl>& urls) {
    QList<QUrl> files;
    for (const QUrl& url : urls) {
        if (!url.isLocalFile())
            continue;
        const QString path = url.toLocalFile();
        if (!QFileInfo(path).isDir()) {
            files << url;
            continue;
        }
        QStringList inside;
        QDirIterator it(path, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (it.hasNext())
            inside << it.next();
        inside.sort();
        for (const QString& file : inside)
            files << QUrl::fromLocalFile(file);
    }
    return files;
}
