#include "presentation/MetricsGraphDateFormats.h"

const DateFormat& MetricsGraphDateFormats::format(const std::string& pattern, const TimeZone& zone) {
    if (zone.identifier() != zone_) {
        formats_.clear();
        zone_ = zone.identifier();
    }
    for (const auto& [p, format] : formats_)
        if (p == pattern)
            return *format;
    formats_.emplace_back(pattern, std::make_unique<DateFormat>(pattern, zone));
    return *formats_.back().second;
}
