#include "document/AddLogAsset.h"

#include "document/Document.h"

// A log changes the boat's track and the event's range: boat views and every time axis follow.
static void announce(Document& document) {
    emit document.documentBoatsUpdated();
    document.postAssetsUpdated();
}

void AddLogAsset::apply(Document& document) {
    document.addLogAsset(boat_, asset_);
    announce(document);
}

void AddLogAsset::revert(Document& document) {
    document.removeLogAsset(asset_);
    announce(document);
}
