#include "presentation/DocumentObservingViewController.h"

#include "document/Document.h"
#include "presentation/PresentationWindowController.h"
#include "race/Race.h"

DocumentObservingViewController::DocumentObservingViewController(QWidget* parent) : QWidget(parent) {}

DocumentObservingViewController::~DocumentObservingViewController() {
    stopObservingDocument();
}

Document* DocumentObservingViewController::document() const {
    return document_;
}

PresentationWindowController* DocumentObservingViewController::windowController() const {
    return windowController_;
}

void DocumentObservingViewController::setDocument(Document* document) {
    if (document_ == document)
        return;
    stopObservingDocument();
    document_ = document;
    if (observing_)
        observeDocument();
    documentDidChange();
}

void DocumentObservingViewController::setWindowController(PresentationWindowController* controller) {
    windowController_ = controller;
}

void DocumentObservingViewController::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!observing_)
        viewDidAppear();
}

void DocumentObservingViewController::hideEvent(QHideEvent* event) {
    if (observing_)
        viewWillDisappear();
    QWidget::hideEvent(event);
}

void DocumentObservingViewController::viewDidAppear() {
    if (!windowController_)
        return;
    observing_ = true;
    windowConnection_ = connect(windowController_, &PresentationWindowController::currentDocumentChanged,
                                this, [this](Document* document) { setDocument(document); });
    if (document_ == windowController_->currentDocument())
        observeDocument();
    else
        setDocument(windowController_->currentDocument());
}

void DocumentObservingViewController::viewWillDisappear() {
    observing_ = false;
    disconnect(windowConnection_);
    stopObservingDocument();
}

void DocumentObservingViewController::observeDocument() {
    stopObservingDocument();
    Document* d = document_;
    if (!d)
        return;
    documentConnections_ = {
        connect(d, &Document::documentAssetsUpdated, this, [this] { didUpdateAssets(); }),
        connect(d, &Document::playbackPositionUpdated, this,
                [this](std::optional<Instant> position, bool seeked) {
                    didUpdatePlaybackPosition(position, seeked);
                }),
        connect(d, &Document::playbackPaused, this, [this] { didPause(); }),
        connect(d, &Document::playbackStarted, this, [this] { didPlay(); }),
        connect(d, &Document::documentRacesUpdated, this, [this] { didUpdateRaces(); }),
        connect(d, &Document::raceUpdated, this, [this] { didUpdateRaces(); }),
        connect(d, &Document::documentBoatsUpdated, this, [this] { didUpdateBoats(); }),
    };
}

void DocumentObservingViewController::stopObservingDocument() {
    for (const auto& connection : documentConnections_)
        disconnect(connection);
    documentConnections_.clear();
}
