#pragma once

#include "core/Instant.h"

#include <QList>
#include <QMetaObject>
#include <QPointer>
#include <QWidget>
#include <optional>

class Document;
class PresentationWindowController;

// The base of every view that shows a document. While on screen it listens to its own document
// only, so another document's changes never reach it; it follows the document of its window
// controller when that changes.
class DocumentObservingViewController : public QWidget {
    Q_OBJECT
public:
    explicit DocumentObservingViewController(QWidget* parent = nullptr);
    ~DocumentObservingViewController() override;

    Document* document() const;
    // Reconnects when on screen, then tells the subclass through documentDidChange().
    void setDocument(Document* document);

    PresentationWindowController* windowController() const;
    // The presentation window that shows this view; its "document" is followed while on screen.
    void setWindowController(PresentationWindowController* controller);

    bool isObserving() const { return observing_; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

    virtual void viewDidAppear();
    virtual void viewWillDisappear();

    // Handlers, called only for this view's own document. They do nothing here.
    virtual void documentDidChange() {}
    virtual void didUpdateAssets() {}
    virtual void didUpdateRaces() {}
    virtual void didUpdateBoats() {}
    virtual void didUpdatePlaybackPosition(std::optional<Instant> position, bool seeked) {
        (void)position;
        (void)seeked;
    }
    virtual void didPause() {}
    virtual void didPlay() {}

private:
    void observeDocument();
    void stopObservingDocument();

    QPointer<Document> document_;
    QPointer<PresentationWindowController> windowController_;
    QList<QMetaObject::Connection> documentConnections_;
    QMetaObject::Connection windowConnection_;
    bool observing_ = false;
};
