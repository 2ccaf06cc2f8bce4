#pragma once

#include "core/TimeZone.h"
#include "document/DocumentEdit.h"

#include <optional>

// Sets the zone the event's times are shown in; undone, the previous zone is back.
class SetEventTimeZone : public DocumentEdit {
public:
    explicit SetEventTimeZone(TimeZone zone) : zone_(std::move(zone)) {}

    // An ICU zone id ("Europe/Berlin"), a fixed offset ("GMT+0200") or "UTC"; none when unknown.
    static std::optional<TimeZone> zoneNamed(const QString& identifier);

    QString text() const override { return QStringLiteral("Set Event Time Zone"); }
    void apply(Document& document) override;
    void revert(Document& document) override;

    const TimeZone& zone() const { return zone_; }

private:
    TimeZone zone_;
    std::optional<TimeZone> previous_;
};
