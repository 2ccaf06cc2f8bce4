#pragma once

#include <QString>
#include <QVariant>

class UserDefaults;

// How far back and ahead the map draws boat tracks, from the preferences. Each setting is a
// time of day picked in the preferences and stored as an instant; its hour, minute and second in
// GMT are the length. The main boat has its own pair; every other boat shares the "Aux" pair.
struct TrackIntervals {
    static inline const QString pastKey = QStringLiteral("pastBoatTrackInterval");
    static inline const QString futureKey = QStringLiteral("futureBoatTrackInterval");
    static inline const QString pastAuxKey = QStringLiteral("pastAuxBoatTrackInterval");
    static inline const QString futureAuxKey = QStringLiteral("futureAuxBoatTrackInterval");

    // Seconds.
    double past = 0;
    double future = 0;
    double pastAux = 0;
    double futureAux = 0;

    // A missing or unreadable setting reads as 0 s.
    static TrackIntervals read(const UserDefaults& defaults);
    // A QDateTime, or a number of seconds since 2001-01-01 00:00:00 UTC, or either as text
    // (a number, or an ISO 8601 date and time). Anything else reads as 0 s.
    static double intervalOf(const QVariant& value);

    bool operator==(const TrackIntervals&) const = default;
};
