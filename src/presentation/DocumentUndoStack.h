#pragma once

#include <QUndoStack>
#include <memory>

class Document;
class DocumentEdit;

// The undo history of one document: every edit made in a window is pushed here and done by the
// push. The edited mark follows the history: undoing back to the saved state clears it. A change
// made outside the history (none should be, but a document can be changed by code that predates
// it) means no state of the history matches the package any more, so undo never clears the mark
// after one.
class DocumentUndoStack : public QUndoStack {
    Q_OBJECT
public:
    // The document's history, made on first use; it lives as long as the document.
    static DocumentUndoStack& of(Document& document);

    // Does `edit` and records it; waits while the document opens or saves.
    void perform(std::unique_ptr<DocumentEdit> edit);

private:
    explicit DocumentUndoStack(Document& document);
    class EditCommand;

    Document& document_;
    // While a command does or undoes its edit: the changes it makes are the history's own.
    bool inCommand_ = false;
};
