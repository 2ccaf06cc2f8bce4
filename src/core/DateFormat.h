#pragma once

#include "core/Instant.h"
#include "core/TimeZone.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class SimpleDateFormat;
U_NAMESPACE_END

// A date pattern ("yyyy-MM-dd'T'HH:mm:ss.SZ") in a time zone, formatted and parsed by ICU exactly as
// written, in the POSIX locale so that users' locales never change a file format.
// Parsing is strict: the whole text must match the pattern.
class DateFormat {
public:
    DateFormat(const std::string& pattern, const TimeZone& zone);
    ~DateFormat();
    DateFormat(const DateFormat&) = delete;
    DateFormat& operator=(const DateFormat&) = delete;

    bool isValid() const { return format_ != nullptr; }
    std::string format(Instant instant) const;
    std::optional<Instant> parse(const std::string& text) const;

private:
    std::unique_ptr<icu::SimpleDateFormat> format_;
    // ICU formatters are not safe to share between threads.
    mutable std::mutex mutex_;
};
