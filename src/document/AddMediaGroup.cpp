#include "document/AddMediaGroup.h"

#include "document/Document.h"

void AddMediaGroup::apply(Document& document) {
    document.addMediaGroup(group_);
}

void AddMediaGroup::revert(Document& document) {
    document.removeMediaGroup(group_);
}
