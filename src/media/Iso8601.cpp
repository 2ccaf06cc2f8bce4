#include "media/Iso8601.h"

#include <cctype>

long long daysFromCivil(long long year, unsigned month, unsigned day) {
    year -= month <= 2;
    const long long era = (year >= 0 ? year : year - 399) / 400;
    const unsigned yearOfEra = static_cast<unsigned>(year - era * 400);
    const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + static_cast<long long>(dayOfEra) - 719468;
}

namespace {

bool digits(std::string_view text, std::size_t at, std::size_t count, int& value) {
    if (at + count > text.size())
        return false;
    value = 0;
    for (std::size_t i = at; i < at + count; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
            return false;
        value = value * 10 + (text[i] - '0');
    }
    return true;
}

int daysInMonth(int year, int month) {
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : days[month - 1];
}

} // namespace

std::optional<Instant> parseIso8601WithZone(std::string_view text) {
    int year, month, day, hour, minute, second;
    if (!digits(text, 0, 4, year) || text.size() < 19 || text[4] != '-' || !digits(text, 5, 2, month) ||
        text[7] != '-' || !digits(text, 8, 2, day) || text[10] != 'T' || !digits(text, 11, 2, hour) ||
        text[13] != ':' || !digits(text, 14, 2, minute) || text[16] != ':' || !digits(text, 17, 2, second))
        return std::nullopt;
    if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 || minute > 59 ||
        second > 60)
        return std::nullopt;
    std::size_t at = 19;
    double fraction = 0.0;
    if (at < text.size() && (text[at] == '.' || text[at] == ',')) {
        double scale = 0.1;
        std::size_t start = ++at;
        while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at]))) {
            fraction += (text[at] - '0') * scale;
            scale /= 10.0;
            ++at;
        }
        if (at == start)
            return std::nullopt;
    }
    if (at >= text.size())
        return std::nullopt;
    int zoneSeconds = 0;
    if (text[at] == 'Z') {
        ++at;
    } else if (text[at] == '+' || text[at] == '-') {
        int sign = text[at] == '-' ? -1 : 1;
        int zoneHours = 0, zoneMinutes = 0;
        if (!digits(text, at + 1, 2, zoneHours))
            return std::nullopt;
        at += 3;
        if (at < text.size() && text[at] == ':')
            ++at;
        if (at < text.size()) {
            if (!digits(text, at, 2, zoneMinutes))
                return std::nullopt;
            at += 2;
        }
        if (zoneHours > 18 || zoneMinutes > 59)
            return std::nullopt;
        zoneSeconds = sign * (zoneHours * 3600 + zoneMinutes * 60);
    } else {
        return std::nullopt;
    }
    if (at != text.size())
        return std::nullopt;
    double unix =
        static_cast<double>(daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day))) *
            86400.0 +
        hour * 3600.0 + minute * 60.0 + second + fraction - zoneSeconds;
    return Instant::fromUnix(unix);
}
