#pragma once

#include "document/DocumentEdit.h"
#include "metrics/Boat.h"

#include <memory>
#include <vector>

// Adds a boat with its display mode. A boat added as Main or Secondary takes that mode from the
// boat that held it; undone, that boat has it back.
class AddBoat : public DocumentEdit {
public:
    explicit AddBoat(std::shared_ptr<Boat> boat) : boat_(std::move(boat)) {}

    QString text() const override { return QStringLiteral("Add Boat"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const std::shared_ptr<Boat>& boat() const { return boat_; }

private:
    std::shared_ptr<Boat> boat_;
    std::vector<std::pair<std::shared_ptr<Boat>, Boat::DisplayMode>> demoted_;
};
