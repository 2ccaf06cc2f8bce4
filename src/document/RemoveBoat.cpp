#include "document/RemoveBoat.h"

#include "document/Document.h"

void RemoveBoat::apply(Document& document) {
    boats_ = document.boats();
    logs_ = document.logAssets(boat_);
    unloadedLogs_ = document.packageRemainder().unloadedLogsOf(boat_.get());
    const auto& keys = document.packageRemainder().boatEntryKeys;
    auto found = keys.find(boat_.get());
    entryKeys_ = found == keys.end() ? std::nullopt : std::optional(found->second);
    document.removeBoat(boat_);
}

void RemoveBoat::revert(Document& document) {
    PackageRemainder& remainder = document.packageRemainder();
    for (const UnloadedLogAsset& log : unloadedLogs_)
        remainder.addUnloadedLog(boat_, log);
    if (entryKeys_)
        remainder.boatEntryKeys[boat_.get()] = *entryKeys_;
    for (const auto& log : logs_)
        document.addLogAsset(boat_, log);
    // The mode the boat kept while it was out is still its own: nobody could take it meanwhile
    // without an edit that is undone before this one.
    document.setBoats(boats_);
}
