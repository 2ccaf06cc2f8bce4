#include "presentation/EditPerformer.h"

#include "document/DocumentEdit.h"
#include "presentation/DocumentUndoStack.h"

void performEdit(Document& document, std::unique_ptr<DocumentEdit> edit) {
    DocumentUndoStack::of(document).perform(std::move(edit));
}
