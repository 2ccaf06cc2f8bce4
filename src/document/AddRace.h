#pragma once

#include "document/DocumentEdit.h"

#include <memory>

class Race;

// Adds a race to the event; undone, the race list is as it was.
class AddRace : public DocumentEdit {
public:
    explicit AddRace(std::shared_ptr<Race> race) : race_(std::move(race)) {}

    QString text() const override { return QStringLiteral("Add Race"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const std::shared_ptr<Race>& race() const { return race_; }

private:
    std::shared_ptr<Race> race_;
};
