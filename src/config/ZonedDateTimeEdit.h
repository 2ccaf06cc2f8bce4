#pragma once

#include "core/Instant.h"
#include "core/TimeZone.h"

#include <QDateTimeEdit>
#include <optional>

// A date and time field that shows an instant as the wall-clock time of a zone (the event's, a
// file's), to the millisecond, so that what the user reads and types is local time there.
class ZonedDateTimeEdit : public QDateTimeEdit {
    Q_OBJECT
public:
    explicit ZonedDateTimeEdit(QWidget* parent = nullptr);

    void setZone(const TimeZone& zone);
    const TimeZone& zone() const { return zone_; }
    // Shows the instant without announcing it; none clears the field (and `instant` answers none
    // until the user edits it).
    void setInstant(std::optional<Instant> instant);
    std::optional<Instant> instant() const;

    // The wall-clock reading of `instant` in `zone` and back; a reading that falls in a daylight
    // saving gap or repeat resolves to the zone's offset just before it.
    static QDateTime wallClock(Instant instant, const TimeZone& zone);
    static Instant instantOf(const QDateTime& wallClock, const TimeZone& zone);

signals:
    // The user finished changing the time (Enter, focus out, or a step with the arrows).
    void instantEdited(Instant instant);

private:
    void commit();

    TimeZone zone_;
    bool empty_ = true;
    bool setting_ = false;
    std::optional<Instant> committed_;
};
