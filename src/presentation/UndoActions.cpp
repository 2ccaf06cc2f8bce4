#include "presentation/UndoActions.h"

#include "document/Document.h"
#include "presentation/DocumentUndoStack.h"
#include "presentation/PresentationWindowController.h"

#include <QAction>
#include <QMenu>

UndoActions::UndoActions(QMenu& menu, PresentationWindowController& window)
    : QObject(&menu), window_(window), undo_(menu.addAction(tr("&Undo"))),
      redo_(menu.addAction(tr("&Redo"))) {
    undo_->setObjectName("Undo");
    redo_->setObjectName("Redo");
    undo_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Z));
    redo_->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z));
    connect(undo_, &QAction::triggered, this, [this] {
        if (Document* d = window_.currentDocument(); d && d->isEditable())
            DocumentUndoStack::of(*d).undo();
    });
    connect(redo_, &QAction::triggered, this, [this] {
        if (Document* d = window_.currentDocument(); d && d->isEditable())
            DocumentUndoStack::of(*d).redo();
    });
    connect(&menu, &QMenu::aboutToShow, this, [this] { update(); });
    connect(&window, &PresentationWindowController::currentDocumentChanged, this,
            [this](Document* document) { follow(document); });
    follow(window.currentDocument());
}

void UndoActions::follow(Document* document) {
    for (const auto& connection : connections_)
        disconnect(connection);
    connections_.clear();
    document_ = document;
    if (document) {
        DocumentUndoStack& stack = DocumentUndoStack::of(*document);
        auto refresh = [this] { update(); };
        connections_ = {
            connect(&stack, &QUndoStack::indexChanged, this, refresh),
            connect(&stack, &QUndoStack::cleanChanged, this, refresh),
            connect(document, &Document::activityChanged, this, refresh),
        };
    }
    update();
}

void UndoActions::update() {
    Document* d = document_;
    DocumentUndoStack* stack = d ? &DocumentUndoStack::of(*d) : nullptr;
    const bool editable = d && d->isEditable();
    undo_->setEnabled(editable && stack->canUndo());
    redo_->setEnabled(editable && stack->canRedo());
    undo_->setText(stack && stack->canUndo() ? tr("&Undo %1").arg(stack->undoText()) : tr("&Undo"));
    redo_->setText(stack && stack->canRedo() ? tr("&Redo %1").arg(stack->redoText()) : tr("&Redo"));
}
