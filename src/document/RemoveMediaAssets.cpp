#include "document/RemoveMediaAssets.h"

#include "document/Document.h"

#include <algorithm>

void RemoveMediaAssets::apply(Document& document) {
    removed_.clear();
    std::vector<std::shared_ptr<MediaAsset>> kept;
    const auto& all = document.assets();
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (std::find(assets_.begin(), assets_.end(), all[i]) != assets_.end())
            removed_.emplace_back(i, all[i]);
        else
            kept.push_back(all[i]);
    }
    // Each asset keeps its group, so that undo puts it back where it was.
    document.setAssets(std::move(kept));
}

void RemoveMediaAssets::revert(Document& document) {
    std::vector<std::shared_ptr<MediaAsset>> assets = document.assets();
    // In ascending order each place counts the ones put back before it.
    for (const auto& [index, asset] : removed_)
        assets.insert(assets.begin() + std::ptrdiff_t(std::min(index, assets.size())), asset);
    removed_.clear();
    document.setAssets(std::move(assets));
}
