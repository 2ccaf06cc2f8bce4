#pragma once

#include "document/DocumentEdit.h"

#include <memory>
#include <vector>

class Race;

// Removes a race; undone, the race is back at its place in the list.
class RemoveRace : public DocumentEdit {
public:
    explicit RemoveRace(std::shared_ptr<Race> race) : race_(std::move(race)) {}

    QString text() const override { return QStringLiteral("Delete Race"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

private:
    std::shared_ptr<Race> race_;
    std::vector<std::shared_ptr<Race>> races_;
};
