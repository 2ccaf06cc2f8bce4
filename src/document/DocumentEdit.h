#pragma once

#include <QString>

class Document;

// One change a user makes to a document, as an object that does and undoes it on the model.
// Editors, drops and command-line verbs only make edits; the desktop program wraps them for undo.
class DocumentEdit {
public:
    virtual ~DocumentEdit() = default;
    // What the Undo menu names it: "Add Race".
    virtual QString text() const = 0;
    virtual void apply(Document& document) = 0;
    virtual void revert(Document& document) = 0;
    // Takes `next`, already applied, into this edit, so that a run of the same change (a shift
    // button held down) is undone in one step. False when the two are not of a kind.
    virtual bool absorb(const DocumentEdit& next) {
        (void)next;
        return false;
    }
};
