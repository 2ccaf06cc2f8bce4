#include "map/TrackIntervals.h"

#include "core/UserDefaults.h"

#include <QDateTime>
#include <QTime>
#include <QTimeZone>
#include <cmath>

namespace {

double timeOfDaySeconds(const QDateTime& dateTime) {
    if (!dateTime.isValid())
        return 0;
    const QTime time = dateTime.toUTC().time();
    return time.hour() * 3600.0 + time.minute() * 60.0 + time.second();
}

double timeOfDaySeconds(double secondsSinceReference) {
    if (!std::isfinite(secondsSinceReference))
        return 0;
    // The reference is a midnight in GMT, so the time of day is the remainder of a day; the
    // picker's second is a whole second.
    double ofDay = std::fmod(std::floor(secondsSinceReference), 86400.0);
    if (ofDay < 0)
        ofDay += 86400.0;
    return ofDay;
}

} // namespace

double TrackIntervals::intervalOf(const QVariant& value) {
    if (!value.isValid())
        return 0;
    switch (value.typeId()) {
    case QMetaType::QDateTime:
        return timeOfDaySeconds(value.toDateTime());
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return timeOfDaySeconds(value.toDouble());
    case QMetaType::QString:
    case QMetaType::QByteArray: {
        const QString text = value.toString().trimmed();
        bool ok = false;
        const double number = text.toDouble(&ok);
        if (ok)
            return timeOfDaySeconds(number);
        return timeOfDaySeconds(QDateTime::fromString(text, Qt::ISODateWithMs));
    }
    default:
        return 0;
    }
}

TrackIntervals TrackIntervals::read(const UserDefaults& defaults) {
    TrackIntervals intervals;
    intervals.past = intervalOf(defaults.value(pastKey));
    intervals.future = intervalOf(defaults.value(futureKey));
    intervals.pastAux = intervalOf(defaults.value(pastAuxKey));
    intervals.futureAux = intervalOf(defaults.value(futureAuxKey));
    return intervals;
}
