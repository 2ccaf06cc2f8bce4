#pragma once

#include <memory>
#include <string>

class Document;
class MediaAsset;

// Nudging an asset against the boats' data: each press of a shift button adds its tag, in
// milliseconds, to the asset's offset.
class AssetShift {
public:
    // User defaults: shift every asset of the asset's group; keep the playback position (the picture
    // moves against the data) rather than move it along (the picture stays, the data moves).
    static constexpr const char* applyToAllAssetsInGroupKey = "AssetShiftApplyToAllAssetsInGroup";
    static constexpr const char* moveVideoKey = "AssetShiftMoveVideo";

    // Adds tag / 1000 s to the offset of `asset`, or of every asset of its group; unless the video is
    // to move, moves the playback position by the same amount, so the frame on screen stays; then
    // announces the change. Does nothing without a document or an asset.
    static void modifyOffset(Document* document, const std::shared_ptr<MediaAsset>& asset, int tag);

    // The asset's offset with three decimals ("0.100"); empty without an asset.
    static std::string offsetString(const MediaAsset* asset);
};
