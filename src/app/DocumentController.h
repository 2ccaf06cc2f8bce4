#pragma once

#include "document/DocumentPackageWriter.h"
#include "document/RecoveryStore.h"

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

class Document;
class WindowController;
class QWidget;

// The open documents and their windows: new, open (package folders), open recent, save, save
// as, close with the save-changes question, and quit.
class DocumentController : public QObject {
    Q_OBJECT
public:
    explicit DocumentController(QObject* parent = nullptr);
    ~DocumentController() override;

    // Answers of the save-changes question; tests answer it themselves.
    enum class SaveChangesAnswer { save, discard, cancel };
    using SaveChangesQuestion = std::function<SaveChangesAnswer(Document&)>;
    void setSaveChangesQuestion(SaveChangesQuestion question) { askToSave_ = std::move(question); }
    // Where Save As writes, or empty to cancel; tests answer it themselves.
    using SaveLocationQuestion = std::function<QString(Document&)>;
    void setSaveLocationQuestion(SaveLocationQuestion question) { askSaveLocation_ = std::move(question); }
    // Errors are shown in an alert; tests collect them instead.
    using ErrorPresenter = std::function<void(const QString& message, const QString& informativeText)>;
    void setErrorPresenter(ErrorPresenter presenter) { presentError_ = std::move(presenter); }
    // A save into a folder that cannot be written offers Save As; true takes the offer. Tests
    // answer it themselves.
    using SaveElsewhereQuestion = std::function<bool(Document&, const QString& reason)>;
    void setSaveElsewhereQuestion(SaveElsewhereQuestion question) { askSaveElsewhere_ = std::move(question); }
    // Restore (true) or discard a document left by a program that ended without closing it.
    using RestoreQuestion = std::function<bool(const RecoveryStore::Orphan&)>;
    void setRestoreQuestion(RestoreQuestion question) { askRestore_ = std::move(question); }
    // Where recovery copies go; empty keeps none. The default is RecoveryStore::defaultFolder().
    void setRecoveryFolder(const QString& folder) { recoveryFolder_ = folder; }
    const QString& recoveryFolder() const { return recoveryFolder_; }
    // For tests: fails saves at a step, as DocumentPackageWriter's injection does.
    void setSaveFailureInjection(DocumentPackageWriter::FailureInjection inject) {
        injectSaveFailure_ = std::move(inject);
    }

    Document* newDocument();
    // Opens the package at `path` (or brings its window to the front when it is open already).
    // The window shows at once; the logs load behind the progress window. None when the package
    // cannot be read, with the reason shown.
    Document* openDocument(const QString& path);
    void openDocumentWithChooser(QWidget* parent);
    // Offers each document left by a crash: Restore opens it with its unsaved changes, Discard
    // drops it. Answers the documents restored.
    std::vector<Document*> offerRecovery();
    Document* restoreDocument(const RecoveryStore::Orphan& orphan);

    // False when the save failed or the user cancelled the location. A document that is still
    // opening, or being saved, cannot be saved (nor edited) until it is done.
    bool saveDocument(Document* document);
    bool saveDocumentAs(Document* document);
    // Asks about unsaved changes first; false when the user cancelled or the save failed.
    bool closeDocument(Document* document);
    // Closes every document, asking for each; false when one was kept open.
    bool closeAll();

    const std::vector<std::unique_ptr<Document>>& documents() const { return documents_; }
    WindowController* windowFor(Document* document) const;
    Document* documentAt(const QString& path) const;

    static QStringList recentDocuments();
    static void noteRecentDocument(const QString& path);
    static void clearRecentDocuments();
    static constexpr int maximumRecentDocuments = 10;

    // "Untitled" for a new document, else the package name without its extension.
    static QString displayName(const Document& document);

signals:
    void documentsChanged();
    // Opening finished (the logs are in); for tests and the command line.
    void documentOpened(Document* document);

private:
    WindowController* makeWindowControllers(Document* document);
    // Saves into `path`; on failure says why and keeps the edited mark.
    bool writePackage(Document& document, const QString& path);
    void forget(Document* document);
    SaveChangesAnswer askToSave(Document& document);
    QString askSaveLocation(Document& document);
    void presentError(const QString& message, const QString& informativeText);

    std::vector<std::unique_ptr<Document>> documents_;
    std::vector<std::pair<Document*, QPointer<WindowController>>> windows_;
    void watch(Document* document, std::unique_ptr<RecoveryStore::Copy> copy = {});
    bool askSaveElsewhere(Document& document, const QString& reason);

    SaveChangesQuestion askToSave_;
    SaveElsewhereQuestion askSaveElsewhere_;
    RestoreQuestion askRestore_;
    QString recoveryFolder_ = RecoveryStore::defaultFolder();
    DocumentPackageWriter::FailureInjection injectSaveFailure_;
    SaveLocationQuestion askSaveLocation_;
    ErrorPresenter presentError_;
};
