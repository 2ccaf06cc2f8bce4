#pragma once

#include "core/Instant.h"
#include "metrics/MetricPresentation.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

class BoatLog;

// One metric of one boat over a span of time as a graph draws it: values in display units, at
// most four points per column of the graph (the first, lowest, highest and last value that fall
// in it), so that a spike survives however far out the graph is zoomed and a long span still
// draws in a few thousand points.
//
// The line is cut into runs where the interpolated view would show nothing (a missing value, a gap
// of more than BoatLog::maximumInterpolationGap between records) and where a circular value wraps
// round: the run leaves at one edge of the circle's range and the next enters at the other, so no
// stroke crosses the lane.
class MetricSeries {
public:
    MetricSeries() = default;

    // Reads the records of `logs` from the last one at or before `start` to the first one after
    // `end` (when no further off than the widest blended gap), so the line reaches both edges. Where logs
    // overlap, the first one wins, as in BoatLogLookup. Columns are `columnSeconds` wide and counted from the
    // reference date, so the columns of two reads with the same width line up.
    static MetricSeries read(const std::vector<const BoatLog*>& logs, const MetricPresentation& presentation,
                             Instant start, Instant end, double columnSeconds);
    // Makes this read of [heldStart, heldEnd] what read(logs, presentation, start, end,
    // columnSeconds) gives, at the same column width: the columns that lie whole in both spans stay
    // as they are, and only the columns on either side are read. A window sliding with playback
    // thus reads only the seconds it moved, into the storage it has.
    void slide(Instant heldStart, Instant heldEnd, const std::vector<const BoatLog*>& logs,
               const MetricPresentation& presentation, Instant start, Instant end, double columnSeconds);

    // The range a circular metric's values are shown in: 0…360 for a compass direction, −180…180
    // for an angle to the bow (port and leeward negative). None for other metrics.
    static std::optional<std::pair<double, double>> circularRange(const MetricPresentation& presentation);
    // `value` moved by whole turns into a circular range, as its text reads.
    static double intoCircle(double value, std::pair<double, double> range);

    // Points in time order: seconds since the reference date, and values in display units.
    const std::vector<double>& times() const { return times_; }
    const std::vector<double>& values() const { return values_; }
    std::size_t pointCount() const { return times_.size(); }
    bool isEmpty() const { return times_.empty(); }

    std::size_t runCount() const { return runStarts_.size(); }
    // The points [first, second) of run `i`.
    std::pair<std::size_t, std::size_t> run(std::size_t i) const;

    // The lowest and highest value; none without points.
    std::optional<std::pair<double, double>> valueRange() const;

private:
    class Builder;

    // Keeps the points [first, end) and puts those of `head` before them.
    void keepAfter(MetricSeries&& head, std::size_t first, std::size_t end);

    std::vector<double> times_;
    std::vector<double> values_;
    std::vector<std::uint32_t> runStarts_;
};
