#include "document/RemoveMediaGroup.h"

#include "document/Document.h"

void RemoveMediaGroup::apply(Document& document) {
    groups_ = document.mediaGroups();
    assets_ = document.assets();
    document.removeMediaGroup(group_);
}

void RemoveMediaGroup::revert(Document& document) {
    document.setMediaGroups(groups_);
    document.setAssets(assets_);
}
