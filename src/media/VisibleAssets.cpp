#include "media/VisibleAssets.h"

#include <algorithm>
#include <cmath>

std::vector<std::shared_ptr<MediaAsset>> visibleAssets(const std::vector<std::shared_ptr<MediaAsset>>& assets,
                                                       const std::shared_ptr<MediaGroup>& group,
                                                       Instant position) {
    std::vector<std::shared_ptr<MediaAsset>> covering;
    for (const auto& asset : assets) {
        if (asset->mediaGroup() != group)
            continue;
        bool covers = asset->isPhoto() ? std::abs(asset->startTime() - position) < 10.0
                                       : asset->startTime() <= position && position <= asset->endTime();
        if (covers)
            covering.push_back(asset);
    }
    std::stable_sort(covering.begin(), covering.end(), [position](const auto& a, const auto& b) {
        return std::abs(a->startTime() - position) < std::abs(b->startTime() - position);
    });
    return covering;
}
