#pragma once

#include "document/DocumentEdit.h"

#include <QString>
#include <memory>

class MediaGroup;

// Gives a media group a new name; undone, the old name is back. Menus and windows that show the
// group's name follow the assets notification.
class RenameMediaGroup : public DocumentEdit {
public:
    RenameMediaGroup(std::shared_ptr<MediaGroup> group, QString name)
        : group_(std::move(group)), name_(std::move(name)) {}

    QString text() const override { return QStringLiteral("Rename Media Group"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

private:
    void setName(Document& document, const QString& name);

    std::shared_ptr<MediaGroup> group_;
    QString name_;
    QString previous_;
};
