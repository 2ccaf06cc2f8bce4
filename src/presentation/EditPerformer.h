#pragma once

#include <memory>

class Document;
class DocumentEdit;

// Every edit a window makes goes through here: it is done and recorded in the document's undo
// history (waiting while the document opens or saves).
void performEdit(Document& document, std::unique_ptr<DocumentEdit> edit);
