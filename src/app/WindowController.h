#pragma once

#include "presentation/PresentationWindowController.h"

class DocumentController;

// The window of one document: a presentation window bound to its own document for life. Its
// layout is remembered across runs, it makes its document the active one when activated, and
// closing it closes the document (asking about unsaved changes).
class WindowController : public PresentationWindowController {
    Q_OBJECT
public:
    WindowController(Document* document, DocumentController& documents, QWidget* parent = nullptr);
    ~WindowController() override;

    // Fixed by the document controller; setting it is a programming error.
    void setCurrentDocument(Document* document) override;

    // Restores the layout of the last closed document window, else shows video, map and timeline.
    void windowDidLoad();
    void updateTitle();
    // The document is going away: remember this window's state, let the presentation windows
    // stop following it.
    void documentWillClose();

    // Chooses photos and videos and adds them to the media group this window shows.
    void addAssets() override;
    // Adds photos and videos to the media group this window shows, as one undoable edit. Files
    // dropped on the window come here too.
    void addMediaFiles(const QStringList& files);

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    DocumentController& documents_;
    bool closing_ = false;
};
