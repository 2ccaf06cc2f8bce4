#pragma once

#include "document/DocumentEdit.h"

#include <memory>

class MediaGroup;

// Adds an empty media group; undone, it leaves again.
class AddMediaGroup : public DocumentEdit {
public:
    explicit AddMediaGroup(std::shared_ptr<MediaGroup> group) : group_(std::move(group)) {}

    QString text() const override { return QStringLiteral("Add Media Group"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const std::shared_ptr<MediaGroup>& group() const { return group_; }

private:
    std::shared_ptr<MediaGroup> group_;
};
