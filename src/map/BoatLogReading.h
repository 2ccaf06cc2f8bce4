#pragma once

#include "boatlog/BoatLog.h"
#include "boatlog/BoatLogView.h"
#include "map/MapCoordinate.h"

#include <optional>
#include <vector>

// What the map reads off a boat log: positions, angles and the records of a time window.
struct BoatLogReading {
    // The latest record at or before `t`; none before the first record or in an empty log.
    static std::optional<BoatLogIndex> lastIndexAtOrBefore(const BoatLog& log, Instant t);
    // The earliest record at or after `t`; none after the last record or in an empty log.
    static std::optional<BoatLogIndex> firstIndexAtOrAfter(const BoatLog& log, Instant t);

    // (Lat, Lon) when both exist.
    static std::optional<MapCoordinate> position(const BoatLogView& view,
                                                 BoatMetric latitude = BoatMetric::Case::Lat,
                                                 BoatMetric longitude = BoatMetric::Case::Lon);
    static std::optional<MapCoordinate> position(const std::optional<BoatLogView>& view);
    // The metric converted to degrees; none when missing or not an angle.
    static std::optional<double> degrees(const std::optional<BoatLogView>& view, BoatMetric metric);
    // `Heading`, else `COG`.
    static std::optional<double> heading(const std::optional<BoatLogView>& view);
    // The metric converted to `unit`; none when missing or of another dimension.
    static std::optional<double> value(const std::optional<BoatLogView>& view, BoatMetric metric,
                                       const Unit& unit);
    // The metric's values of the records first…last in the log's own unit, NaN where missing,
    // appended to `values`. Reads a log held in memory straight from its array: a race's worth
    // of a fleet is millions of values.
    static void appendValues(const BoatLog& log, const BoatMetric& metric, BoatLogIndex first,
                             BoatLogIndex last, std::vector<double>& values);
};
