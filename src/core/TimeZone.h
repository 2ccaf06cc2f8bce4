#pragma once

#include "core/Instant.h"

#include <memory>
#include <optional>
#include <string>
#include <unicode/uversion.h>
#include <vector>

U_NAMESPACE_BEGIN
class TimeZone;
U_NAMESPACE_END

// A time zone: an IANA zone ("Europe/Berlin") or a fixed offset from GMT ("GMT+0200").
// Immutable value; copies share the ICU zone.
class TimeZone {
public:
    // UTC.
    TimeZone();

    static TimeZone utc();
    static TimeZone current();
    // An IANA name, or a fixed-offset name such as "GMT+0200" or "GMT-03:30"; none when unknown.
    static std::optional<TimeZone> fromIdentifier(const std::string& identifier);
    // A fixed zone; none outside ±18 hours, the range a zone offset can have.
    static std::optional<TimeZone> fromSecondsFromGMT(int seconds);
    // Every zone identifier of the zone database, in its order (what a zone chooser offers).
    static const std::vector<std::string>& knownIdentifiers();

    int secondsFromGMT(Instant at) const;
    const std::string& identifier() const { return identifier_; }
    // How the zone is named in log lines: the identifier, marked "(fixed)" for fixed offsets.
    std::string description() const;
    bool isFixedOffset() const { return fixed_; }

    const icu::TimeZone& icuZone() const { return *zone_; }

    bool operator==(const TimeZone& other) const { return identifier_ == other.identifier_; }

private:
    TimeZone(std::shared_ptr<const icu::TimeZone> zone, std::string identifier, bool fixed);

    std::shared_ptr<const icu::TimeZone> zone_;
    std::string identifier_;
    bool fixed_ = true;
};
