#include "document/ShiftAssets.h"

#include "core/UserDefaults.h"
#include "document/Document.h"
#include "media/MediaAsset.h"

#include <cstdio>

ShiftAssets::ShiftAssets(std::vector<std::shared_ptr<MediaAsset>> assets, double seconds, bool movePosition)
    : assets_(std::move(assets)), seconds_(seconds), movePosition_(movePosition) {}

std::unique_ptr<ShiftAssets> ShiftAssets::byUserDefaults(const Document& document,
                                                         const std::shared_ptr<MediaAsset>& asset,
                                                         double seconds) {
    if (!asset)
        return nullptr;
    UserDefaults& defaults = UserDefaults::standard();
    std::vector<std::shared_ptr<MediaAsset>> assets;
    if (defaults.boolValue(applyToAllAssetsInGroupKey)) {
        for (const auto& other : document.assets())
            if (other->mediaGroup() == asset->mediaGroup())
                assets.push_back(other);
    } else {
        assets.push_back(asset);
    }
    const bool movePosition = !defaults.boolValue(moveVideoKey);
    if (movePosition && !document.eventPlaybackPosition())
        return nullptr;
    return std::make_unique<ShiftAssets>(std::move(assets), seconds, movePosition);
}

void ShiftAssets::apply(Document& document) {
    move(document, seconds_);
}

void ShiftAssets::revert(Document& document) {
    move(document, -seconds_);
}

bool ShiftAssets::absorb(const DocumentEdit& next) {
    auto* shift = dynamic_cast<const ShiftAssets*>(&next);
    if (!shift || shift->assets_ != assets_ || shift->movePosition_ != movePosition_)
        return false;
    seconds_ += shift->seconds_;
    return true;
}

void ShiftAssets::move(Document& document, double seconds) {
    for (const auto& asset : assets_)
        asset->setOffset(asset->offset() + seconds);
    if (movePosition_)
        if (std::optional<Instant> position = document.eventPlaybackPosition())
            // Not a user seek: playback goes on.
            document.setPlaybackPosition(*position + seconds, false);
    document.setEdited(true);
    document.postAssetsUpdated();
}

std::string ShiftAssets::offsetString(const MediaAsset* asset) {
    if (!asset)
        return {};
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", asset->offset());
    return text;
}
