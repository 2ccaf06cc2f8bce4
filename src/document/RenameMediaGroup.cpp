#include "document/RenameMediaGroup.h"

#include "document/Document.h"
#include "media/MediaGroup.h"

void RenameMediaGroup::apply(Document& document) {
    previous_ = group_->name;
    setName(document, name_);
}

void RenameMediaGroup::revert(Document& document) {
    setName(document, previous_);
}

void RenameMediaGroup::setName(Document& document, const QString& name) {
    group_->name = name;
    document.setEdited(true);
    document.postAssetsUpdated();
}
