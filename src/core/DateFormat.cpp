#include "core/DateFormat.h"

#include <cmath>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>

DateFormat::DateFormat(const std::string& pattern, const TimeZone& zone) {
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                          icu::Locale("en_US_POSIX"), status);
    if (U_FAILURE(status))
        return;
    format->setTimeZone(zone.icuZone());
    format->setLenient(false);
    format_ = std::move(format);
}

DateFormat::~DateFormat() = default;

std::string DateFormat::format(Instant instant) const {
    if (!format_)
        return {};
    icu::UnicodeString text;
    {
        std::lock_guard lock(mutex_);
        format_->format(instant.unixSeconds() * 1000.0, text);
    }
    std::string out;
    text.toUTF8String(out);
    return out;
}

std::optional<Instant> DateFormat::parse(const std::string& text) const {
    if (!format_)
        return std::nullopt;
    icu::UnicodeString input = icu::UnicodeString::fromUTF8(text);
    icu::ParsePosition position(0);
    UDate date;
    {
        std::lock_guard lock(mutex_);
        date = format_->parse(input, position);
    }
    if (position.getErrorIndex() >= 0 || position.getIndex() != input.length() || !std::isfinite(date))
        return std::nullopt;
    return Instant::fromUnix(date / 1000.0);
}
