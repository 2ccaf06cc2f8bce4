#include "media/TimeSourceLog.h"

namespace TimeSourceLog {

const DateFormat& readingFormat() {
    static const DateFormat format("yyyy-MM-dd HH:mm:ss", *TimeZone::fromSecondsFromGMT(0));
    return format;
}

std::string describe(Instant instant) {
    static const DateFormat format("yyyy-MM-dd HH:mm:ss '+0000'", TimeZone::utc());
    return format.format(instant);
}

std::string describeInstant(Instant reading, const TimeZone& zone) {
    return describe(reading - zone.secondsFromGMT(reading));
}

} // namespace TimeSourceLog
