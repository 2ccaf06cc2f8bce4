#include "readers/TrackPoints.h"

#include "readers/TimeText.h"

#include <algorithm>
#include <cmath>

namespace {

enum Column { lat, lon, sog, cog, heading };
constexpr const char* columnNames[] = {"Lat", "Lon", "SOG", "COG", "Heading"};

// Fewer bytes than this hardly hold a point's markup, time and position in any of the track
// formats; a file with more points than that only makes the columns grow as they go.
constexpr std::size_t smallestPointBytes = 48;

} // namespace

TrackPoints::TrackPoints(InputTable& table, std::string_view text, std::string kind)
    : table_(table), text_(text) {
    table_.kind = std::move(kind);
    table_.columns.resize(5);
    for (int c = 0; c < 5; ++c)
        table_.columns[static_cast<std::size_t>(c)].name = columnNames[c];
    // Room for as many points as the file could hold, so that the columns never move while they
    // grow: moving them cost more than the points' parsing. Untouched pages of the reservation
    // cost address space only.
    const std::size_t mostPoints = text_.size() / smallestPointBytes + 1;
    table_.times.reserve(mostPoints);
    for (auto& column : table_.columns)
        column.values.reserve(mostPoints);
}

std::int64_t TrackPoints::lineAt(std::ptrdiff_t offset) const {
    // Only the first of a kind is described: counting lines for every drop would cost a pass
    // over the file each.
    if (offset < 0 || static_cast<std::size_t>(offset) > text_.size())
        return 0;
    return 1 + std::count(text_.begin(), text_.begin() + offset, '\n');
}

InputColumn& TrackPoints::column(int index) {
    return table_.columns[static_cast<std::size_t>(index)];
}

void TrackPoints::drop(std::string_view reason, std::ptrdiff_t offset, std::string_view text) {
    const bool first = table_.skipped.lines().count == 0;
    table_.skipped.skipLine(first ? lineAt(offset) : 0, SkipTally::describe(reason, text));
}

TrackPoints::Judged TrackPoints::judge(const Point& point) {
    Judged judged;
    std::string_view timeText = point.time;
    while (!timeText.empty() && std::isspace(static_cast<unsigned char>(timeText.front())))
        timeText.remove_prefix(1);
    while (!timeText.empty() && std::isspace(static_cast<unsigned char>(timeText.back())))
        timeText.remove_suffix(1);
    if (timeText.empty()) {
        judged.dropReason = "a point without a time";
        return judged;
    }
    auto time = parseDateTime(timeText);
    if (!time || !plausibleTime(time->seconds)) {
        judged.dropReason = "malformed time";
        judged.dropText = timeText;
        return judged;
    }
    if (!std::isfinite(point.lat) || !std::isfinite(point.lon) || std::abs(point.lat) > 90.0 ||
        std::abs(point.lon) > 180.0) {
        judged.dropReason = "position out of range";
        return judged;
    }
    if (point.lat == 0.0 && point.lon == 0.0) {
        judged.dropReason = "position 0,0";
        return judged;
    }
    judged.time = time->seconds;
    judged.hasZone = time->hasZone;
    judged.dropText = timeText; // for a time going backwards, found only in add()
    const double values[] = {point.lat, point.lon, point.sog, point.cog, point.heading};
    for (int c = 0; c < 5; ++c)
        judged.values[c] = std::isfinite(values[c]) ? values[c] : nan();
    return judged;
}

void TrackPoints::add(const Judged& point, std::ptrdiff_t offset) {
    if (point.dropReason)
        return drop(point.dropReason, offset, point.dropText);
    if (point.time < lastTime_)
        return drop("time going backwards", offset, point.dropText);
    lastTime_ = point.time;
    anyZone_ = anyZone_ || point.hasZone;
    table_.times.push_back(point.time);
    for (int c = 0; c < 5; ++c) {
        InputColumn& target = column(c);
        target.values.push_back(point.values[c]);
        target.numbers += std::isfinite(point.values[c]);
    }
}

bool TrackPoints::finish(std::string& error) {
    if (table_.rowCount() == 0) {
        error = "no track point with a time and a position";
        return false;
    }
    // Track times are UTC by the formats' own rules, written with a "Z" or not.
    table_.utcTimes = true;
    table_.finishColumns();
    return true;
}
