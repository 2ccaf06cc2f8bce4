#pragma once

#include "document/DocumentEdit.h"

#include <memory>

class Boat;
class LogFileAsset;

// Adds an imported log to its boat; undone, the boat's logs are as they were.
class AddLogAsset : public DocumentEdit {
public:
    AddLogAsset(std::shared_ptr<Boat> boat, std::shared_ptr<LogFileAsset> asset)
        : boat_(std::move(boat)), asset_(std::move(asset)) {}

    QString text() const override { return QStringLiteral("Import Boat Logs"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const std::shared_ptr<LogFileAsset>& asset() const { return asset_; }

private:
    std::shared_ptr<Boat> boat_;
    std::shared_ptr<LogFileAsset> asset_;
};
