#include "presentation/EditPerformer.h"

#include "document/Document.h"
#include "document/DocumentEdit.h"

void performEdit(Document& document, std::unique_ptr<DocumentEdit> edit) {
    if (!edit)
        return;
    // An edit while the document opens or saves would be lost or half-written: it waits for the
    // document to be ready.
    std::shared_ptr<DocumentEdit> held(std::move(edit));
    document.whenEditable([&document, held] { held->apply(document); });
}
