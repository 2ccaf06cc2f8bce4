#include "app/DocumentController.h"

#include "app/AppDelegate.h"
#include "app/OpeningProgress.h"
#include "app/PackageSave.h"
#include "app/RecoveryScheduler.h"
#include "app/WindowController.h"
#include "core/Diagnostics.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/DocumentErrors.h"
#include "document/DocumentOpener.h"
#include "document/DocumentPackageReader.h"
#include "document/DocumentPackageWriter.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>

namespace {
const QString recentKey = QStringLiteral("recentDocuments");

QString canonicalPackagePath(const QString& path) {
    QFileInfo info(path);
    // Choosing the description file inside a package opens the package.
    if (info.isFile() && info.fileName() == QLatin1String("content.json"))
        info = QFileInfo(info.absolutePath());
    QString canonical = info.canonicalFilePath();
    return canonical.isEmpty() ? info.absoluteFilePath() : canonical;
}
} // namespace

DocumentController::DocumentController(QObject* parent) : QObject(parent) {}

DocumentController::~DocumentController() {
    for (auto& [document, window] : windows_)
        delete window.data();
}

QString DocumentController::displayName(const Document& document) {
    if (document.packagePath().isEmpty())
        return tr("Untitled");
    return QFileInfo(document.packagePath()).completeBaseName();
}

void DocumentController::watch(Document* document, std::unique_ptr<RecoveryStore::Copy> copy) {
    if (!recoveryFolder_.isEmpty()) {
        if (!copy)
            copy = std::make_unique<RecoveryStore::Copy>(recoveryFolder_);
        new RecoveryScheduler(*document, std::move(copy), document);
    }
}

Document* DocumentController::newDocument() {
    documents_.push_back(std::make_unique<Document>());
    Document* document = documents_.back().get();
    watch(document);
    makeWindowControllers(document)->show();
    emit documentsChanged();
    return document;
}

Document* DocumentController::documentAt(const QString& path) const {
    const QString wanted = canonicalPackagePath(path);
    for (const auto& document : documents_)
        if (!document->packagePath().isEmpty() && canonicalPackagePath(document->packagePath()) == wanted)
            return document.get();
    return nullptr;
}

Document* DocumentController::openDocument(const QString& path) {
    const QString packagePath = canonicalPackagePath(path);
    if (Document* open = documentAt(packagePath)) {
        if (auto* window = windowFor(open)) {
            window->show();
            window->raise();
            window->activateWindow();
        }
        return open;
    }
    Diagnostics::printLine(("Opening document at " + packagePath).toStdString());
    auto read = DocumentPackageReader::read(packagePath);
    if (auto* error = std::get_if<DocumentLoadingError>(&read)) {
        presentError(tr("The document “%1” could not be opened.").arg(QFileInfo(packagePath).fileName()),
                     failureReason(*error));
        return nullptr;
    }
    documents_.push_back(std::make_unique<Document>());
    Document* document = documents_.back().get();
    // Known at once, so that opening it again finds this window; it cannot be saved over until
    // the opener has filled it.
    document->setPackagePath(packagePath);
    watch(document);
    WindowController* window = makeWindowControllers(document);
    window->show();

    auto progress = OpeningProgress::start(window, tr("Opening document…"));
    QPointer<Document> opened(document);
    DocumentOpener::open(*document, std::get<DocumentReference>(std::move(read)), packagePath, progress,
                         [this, opened, packagePath] {
                             if (!opened || !opened->isEditable())
                                 return;
                             noteRecentDocument(packagePath);
                             if (auto* w = windowFor(opened))
                                 w->refreshViews();
                             emit documentOpened(opened);
                         });
    emit documentsChanged();
    return document;
}

void DocumentController::openDocumentWithChooser(QWidget* parent) {
    // A package is a folder: the chooser picks folders, and a content.json inside one works too.
    QFileDialog dialog(parent, tr("Open Document"));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly, false);
    dialog.setOption(QFileDialog::DontUseNativeDialog, true);
    dialog.setLabelText(QFileDialog::Accept, tr("Open"));
    if (!recentDocuments().isEmpty())
        dialog.setDirectory(QFileInfo(recentDocuments().first()).absolutePath());
    if (dialog.exec() != QDialog::Accepted)
        return;
    for (const QString& path : dialog.selectedFiles())
        openDocument(path);
}

