#include "readers/TimeText.h"

#include <cstdint>

namespace {

// Reads exactly `count` digits.
bool digits(std::string_view& s, int count, int& value) {
    if (s.size() < static_cast<std::size_t>(count))
        return false;
    value = 0;
    for (int i = 0; i < count; ++i) {
        char c = s[static_cast<std::size_t>(i)];
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + (c - '0');
    }
    s.remove_prefix(static_cast<std::size_t>(count));
    return true;
}

// One or two digits (hours and days are not always zero-padded).
bool shortNumber(std::string_view& s, int& value) {
    if (!digits(s, 1, value))
        return false;
    int second = 0;
    std::string_view rest = s;
    if (digits(rest, 1, second)) {
        value = value * 10 + second;
        s = rest;
    }
    return true;
}

bool accept(std::string_view& s, char c) {
    if (s.empty() || s.front() != c)
        return false;
    s.remove_prefix(1);
    return true;
}

void trim(std::string_view& s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
        s.remove_suffix(1);
}

bool validDate(int month, int day) {
    return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

std::optional<double> isoDate(std::string_view& s) {
    int year = 0, month = 0, day = 0;
    if (!digits(s, 4, year))
        return std::nullopt;
    char separator = s.empty() ? '\0' : s.front();
    if (separator != '-' && separator != '/')
        return std::nullopt;
    s.remove_prefix(1);
    if (!shortNumber(s, month) || !accept(s, separator) || !shortNumber(s, day) || !validDate(month, day))
        return std::nullopt;
    return static_cast<double>(daysFromCivil(year, month, day)) * 86400.0;
}

// "hh:mm[:ss[.fff]]" as seconds after midnight.
std::optional<double> clock(std::string_view& s) {
    int hours = 0, minutes = 0, seconds = 0;
    if (!shortNumber(s, hours) || !accept(s, ':') || !digits(s, 2, minutes))
        return std::nullopt;
    if (accept(s, ':') && !digits(s, 2, seconds))
        return std::nullopt;
    if (hours > 24 || minutes > 59 || seconds > 60)
        return std::nullopt;
    double fraction = 0.0;
    if (!s.empty() && (s.front() == '.' || s.front() == ',')) {
        s.remove_prefix(1);
        // Digits as one integer over a power of ten: one rounding, so "05.1" is the double
        // nearest to .1 and lands exactly on a 10 Hz grid.
        std::int64_t numerator = 0;
        double denominator = 1.0;
        int count = 0;
        while (!s.empty() && s.front() >= '0' && s.front() <= '9') {
            if (count++ < 15) {
                numerator = numerator * 10 + (s.front() - '0');
                denominator *= 10.0;
            }
            s.remove_prefix(1);
        }
        if (count == 0)
            return std::nullopt;
        fraction = static_cast<double>(numerator) / denominator;
    }
    return static_cast<double>(hours * 3600 + minutes * 60 + seconds) + fraction;
}

// The zone suffix: none (false, 0), or "Z", "±hh[:mm]", "±hhmm", "UTC", "GMT" as an offset east
// of UTC. A suffix that is none of these makes the text unreadable.
std::optional<std::pair<bool, int>> zone(std::string_view s) {
    trim(s);
    if (s.empty())
        return std::pair{false, 0};
    if (s == "Z" || s == "z" || s == "UTC" || s == "GMT")
        return std::pair{true, 0};
    if (s.substr(0, 3) == "UTC" || s.substr(0, 3) == "GMT")
        s.remove_prefix(3);
    int sign = s.front() == '+' ? 1 : (s.front() == '-' ? -1 : 0);
    if (sign == 0)
        return std::nullopt;
    s.remove_prefix(1);
    int hours = 0, minutes = 0;
    if (!digits(s, 2, hours))
        return std::nullopt;
    accept(s, ':');
    if (!s.empty() && !digits(s, 2, minutes))
        return std::nullopt;
    if (!s.empty() || hours > 18 || minutes > 59)
        return std::nullopt;
    return std::pair{true, sign * (hours * 3600 + minutes * 60)};
}

} // namespace

std::int64_t daysFromCivil(std::int64_t year, int month, int day) {
    // Howard Hinnant's algorithm: the year counted from March, in 400-year eras.
    year -= month <= 2;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

std::optional<TimeText> parseDateTime(std::string_view text) {
    trim(text);
    auto date = isoDate(text);
    if (!date || text.empty() || (text.front() != 'T' && text.front() != ' '))
        return std::nullopt;
    while (!text.empty() && (text.front() == 'T' || text.front() == ' '))
        text.remove_prefix(1);
    auto time = parseTimeOfDay(text);
    if (!time)
        return std::nullopt;
    return TimeText{*date + time->seconds, time->hasZone};
}

std::optional<double> parseDate(std::string_view text) {
    trim(text);
    std::string_view iso = text;
    if (auto date = isoDate(iso); date && iso.empty())
        return date;
    int day = 0, month = 0, year = 0;
    if (!shortNumber(text, day) || !accept(text, '.') || !shortNumber(text, month) || !accept(text, '.') ||
        !digits(text, 4, year) || !text.empty() || !validDate(month, day))
        return std::nullopt;
    return static_cast<double>(daysFromCivil(year, month, day)) * 86400.0;
}

std::optional<TimeText> parseTimeOfDay(std::string_view text) {
    trim(text);
    auto time = clock(text);
    if (!time)
        return std::nullopt;
    auto offset = zone(text);
    if (!offset)
        return std::nullopt;
    return TimeText{*time - offset->second, offset->first};
}
