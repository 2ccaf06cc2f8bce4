#include "media/GpmfGps.h"

#include "media/GpmfReader.h"

#include <cmath>
#include <limits>
#include <string>
#include <tuple>

namespace {

// Days from 1970-01-01 to a civil date (proleptic Gregorian).
long daysFromCivil(long year, unsigned month, unsigned day) {
    year -= month <= 2;
    const long era = (year >= 0 ? year : year - 399) / 400;
    const unsigned yearOfEra = static_cast<unsigned>(year - era * 400);
    const unsigned dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + static_cast<long>(dayOfEra) - 719468;
}

// The scale of value `index` of an element: SCAL holds one divisor for all values or one for each.
double scaleOf(const std::vector<double>& scales, std::size_t index) {
    if (scales.empty())
        return 1.0;
    const double scale = scales.size() == 1 ? scales[0] : index < scales.size() ? scales[index] : 0.0;
    return scale;
}

bool plausiblePosition(double latitude, double longitude) {
    return std::isfinite(latitude) && std::isfinite(longitude) && std::abs(latitude) <= 90.0 &&
           std::abs(longitude) <= 180.0 && !(latitude == 0.0 && longitude == 0.0);
}

// What a stream has said so far: its values apply to the GPS entry that follows them.
struct StreamState {
    std::vector<double> scales;
    std::string complexType;
    std::optional<Instant> utc;
    double fix = 0.0;
    double precision = std::numeric_limits<double>::infinity();
};

// Seconds from 2000-01-01 to 2001-01-01, the reference of Instant.
constexpr double secondsFrom2000ToReference = 366.0 * 86400.0;

void readGps(const GpmfEntry& entry, const StreamState& state, double sampleTime, double sampleDuration,
             std::vector<CameraTrackPoint>& out) {
    const bool nine = entry.key == "GPS9";
    const std::size_t width = entry.valuesPerElement(state.complexType);
    if (width < (nine ? 9u : 5u))
        return;
    const std::vector<double> values = entry.numbers(state.complexType);
    const std::size_t count = width == 0 ? 0 : values.size() / width;
    if (count == 0)
        return;
    for (std::size_t i = 0; i < width; ++i)
        if (!(scaleOf(state.scales, i) != 0.0) || !std::isfinite(scaleOf(state.scales, i)))
            return;
    auto value = [&](std::size_t element, std::size_t index) {
        return values[element * width + index] / scaleOf(state.scales, index);
    };
    for (std::size_t element = 0; element < count; ++element) {
        CameraTrackPoint point;
        const double within = sampleDuration * static_cast<double>(element) / static_cast<double>(count);
        point.fileTime = sampleTime + within;
        point.latitude = value(element, 0);
        point.longitude = value(element, 1);
        point.altitude = value(element, 2);
        point.speed = value(element, 3);
        if (!plausiblePosition(point.latitude, point.longitude))
            continue;
        if (nine) {
            const double days = value(element, 5);
            const double seconds = value(element, 6);
            // GPS9 stores its precision scaled already: undo SCAL to compare with GPSP's units.
            const double precision = values[element * width + 7] * (100.0 / scaleOf(state.scales, 7));
            const double fix = value(element, 8);
            if (std::isfinite(days) && std::isfinite(seconds) && days > 0.0)
                point.time = Instant(days * 86400.0 + seconds - secondsFrom2000ToReference);
            point.locked = GpmfGps::isLocked(fix, precision) && point.time.has_value();
        } else {
            if (state.utc)
                point.time = *state.utc + within;
            point.locked = GpmfGps::isLocked(state.fix, state.precision);
        }
        out.push_back(point);
    }
}

void walk(const std::vector<GpmfEntry>& entries, double sampleTime, double sampleDuration,
          std::vector<CameraTrackPoint>& out) {
    StreamState state;
    for (const GpmfEntry& entry : entries) {
        if (entry.isContainer()) {
            walk(entry.children, sampleTime, sampleDuration, out);
        } else if (entry.key == "SCAL") {
            state.scales = entry.numbers();
        } else if (entry.key == "TYPE") {
            state.complexType = entry.text();
        } else if (entry.key == "GPSU") {
            state.utc = GpmfGps::parseUtc(entry.text());
        } else if (entry.key == "GPSF") {
            auto numbers = entry.numbers();
            state.fix = numbers.empty() ? 0.0 : numbers.front();
        } else if (entry.key == "GPSP") {
            auto numbers = entry.numbers();
            state.precision = numbers.empty() ? std::numeric_limits<double>::infinity() : numbers.front();
        } else if (entry.key == "GPS5" || entry.key == "GPS9") {
            readGps(entry, state, sampleTime, sampleDuration, out);
        }
    }
}

} // namespace

void GpmfGps::read(std::span<const std::uint8_t> payload, double sampleTime, double sampleDuration,
                   std::vector<CameraTrackPoint>& out) {
    walk(GpmfReader::parse(payload), sampleTime, sampleDuration, out);
}

std::optional<Instant> GpmfGps::parseUtc(std::string_view text) {
    if (text.size() < 12)
        return std::nullopt;
    int fields[6];
    for (int i = 0; i < 6; ++i) {
        const char high = text[2 * i], low = text[2 * i + 1];
        if (high < '0' || high > '9' || low < '0' || low > '9')
            return std::nullopt;
        fields[i] = (high - '0') * 10 + (low - '0');
    }
    const auto [year, month, day, hour, minute, second] =
        std::tuple{fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
    if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    double fraction = 0.0;
    if (text.size() > 13 && text[12] == '.') {
        double place = 0.1;
        for (std::size_t i = 13; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i, place /= 10)
            fraction += (text[i] - '0') * place;
    }
    const double unix = static_cast<double>(daysFromCivil(2000 + year, static_cast<unsigned>(month),
                                                          static_cast<unsigned>(day))) *
                            86400.0 +
                        hour * 3600.0 + minute * 60.0 + second + fraction;
    return Instant::fromUnix(unix);
}