std::vector<Document*> DocumentController::offerRecovery() {
    std::vector<Document*> restored;
    if (recoveryFolder_.isEmpty())
        return restored;
    for (const RecoveryStore::Orphan& orphan : RecoveryStore::orphans(recoveryFolder_)) {
        bool restore = true;
        if (askRestore_) {
            restore = askRestore_(orphan);
        } else {
            QMessageBox box;
            box.setIcon(QMessageBox::Warning);
            const QString name = orphan.packagePath.isEmpty()
                                     ? tr("Untitled")
                                     : QFileInfo(orphan.packagePath).completeBaseName();
            box.setText(tr("Wakeline quit unexpectedly while “%1” had unsaved changes.").arg(name));
            box.setInformativeText(
                tr("Restore opens the document with the changes it had at %1; Discard deletes them.")
                    .arg(QDateTime::fromSecsSinceEpoch(qint64(orphan.savedAt.unixSeconds()))
                             .toString(QLocale().dateTimeFormat(QLocale::ShortFormat))));
            auto* restoreButton = box.addButton(tr("Restore"), QMessageBox::AcceptRole);
            box.addButton(tr("Discard"), QMessageBox::DestructiveRole);
            box.setDefaultButton(restoreButton);
            box.exec();
            restore = box.clickedButton() == restoreButton;
        }
        if (!restore) {
            RecoveryStore::discard(orphan);
            continue;
        }
        if (Document* document = restoreDocument(orphan))
            restored.push_back(document);
    }
    return restored;
}

Document* DocumentController::restoreDocument(const RecoveryStore::Orphan& orphan) {
    auto read = DocumentPackageReader::read(orphan.copyPath);
    if (auto* error = std::get_if<DocumentLoadingError>(&read)) {
        presentError(tr("The recovered document could not be opened."), failureReason(*error));
        return nullptr;
    }
    documents_.push_back(std::make_unique<Document>());
    Document* document = documents_.back().get();
    watch(document);
    if (auto* scheduler = document->findChild<RecoveryScheduler*>())
        scheduler->keepRestoredCopy(orphan);
    WindowController* window = makeWindowControllers(document);
    window->show();
    auto progress = OpeningProgress::start(window, tr("Opening document…"));
    QPointer<Document> opened(document);
    DocumentOpener::open(*document, std::get<DocumentReference>(std::move(read)), orphan.copyPath, progress,
                         [this, opened, packagePath = orphan.packagePath] {
                             if (!opened || !opened->isEditable())
                                 return;
                             // It belongs where it came from, with its changes still unsaved.
                             opened->setPackagePath(packagePath);
                             opened->setEdited(true);
                             if (auto* w = windowFor(opened)) {
                                 w->refreshViews();
                                 w->updateTitle();
                             }
                             emit documentOpened(opened);
                         });
    emit documentsChanged();
    return document;
}

bool DocumentController::saveDocument(Document* document) {
    if (!document)
        return false;
    if (!document->isEditable()) {
        QApplication::beep();
        return false;
    }
    if (document->packagePath().isEmpty())
        return saveDocumentAs(document);
    return writePackage(*document, document->packagePath());
}

bool DocumentController::saveDocumentAs(Document* document) {
    if (!document)
        return false;
    if (!document->isEditable()) {
        QApplication::beep();
        return false;
    }
    QString path = askSaveLocation(*document);
    if (path.isEmpty())
        return false;
    const QString suffix = QStringLiteral(".") + QLatin1String(DocumentPackageWriter::extension);
    if (!path.endsWith(suffix))
        path += suffix;
    return writePackage(*document, path);
}

bool DocumentController::writePackage(Document& document, const QString& path) {
    if (auto error = PackageSave::run(document, path, windowFor(&document), injectSaveFailure_)) {
        // The user stopped it; the old package is as it was and nothing needs saying.
        if (error->systemError == ECANCELED)
            return false;
        if (error->isFolderNotWritable()) {
            const QString reason =
                tr("The folder “%1” cannot be written (%2): it may be on a read-only disk, or you may not "
                   "have permission to change it.")
                    .arg(QFileInfo(QDir::cleanPath(path)).absolutePath(), error->underlying);
            return askSaveElsewhere(document, reason) && saveDocumentAs(&document);
        }
        presentError(tr("The document “%1” could not be saved.").arg(QFileInfo(path).completeBaseName()),
                     error->description(QStringLiteral("\n")));
        return false;
    }
    noteRecentDocument(document.packagePath());
    if (auto* window = windowFor(&document))
        window->updateTitle();
    return true;
}

