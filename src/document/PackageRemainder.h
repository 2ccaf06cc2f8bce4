#pragma once

#include "core/UnknownKeys.h"
#include "document/DocumentReference.h"

#include <QString>
#include <QStringList>
#include <map>
#include <memory>
#include <vector>

class Boat;

// A log of a boat that could not be loaded: a newer layout, a damaged or half-copied file, or a
// file that is missing. It stays with its boat so that saving carries its entry and its file over
// unchanged; the user sees why it was skipped.
struct UnloadedLogAsset {
    LogAssetReference reference; // as stored
    QString path;                // where its file lies now; may not exist
    QString reason;
};

// What a package held that the open document does not use: unloaded logs, media entries that
// could not be placed (an unknown kind, no recording time), files in BoatLogs/ that no entry
// names, and keys Wakeline does not read. Saving writes all of it back, so that opening and
// saving never loses what an older or newer version, or a flaky disk, left in the package.
struct PackageRemainder {
    std::vector<std::pair<std::shared_ptr<Boat>, std::vector<UnloadedLogAsset>>> unloadedLogs;
    std::vector<AssetReference> assetEntries;
    QStringList logFiles; // absolute paths of the unnamed files of BoatLogs/
    UnknownKeys documentKeys;
    std::map<const Boat*, UnknownKeys> boatEntryKeys;
    std::map<QString, UnknownKeys> logEntryKeys; // by the log's lower-case UUID

    const std::vector<UnloadedLogAsset>& unloadedLogsOf(const Boat* boat) const {
        static const std::vector<UnloadedLogAsset> none;
        for (const auto& [owner, logs] : unloadedLogs)
            if (owner.get() == boat)
                return logs;
        return none;
    }
    void addUnloadedLog(const std::shared_ptr<Boat>& boat, UnloadedLogAsset log) {
        for (auto& [owner, logs] : unloadedLogs)
            if (owner == boat) {
                logs.push_back(std::move(log));
                return;
            }
        unloadedLogs.push_back({boat, {std::move(log)}});
    }
    // The boat left the document: its unloaded logs and keys go with it.
    void forgetBoat(const Boat* boat) {
        std::erase_if(unloadedLogs, [boat](const auto& entry) { return entry.first.get() == boat; });
        boatEntryKeys.erase(boat);
    }
};
