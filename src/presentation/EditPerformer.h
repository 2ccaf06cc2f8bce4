#pragma once

#include <memory>

class Document;
class DocumentEdit;

// Every edit a window makes goes through here, so that there is one place where edits are done
// (and, with an undo history, recorded) rather than one per editor.
void performEdit(Document& document, std::unique_ptr<DocumentEdit> edit);
