#include "presentation/DocumentUndoStack.h"

#include "document/Document.h"
#include "document/DocumentEdit.h"

#include <QPointer>

class DocumentUndoStack::EditCommand : public QUndoCommand {
public:
    EditCommand(DocumentUndoStack& stack, std::shared_ptr<DocumentEdit> edit)
        : QUndoCommand(edit->text()), stack_(stack), edit_(std::move(edit)) {}

    void redo() override {
        run([this] { edit_->apply(stack_.document_); });
    }
    void undo() override {
        run([this] { edit_->revert(stack_.document_); });
    }
    int id() const override { return 1; }
    bool mergeWith(const QUndoCommand* other) override {
        return edit_->absorb(*static_cast<const EditCommand*>(other)->edit_);
    }

private:
    template <class Work> void run(Work work) {
        stack_.inCommand_ = true;
        work();
        stack_.inCommand_ = false;
    }

    DocumentUndoStack& stack_;
    std::shared_ptr<DocumentEdit> edit_;
};

DocumentUndoStack& DocumentUndoStack::of(Document& document) {
    if (auto* stack = document.findChild<DocumentUndoStack*>(QString(), Qt::FindDirectChildrenOnly))
        return *stack;
    return *new DocumentUndoStack(document);
}

DocumentUndoStack::DocumentUndoStack(Document& document) : QUndoStack(&document), document_(document) {
    if (document.isEdited())
        resetClean();
    connect(&document, &Document::changed, this, [this] {
        if (!inCommand_)
            resetClean();
    });
    // Saved (or reverted to the package): this is the state that matches it now.
    connect(&document, &Document::editedChanged, this, [this](bool edited) {
        if (!edited && !inCommand_)
            setClean();
    });
    connect(this, &QUndoStack::cleanChanged, this, [this](bool clean) {
        if (clean)
            document_.setEdited(false);
    });
}

void DocumentUndoStack::perform(std::unique_ptr<DocumentEdit> edit) {
    if (!edit)
        return;
    std::shared_ptr<DocumentEdit> held(std::move(edit));
    QPointer<DocumentUndoStack> self(this);
    document_.whenEditable([self, held] {
        if (self)
            self->push(new EditCommand(*self, held));
    });
}
