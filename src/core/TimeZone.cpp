#include "core/TimeZone.h"

#include <cmath>
#include <cstdio>
#include <unicode/simpletz.h>
#include <unicode/strenum.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

namespace {

std::string toUtf8(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

std::string fixedIdentifier(int seconds) {
    int minutes = std::abs(seconds) / 60;
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "GMT%c%02d%02d", seconds < 0 ? '-' : '+', minutes / 60,
                  minutes % 60);
    return buffer;
}

} // namespace

TimeZone::TimeZone() : TimeZone(utc()) {}

TimeZone::TimeZone(std::shared_ptr<const icu::TimeZone> zone, std::string identifier, bool fixed)
    : zone_(std::move(zone)), identifier_(std::move(identifier)), fixed_(fixed) {}

TimeZone TimeZone::utc() {
    static const TimeZone zone(std::shared_ptr<const icu::TimeZone>(icu::TimeZone::createTimeZone("UTC")),
                               "UTC", false);
    return zone;
}

TimeZone TimeZone::current() {
    std::shared_ptr<const icu::TimeZone> zone(icu::TimeZone::createDefault());
    icu::UnicodeString id;
    zone->getID(id);
    std::string name = toUtf8(id);
    if (*zone == icu::TimeZone::getUnknown())
        return utc();
    return TimeZone(std::move(zone), std::move(name), false);
}

std::optional<TimeZone> TimeZone::fromIdentifier(const std::string& identifier) {
    if (identifier.empty())
        return std::nullopt;
    std::shared_ptr<const icu::TimeZone> zone(
        icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(identifier)));
    icu::UnicodeString id;
    zone->getID(id);
    if (*zone == icu::TimeZone::getUnknown() || id == icu::UnicodeString("Etc/Unknown"))
        return std::nullopt;
    // ICU accepts custom "GMT+hh:mm" names and reports them as "GMT+hh:mm"; keep one spelling.
    if (identifier.rfind("GMT", 0) == 0 && identifier.size() > 3) {
        int seconds = zone->getRawOffset() / 1000;
        return fromSecondsFromGMT(seconds);
    }
    return TimeZone(std::move(zone), identifier, false);
}

std::optional<TimeZone> TimeZone::fromSecondsFromGMT(int seconds) {
    if (std::abs(seconds) > 18 * 3600)
        return std::nullopt;
    std::string name = fixedIdentifier(seconds);
    // The name carries whole minutes; a zone of odd seconds keeps them in its raw offset.
    std::shared_ptr<const icu::TimeZone> zone =
        std::make_shared<icu::SimpleTimeZone>(seconds * 1000, icu::UnicodeString::fromUTF8(name));
    return TimeZone(std::move(zone), std::move(name), true);
}

const std::vector<std::string>& TimeZone::knownIdentifiers() {
    static const std::vector<std::string> identifiers = [] {
        std::vector<std::string> names;
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::StringEnumeration> zones(icu::TimeZone::createEnumeration(status));
        if (!zones || U_FAILURE(status))
            return names;
        while (const icu::UnicodeString* id = zones->snext(status)) {
            if (U_FAILURE(status))
                break;
            names.push_back(toUtf8(*id));
        }
        return names;
    }();
    return identifiers;
}

int TimeZone::secondsFromGMT(Instant at) const {
    int32_t raw = 0;
    int32_t dst = 0;
    UErrorCode status = U_ZERO_ERROR;
    zone_->getOffset(at.unixSeconds() * 1000.0, false, raw, dst, status);
    if (U_FAILURE(status))
        return 0;
    return (raw + dst) / 1000;
}

std::string TimeZone::description() const {
    return fixed_ ? identifier_ + " (fixed)" : identifier_;
}