bool DocumentController::closeDocument(Document* document) {
    if (!document)
        return true;
    // The files are being written; closing now would leave the user unsure of what was saved.
    if (document->activity() == Document::Activity::saving) {
        QApplication::beep();
        return false;
    }
    if (document->isDocumentEdited()) {
        switch (askToSave(*document)) {
        case SaveChangesAnswer::cancel:
            return false;
        case SaveChangesAnswer::save:
            if (!saveDocument(document))
                return false;
            break;
        case SaveChangesAnswer::discard:
            break;
        }
    }
    forget(document);
    return true;
}

bool DocumentController::closeAll() {
    std::vector<Document*> open;
    for (const auto& document : documents_)
        open.push_back(document.get());
    for (Document* document : open)
        if (!closeDocument(document))
            return false;
    return true;
}

WindowController* DocumentController::windowFor(Document* document) const {
    for (const auto& [d, window] : windows_)
        if (d == document)
            return window;
    return nullptr;
}

WindowController* DocumentController::makeWindowControllers(Document* document) {
    auto* window = new WindowController(document, *this);
    windows_.emplace_back(document, window);
    window->windowDidLoad();
    return window;
}

void DocumentController::forget(Document* document) {
    document->pause();
    // Closed on purpose: nothing to recover, even if the program ends before the document is
    // deleted.
    delete document->findChild<RecoveryScheduler*>();
    if (auto* window = windowFor(document)) {
        window->documentWillClose();
        window->deleteLater();
    }
    std::erase_if(windows_, [document](const auto& entry) { return entry.first == document; });
    auto it = std::find_if(documents_.begin(), documents_.end(),
                           [document](const auto& owned) { return owned.get() == document; });
    if (it != documents_.end()) {
        // Windows and timers may still hold it until the current event is handled.
        it->release()->deleteLater();
        documents_.erase(it);
    }
    emit documentsChanged();
}

DocumentController::SaveChangesAnswer DocumentController::askToSave(Document& document) {
    if (askToSave_)
        return askToSave_(document);
    QMessageBox box(windowFor(&document));
    box.setIcon(QMessageBox::Warning);
    box.setText(tr("Do you want to save the changes made to the document “%1”?").arg(displayName(document)));
    box.setInformativeText(tr("Your changes will be lost if you don't save them."));
    auto* save = box.addButton(tr("Save"), QMessageBox::AcceptRole);
    auto* discard = box.addButton(tr("Don't Save"), QMessageBox::DestructiveRole);
    box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(save);
    box.exec();
    if (box.clickedButton() == save)
        return SaveChangesAnswer::save;
    if (box.clickedButton() == discard)
        return SaveChangesAnswer::discard;
    return SaveChangesAnswer::cancel;
}

bool DocumentController::askSaveElsewhere(Document& document, const QString& reason) {
    if (askSaveElsewhere_)
        return askSaveElsewhere_(document, reason);
    QMessageBox box(windowFor(&document));
    box.setIcon(QMessageBox::Warning);
    box.setText(tr("The document “%1” could not be saved here.").arg(displayName(document)));
    box.setInformativeText(reason + QStringLiteral("\n\n") + tr("You can save it somewhere else."));
    auto* elsewhere = box.addButton(tr("Save As…"), QMessageBox::AcceptRole);
    box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(elsewhere);
    box.exec();
    return box.clickedButton() == elsewhere;
}

QString DocumentController::askSaveLocation(Document& document) {
    if (askSaveLocation_)
        return askSaveLocation_(document);
    QString start = document.packagePath().isEmpty() ? QDir::homePath() + QStringLiteral("/") +
                                                           displayName(document) + QStringLiteral(".wakeline")
                                                     : document.packagePath();
    return QFileDialog::getSaveFileName(windowFor(&document), tr("Save Document"), start,
                                        tr("Wakeline documents (*.wakeline)"));
}

void DocumentController::presentError(const QString& message, const QString& informativeText) {
    Diagnostics::printLine((message + " " + informativeText).toStdString());
    if (presentError_) {
        presentError_(message, informativeText);
        return;
    }
    QMessageBox box(QApplication::activeWindow());
    box.setIcon(QMessageBox::Critical);
    box.setText(message);
    box.setInformativeText(informativeText);
    box.exec();
}

QStringList DocumentController::recentDocuments() {
    return UserDefaults::standard().value(recentKey).toStringList();
}

void DocumentController::noteRecentDocument(const QString& path) {
    QStringList recent = recentDocuments();
    recent.removeAll(path);
    recent.prepend(path);
    while (recent.size() > maximumRecentDocuments)
        recent.removeLast();
    UserDefaults::standard().setValue(recentKey, recent);
}

void DocumentController::clearRecentDocuments() {
    UserDefaults::standard().remove(recentKey);
}
