#include "document/SetEventTimeZone.h"

#include "document/Document.h"

std::optional<TimeZone> SetEventTimeZone::zoneNamed(const QString& identifier) {
    if (identifier == QLatin1String("UTC"))
        return TimeZone::utc();
    return TimeZone::fromIdentifier(identifier.toStdString());
}

void SetEventTimeZone::apply(Document& document) {
    previous_ = document.eventTimezone();
    document.setEventTimezone(zone_);
    document.setEdited(true);
    // Every view re-derives its time axis, as after the event editor's change.
    document.postAssetsUpdated();
}

void SetEventTimeZone::revert(Document& document) {
    if (!previous_)
        return;
    document.setEventTimezone(*previous_);
    previous_.reset();
    document.setEdited(true);
    document.postAssetsUpdated();
}
