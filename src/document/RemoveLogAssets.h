#pragma once

#include "document/DocumentEdit.h"
#include "document/PackageRemainder.h"

#include <QUuid>
#include <memory>
#include <vector>

class Boat;
class LogFileAsset;

// Removes logs from their boat: loaded ones, and ones the document could not load (named by their
// UUID). No file is deleted: the next save simply leaves them out of the package, so an undo
// brings them back whole. Undone, the boat's logs are in their places again.
class RemoveLogAssets : public DocumentEdit {
public:
    RemoveLogAssets(std::shared_ptr<Boat> boat, std::vector<std::shared_ptr<LogFileAsset>> assets,
                    std::vector<QUuid> unloaded = {});

    QString text() const override { return QStringLiteral("Remove Boat Logs"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const std::vector<std::shared_ptr<LogFileAsset>>& assets() const { return assets_; }

private:
    std::shared_ptr<Boat> boat_;
    std::vector<std::shared_ptr<LogFileAsset>> assets_;
    std::vector<QUuid> unloaded_;
    std::vector<std::shared_ptr<LogFileAsset>> assetsBefore_;
    std::vector<UnloadedLogAsset> unloadedBefore_;
};
