#include "document/SyncAssets.h"

#include "document/Document.h"
#include "media/MediaAsset.h"

void SyncAssets::move(Document& document, double sign) {
    for (const auto& [asset, seconds] : shifts_)
        asset->setOffset(asset->offset() + sign * seconds);
    document.setEdited(true);
    document.postAssetsUpdated();
}
