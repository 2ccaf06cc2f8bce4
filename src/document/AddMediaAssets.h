#pragma once

#include "document/DocumentEdit.h"

#include <memory>
#include <vector>

class MediaAsset;
class MediaGroup;

// Adds examined photos and videos to a media group, and the group to the document when it is not
// in it yet. Undone, the assets leave, and so does a group this edit brought in.
class AddMediaAssets : public DocumentEdit {
public:
    AddMediaAssets(std::vector<std::shared_ptr<MediaAsset>> assets, std::shared_ptr<MediaGroup> group)
        : assets_(std::move(assets)), group_(std::move(group)) {}

    // The document's group of that name, else a new group of that name that the edit adds.
    static std::shared_ptr<MediaGroup> groupNamed(const Document& document, const QString& name);

    QString text() const override { return QStringLiteral("Add Media Files"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const std::vector<std::shared_ptr<MediaAsset>>& assets() const { return assets_; }
    const std::shared_ptr<MediaGroup>& group() const { return group_; }

private:
    std::vector<std::shared_ptr<MediaAsset>> assets_;
    std::shared_ptr<MediaGroup> group_;
    bool addedGroup_ = false;
};
