#pragma once

#include <QObject>
#include <QPointer>

class Document;
class PresentationWindowController;
class QAction;
class QMenu;

// Edit ▸ Undo and Redo of a window, over the undo history of the document the window shows: their
// names say what they undo ("Undo Shift Asset Time"), and they are enabled only when there is
// something to undo or redo.
class UndoActions : public QObject {
    Q_OBJECT
public:
    UndoActions(QMenu& menu, PresentationWindowController& window);

    QAction* undoAction() const { return undo_; }
    QAction* redoAction() const { return redo_; }

private:
    void follow(Document* document);
    void update();

    PresentationWindowController& window_;
    QAction* undo_;
    QAction* redo_;
    QPointer<Document> document_;
    QList<QMetaObject::Connection> connections_;
};
