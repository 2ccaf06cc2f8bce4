#pragma once

#include "document/DocumentEdit.h"

#include <memory>
#include <vector>

class MediaAsset;
class MediaGroup;

// Removes a media group with its photos and videos; undone, the group and its assets are back at
// their places.
class RemoveMediaGroup : public DocumentEdit {
public:
    explicit RemoveMediaGroup(std::shared_ptr<MediaGroup> group) : group_(std::move(group)) {}

    QString text() const override { return QStringLiteral("Delete Media Group"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

private:
    std::shared_ptr<MediaGroup> group_;
    std::vector<std::shared_ptr<MediaGroup>> groups_;
    std::vector<std::shared_ptr<MediaAsset>> assets_;
};
