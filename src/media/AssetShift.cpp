#include "media/AssetShift.h"

#include "core/FatalError.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "media/MediaAsset.h"

#include <cstdio>

void AssetShift::modifyOffset(Document* document, const std::shared_ptr<MediaAsset>& asset, int tag) {
    if (!document || !asset)
        return;
    const double delta = tag / 1000.0;
    UserDefaults& defaults = UserDefaults::standard();
    if (defaults.boolValue(applyToAllAssetsInGroupKey)) {
        for (const auto& other : document->assets())
            if (other->mediaGroup() == asset->mediaGroup())
                other->setOffset(other->offset() + delta);
    } else {
        asset->setOffset(asset->offset() + delta);
    }
    if (!defaults.boolValue(moveVideoKey)) {
        std::optional<Instant> position = document->eventPlaybackPosition();
        if (!position)
            fatalError("Shifting an asset needs a playback position");
        // Not a user seek: playback goes on.
        document->setPlaybackPosition(*position + delta, false);
    }
    document->postAssetsUpdated();
}

std::string AssetShift::offsetString(const MediaAsset* asset) {
    if (!asset)
        return {};
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", asset->offset());
    return text;
}
