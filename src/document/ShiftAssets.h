#pragma once

#include "document/DocumentEdit.h"

#include <memory>
#include <string>
#include <vector>

class MediaAsset;

// Nudges assets against the boats' data: adds the same number of seconds to each asset's offset.
// Unless the picture is to move, the playback position moves by as much too, so that the frame on
// screen stays and the data moves under it. Undone, offsets and position are as they were.
class ShiftAssets : public DocumentEdit {
public:
    // User defaults: shift every asset of the asset's group; keep the playback position (the picture
    // moves against the data) rather than move it along (the picture stays, the data moves).
    static constexpr const char* applyToAllAssetsInGroupKey = "AssetShiftApplyToAllAssetsInGroup";
    static constexpr const char* moveVideoKey = "AssetShiftMoveVideo";

    ShiftAssets(std::vector<std::shared_ptr<MediaAsset>> assets, double seconds, bool movePosition);

    // The shift of `asset` by `seconds` as the user defaults ask for it: the asset alone or its whole
    // group, the position along or not. None without an asset, or when the position is to move
    // and there is none.
    static std::unique_ptr<ShiftAssets>
    byUserDefaults(const Document& document, const std::shared_ptr<MediaAsset>& asset, double seconds);

    QString text() const override { return QStringLiteral("Shift Asset Time"); }
    void apply(Document& document) override;
    void revert(Document& document) override;
    bool absorb(const DocumentEdit& next) override;

    double seconds() const { return seconds_; }
    const std::vector<std::shared_ptr<MediaAsset>>& assets() const { return assets_; }

    // An offset with three decimals ("0.100"); empty without an asset.
    static std::string offsetString(const MediaAsset* asset);

private:
    void move(Document& document, double seconds);

    std::vector<std::shared_ptr<MediaAsset>> assets_;
    double seconds_;
    bool movePosition_;
};
