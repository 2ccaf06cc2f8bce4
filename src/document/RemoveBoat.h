#pragma once

#include "document/DocumentEdit.h"
#include "document/PackageRemainder.h"

#include <memory>
#include <optional>
#include <vector>

class Boat;
class LogFileAsset;

// Removes a boat with its logs. Undone, the boat is back at its place with its logs, its display
// mode, and the logs the document could not load (which a save would otherwise drop).
class RemoveBoat : public DocumentEdit {
public:
    explicit RemoveBoat(std::shared_ptr<Boat> boat) : boat_(std::move(boat)) {}

    QString text() const override { return QStringLiteral("Delete Boat"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

private:
    std::shared_ptr<Boat> boat_;
    std::vector<std::shared_ptr<Boat>> boats_;
    std::vector<std::shared_ptr<LogFileAsset>> logs_;
    std::vector<UnloadedLogAsset> unloadedLogs_;
    std::optional<UnknownKeys> entryKeys_;
};
