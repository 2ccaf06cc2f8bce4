#pragma once

#include "core/TimeZone.h"

#include <QComboBox>
#include <optional>

// A time zone chooser: every zone of the zone database, then "UTC". The user may also type a zone
// ("Europe/Rome", "GMT+0200"); `zoneChosen` fires only for text that names one, and text that does
// not is put back to the zone shown.
class TimeZoneComboBox : public QComboBox {
    Q_OBJECT
public:
    explicit TimeZoneComboBox(QWidget* parent = nullptr);

    // Shows the zone without announcing it; an empty text for none (several differing zones).
    void setZone(const std::optional<TimeZone>& zone);
    // The zone the text names, if any.
    std::optional<TimeZone> zone() const;

signals:
    // The user chose or typed a zone.
    void zoneChosen(const TimeZone& zone);

private:
    void commit();

    QString shown_;
    bool setting_ = false;
};
