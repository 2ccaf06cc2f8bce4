#pragma once

#include "boatlog/BoatLogIndex.h"
#include "core/Measurement.h"
#include "metrics/BoatMetric.h"

#include <memory>
#include <optional>
#include <vector>

class Boat;
class BoatLogView;
class DirectBoatLogView;

// A boat's time-indexed table of metric values: records ascending in time, NaN for a missing
// value. Everything that shows boat data reads it through this interface.
class BoatLog {
public:
    // The widest gap between two records that an interpolated view blends across.
    static constexpr double maximumInterpolationGap = 10.0;

    virtual ~BoatLog() = default;

    virtual std::shared_ptr<Boat> boat() const = 0;
    // Record 0; at the most distant past when the log is empty.
    virtual BoatLogIndex startIndex() const = 0;
    virtual std::optional<BoatLogIndex> lastIndex() const = 0;
    // The next record; one past the last is allowed and lies in the most distant future. Further
    // is a programming error ("Bounds exceeded").
    virtual BoatLogIndex indexAfter(BoatLogIndex i) const = 0;
    virtual BoatLogIndex indexBefore(BoatLogIndex i) const = 0;
    // The first record strictly later than `t`: an upper bound, so at a record's own time this is
    // the record after it, and at the last record's time there is none.
    virtual std::optional<BoatLogIndex> firstIndexAfter(Instant t) const = 0;
    virtual std::optional<Measurement> value(BoatLogIndex i, const BoatMetric& metric) const = 0;
    virtual std::vector<BoatMetric> availableMetrics() const = 0;

    // The boat's state at `t`; none outside the log, at exactly its last record, and, when
    // interpolating, inside a gap of more than ten seconds.
    std::optional<BoatLogView> view(Instant t, bool interpolated) const;
    DirectBoatLogView directView(BoatLogIndex i) const;
};
