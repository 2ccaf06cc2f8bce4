#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// Time stamps as logs write them, read into seconds since 1970-01-01 00:00:00. Plain arithmetic
// on the proleptic Gregorian calendar: a log's clock has no leap seconds, and a time without a
// zone stays the wall-clock time it says.

// Days from 1899-12-30, the spreadsheet epoch that navigation programs write, to 1970-01-01.
constexpr double spreadsheetEpochDays = 25569.0;
constexpr double daysToUnixSeconds(double days) {
    return (days - spreadsheetEpochDays) * 86400.0;
}

// Whether a time (seconds since 1970) lies in the years 1900 to 2199: anything else is a damaged
// or misread number, and would make a time grid of absurd size.
constexpr bool plausibleTime(double seconds) {
    return seconds >= -2208988800.0 && seconds < 7258118400.0;
}

// Days since 1970-01-01 of a calendar date (month 1…12, day 1…31).
std::int64_t daysFromCivil(std::int64_t year, int month, int day);

struct TimeText {
    double seconds = 0.0; // since 1970: UTC when hasZone, else the wall-clock time as written
    bool hasZone = false;
};

// ISO 8601 date and time: "2023-06-01T14:22:05.5Z", "2023-06-01 14:22:05", with "Z", "+02:00",
// "+0200", "+02" or " UTC"; "/" is accepted between the date's parts, "," before the fraction.
std::optional<TimeText> parseDateTime(std::string_view text);
// A date alone, at midnight: "2023-06-01", "2023/06/01" or "01.06.2023".
std::optional<double> parseDate(std::string_view text);
// A time of day, seconds after midnight: "14:22:05", "14:22:05.25", "14:22", optionally with a
// zone as above.
std::optional<TimeText> parseTimeOfDay(std::string_view text);
