#pragma once

#include "document/DocumentEdit.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

class MediaAsset;

// Takes photos and videos out of the document. Undone, each is back in the document's list at the
// place it had, still in its group. Announced once, however many assets go.
class RemoveMediaAssets : public DocumentEdit {
public:
    explicit RemoveMediaAssets(std::vector<std::shared_ptr<MediaAsset>> assets)
        : assets_(std::move(assets)) {}

    QString text() const override { return QStringLiteral("Remove Media Files"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const std::vector<std::shared_ptr<MediaAsset>>& assets() const { return assets_; }

private:
    std::vector<std::shared_ptr<MediaAsset>> assets_;
    // The removed assets with their places in the document's list before, ascending.
    std::vector<std::pair<std::size_t, std::shared_ptr<MediaAsset>>> removed_;
};
