#include "document/AddMediaAssets.h"

#include "document/Document.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"

#include <algorithm>

std::shared_ptr<MediaGroup> AddMediaAssets::groupNamed(const Document& document, const QString& name) {
    if (auto group = document.mediaGroupNamed(name))
        return group;
    return std::make_shared<MediaGroup>(name);
}

void AddMediaAssets::apply(Document& document) {
    const auto& groups = document.mediaGroups();
    addedGroup_ = std::find(groups.begin(), groups.end(), group_) == groups.end();
    if (addedGroup_)
        document.addMediaGroup(group_);
    // Announced and marked edited even when nothing could be added, as every add does.
    document.addAssets(assets_, group_);
}

void AddMediaAssets::revert(Document& document) {
    for (const auto& asset : assets_)
        document.removeAsset(asset);
    if (addedGroup_)
        document.removeMediaGroup(group_);
    addedGroup_ = false;
}
