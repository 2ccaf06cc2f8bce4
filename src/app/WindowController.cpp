#include "app/WindowController.h"

#include "app/AppDelegate.h"
#include "app/DocumentController.h"
#include "app/MainMenu.h"
#include "config/LogImportController.h"
#include "core/FatalError.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/DocumentEdit.h"
#include "media/MediaFileAdder.h"
#include "media/MediaGroup.h"
#include "media/MediaTypes.h"
#include "presentation/EditPerformer.h"
#include "presentation/VideoPlaybackViewController.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QMimeData>
#include <QStandardPaths>

namespace {
const QString stateKey = QStringLiteral("DocumentWindowState");
}

WindowController::WindowController(Document* document, DocumentController& documents, QWidget* parent)
    : PresentationWindowController(parent), documents_(documents) {
    currentDocument_ = document;
    watchDocument();
    connect(document, &Document::editedChanged, this, [this] { updateTitle(); });
    if (auto* delegate = AppDelegate::shared())
        MainMenu::install(*this, *delegate);
    updateTitle();
    // Log files dropped on the window are imported for a boat of this document.
    LogImportController::acceptLogDrops(this, [this] { return currentDocument(); });
}

WindowController::~WindowController() = default;

void WindowController::setCurrentDocument(Document*) {
    fatalError("Should not be setting currentDocument here");
}

void WindowController::windowDidLoad() {
    QVariant state = UserDefaults::standard().value(stateKey);
    layout_ = PresentationLayout::videoMapTimeline;
    if (state.typeId() == QMetaType::QVariantMap)
        restoreState(state.toMap());
    // A record without a usable layout keeps the default one.
    if (rootViews_.empty())
        applyLayout();
}

void WindowController::updateTitle() {
    Document* document = currentDocument();
    setWindowTitle((document ? DocumentController::displayName(*document) : tr("Untitled")) +
                   QStringLiteral("[*] — Wakeline"));
    setWindowModified(document && document->isDocumentEdited());
    setWindowFilePath(document ? document->packagePath() : QString());
}

void WindowController::documentWillClose() {
    closing_ = true;
    UserDefaults::standard().setValue(stateKey, stateRecord());
    if (auto* delegate = AppDelegate::shared())
        delegate->documentWindowClosed(this);
    close();
}

void WindowController::closeEvent(QCloseEvent* event) {
    if (closing_) {
        event->accept();
        return;
    }
    // Closing the window closes the document; the controller asks about unsaved changes and
    // calls back through documentWillClose.
    event->ignore();
    documents_.closeDocument(currentDocument());
}

void WindowController::changeEvent(QEvent* event) {
    PresentationWindowController::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        if (auto* delegate = AppDelegate::shared())
            delegate->documentWindowBecameKey(this);
}

namespace {
// The photos and videos among dropped files.
QStringList droppedMedia(const QMimeData* data) {
    QStringList files;
    if (!data || !data->hasUrls())
        return files;
    for (const QUrl& url : data->urls())
        if (url.isLocalFile() && (isSupportedVideo(url) || isSupportedPhoto(url)))
            files << url.toLocalFile();
    return files;
}
} // namespace

void WindowController::dragEnterEvent(QDragEnterEvent* event) {
    if (!droppedMedia(event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void WindowController::dropEvent(QDropEvent* event) {
    const QStringList files = droppedMedia(event->mimeData());
    if (files.isEmpty())
        return;
    event->acceptProposedAction();
    // After the drop returns: the drag source is not kept waiting for the files to be examined.
    QMetaObject::invokeMethod(
        this, [this, files] { addMediaFiles(files); }, Qt::QueuedConnection);
}

void WindowController::addAssets() {
    Document* document = currentDocument();
    if (!document)
        return;
    if (!document->isEditable()) {
        QApplication::beep();
        return;
    }
    const QStringList files = QFileDialog::getOpenFileNames(
        this, tr("Add Photos and Videos"), QStandardPaths::writableLocation(QStandardPaths::MoviesLocation),
        tr("Photos and videos (*.jpg *.jpeg *.png *.heic *.tif *.tiff *.dng *.mp4 *.mov *.m4v *.avi *.mkv "
           "*.mts "
           "*.MP4 *.MOV *.JPG *.JPEG);;All files (*)"));
    addMediaFiles(files);
}

void WindowController::addMediaFiles(const QStringList& files) {
    Document* document = currentDocument();
    if (!document || files.isEmpty())
        return;
    if (!document->isEditable()) {
        QApplication::beep();
        return;
    }
    // The group this window shows; else the first group; a document without groups gets one.
    std::shared_ptr<MediaGroup> group;
    if (auto* video = videoViewController())
        group = video->mediaGroup();
    if (!group && !document->mediaGroups().empty())
        group = document->mediaGroups().front();
    // A document without groups gets one, added with the assets (and undone with them).
    if (!group)
        group = std::make_shared<MediaGroup>(QStringLiteral("Other"));
    QList<QUrl> urls;
    for (const QString& file : files)
        urls << QUrl::fromLocalFile(file);
    QPointer<WindowController> window(this);
    MediaFileAdder::add(
        document, urls, group, document->eventTimezone(),
        [window](const MediaFileAdder::Result& result) {
            if (!window)
                return;
            if (auto* video = window->videoViewController())
                video->refresh();
            if (result.hasFailures()) {
                QMessageBox box(window);
                box.setIcon(QMessageBox::Warning);
                box.setText(MediaFileAdder::Result::alertMessage());
                box.setInformativeText(result.alertInformativeText());
                box.addButton(MediaFileAdder::Result::alertButton(), QMessageBox::AcceptRole);
                box.exec();
            }
        },
        &performEdit);
}
