#pragma once

#include "document/Document.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>
#include <QWidget>
#include <memory>
#include <vector>

class Document;
class DocumentController;
class PresentationWindowController;
class WindowController;

// The program's delegate: registers the default settings, restores the presentation windows of
// the last run, starts crash reporting, keeps the list of presentation windows and the active
// document (that of the active document window), and at quit saves the windows and removes the
// temporary folder.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // The defaults a first launch starts from; registering never overwrites the user's values.
    static QVariantMap registeredDefaults();
    static void registerDefaults();
    // Where converted logs are staged; removed at quit.
    static QString temporaryFolder();

    void applicationDidFinishLaunching(bool startCrashReporting = true);
    // Removes the temporary folder, ignoring failure; always answers that the program may end.
    bool applicationShouldTerminate();
    void applicationWillTerminate();
    // The Quit command: closes every document (asking about unsaved changes), saves the
    // presentation windows while they are still on screen, then ends the program.
    void quit();

    DocumentController& documentController() { return *documentController_; }

    const std::vector<QPointer<PresentationWindowController>>& presentationWindowControllers() const {
        return presentationWindowControllers_;
    }
    PresentationWindowController* newPresentationWindow();
    // The Preferences window: made at the first call, then shown again.
    void openPreferencesWindow();

    Document* activeDocument() const { return activeDocument_; }
    void setActiveDocument(Document* document);
    // The document window that was activated; presentation windows follow its document.
    void documentWindowBecameKey(WindowController* window);
    void documentWindowClosed(WindowController* window);

    // The document window of `document`, for the windows that hand the add-media flow there.
    WindowController* documentWindow(Document* document) const;

    static AppDelegate* shared();

signals:
    void activeDocumentChanged(Document* document);

private:
    void followActiveDocument();

    std::vector<QPointer<PresentationWindowController>> presentationWindowControllers_;
    std::unique_ptr<QWidget> preferencesWindowController_;
    QPointer<Document> activeDocument_;
    DocumentController* documentController_;
    bool terminated_ = false;
};
