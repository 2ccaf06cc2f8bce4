#include "document/RemoveLogAssets.h"

#include "boatlog/LogFileAsset.h"
#include "document/Document.h"

#include <algorithm>

namespace {

std::vector<UnloadedLogAsset>* unloadedLogsOf(Document& document, const std::shared_ptr<Boat>& boat) {
    for (auto& [owner, logs] : document.packageRemainder().unloadedLogs)
        if (owner == boat)
            return &logs;
    return nullptr;
}

// A log changes the boat's track and the event's range: boat views and every time axis follow.
void announce(Document& document) {
    emit document.documentBoatsUpdated();
    document.postAssetsUpdated();
}

} // namespace

RemoveLogAssets::RemoveLogAssets(std::shared_ptr<Boat> boat,
                                 std::vector<std::shared_ptr<LogFileAsset>> assets,
                                 std::vector<QUuid> unloaded)
    : boat_(std::move(boat)), assets_(std::move(assets)), unloaded_(std::move(unloaded)) {}

void RemoveLogAssets::apply(Document& document) {
    assetsBefore_ = document.logAssets(boat_);
    for (const auto& asset : assets_)
        document.removeLogAsset(asset);
    unloadedBefore_.clear();
    if (std::vector<UnloadedLogAsset>* logs = unloadedLogsOf(document, boat_)) {
        unloadedBefore_ = *logs;
        // The boat's entry stays, empty or not, so that an undo puts the logs back in its place.
        const auto removed = std::erase_if(*logs, [this](const UnloadedLogAsset& log) {
            return std::find(unloaded_.begin(), unloaded_.end(), log.reference.uuid) != unloaded_.end();
        });
        if (removed > 0)
            document.setEdited(true);
    }
    announce(document);
}

void RemoveLogAssets::revert(Document& document) {
    // The logs the boat has now are the ones before without the removed, so taking them all off
    // and adding the earlier list puts every one in its place. A log that joined meanwhile keeps
    // its place at the end.
    std::vector<std::shared_ptr<LogFileAsset>> order = assetsBefore_;
    const std::vector<std::shared_ptr<LogFileAsset>> now = document.logAssets(boat_);
    for (const auto& asset : now)
        if (std::find(order.begin(), order.end(), asset) == order.end())
            order.push_back(asset);
    for (const auto& asset : now)
        document.removeLogAsset(asset);
    for (const auto& asset : order)
        document.addLogAsset(boat_, asset);
    assetsBefore_.clear();
    if (std::vector<UnloadedLogAsset>* logs = unloadedLogsOf(document, boat_)) {
        *logs = std::move(unloadedBefore_);
        document.setEdited(true);
    }
    unloadedBefore_.clear();
    announce(document);
}
