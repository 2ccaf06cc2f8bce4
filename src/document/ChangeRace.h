#pragma once

#include "core/Instant.h"
#include "document/DocumentEdit.h"

#include <QString>
#include <memory>
#include <optional>

class Race;

// One change of a race's fields in the race editor: its name, gun, finish or a start-line end.
class ChangeRace : public DocumentEdit {
public:
    struct Fields {
        QString name;
        Instant time;
        std::optional<Instant> finishTime;
        QString pinLat, pinLon, rcLat, rcLon;

        static Fields of(const Race& race);
        bool operator==(const Fields&) const = default;
    };

    // `text` names the change for the Undo menu ("Change Gun Time").
    ChangeRace(std::shared_ptr<Race> race, Fields fields, QString text);

    QString text() const override { return text_; }
    void apply(Document& document) override;
    void revert(Document& document) override;
    // Typing in one field of one race is one step.
    bool absorb(const DocumentEdit& next) override;

private:
    static void write(Race& race, const Fields& fields);

    std::shared_ptr<Race> race_;
    Fields before_;
    Fields after_;
    QString text_;
};
