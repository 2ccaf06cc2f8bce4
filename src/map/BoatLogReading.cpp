#include "map/BoatLogReading.h"

#include "boatlog/DoubleArrayBoatLog.h"

#include <cmath>
#include <limits>

std::optional<BoatLogIndex> BoatLogReading::lastIndexAtOrBefore(const BoatLog& log, Instant t) {
    auto last = log.lastIndex();
    if (!last)
        return std::nullopt;
    if (t >= last->time)
        return last;
    BoatLogIndex first = log.startIndex();
    if (t < first.time)
        return std::nullopt;
    // first.time <= t < last.time: the record after t exists and is not the first.
    auto after = log.firstIndexAfter(t);
    if (!after || after->index == first.index)
        return std::nullopt;
    return log.indexBefore(*after);
}

std::optional<BoatLogIndex> BoatLogReading::firstIndexAtOrAfter(const BoatLog& log, Instant t) {
    auto last = log.lastIndex();
    if (!last || t > last->time)
        return std::nullopt;
    if (t == last->time)
        return last;
    BoatLogIndex first = log.startIndex();
    if (t <= first.time)
        return first;
    auto after = log.firstIndexAfter(t);
    if (!after)
        return std::nullopt;
    BoatLogIndex before = log.indexBefore(*after);
    return before.time == t ? before : *after;
}

std::optional<MapCoordinate> BoatLogReading::position(const BoatLogView& view, BoatMetric latitude,
                                                      BoatMetric longitude) {
    auto lat = view.value(latitude);
    if (!lat)
        return std::nullopt;
    auto lon = view.value(longitude);
    if (!lon)
        return std::nullopt;
    // The catalogue keeps bow, centre and stern positions as plain numbers, in degrees.
    auto inDegrees = [](const Measurement& m) {
        return m.canConvert(UnitAngle::degrees()) ? m.converted(UnitAngle::degrees()).value() : m.value();
    };
    return MapCoordinate{inDegrees(*lat), inDegrees(*lon)};
}

std::optional<MapCoordinate> BoatLogReading::position(const std::optional<BoatLogView>& view) {
    if (!view)
        return std::nullopt;
    return position(*view);
}

std::optional<double> BoatLogReading::value(const std::optional<BoatLogView>& view, BoatMetric metric,
                                            const Unit& unit) {
    if (!view)
        return std::nullopt;
    auto measurement = view->value(metric);
    if (!measurement || !measurement->canConvert(unit))
        return std::nullopt;
    return measurement->converted(unit).value();
}

std::optional<double> BoatLogReading::degrees(const std::optional<BoatLogView>& view, BoatMetric metric) {
    return value(view, std::move(metric), UnitAngle::degrees());
}

std::optional<double> BoatLogReading::heading(const std::optional<BoatLogView>& view) {
    if (auto heading = degrees(view, BoatMetric::Case::Heading))
        return heading;
    return degrees(view, BoatMetric::Case::COG);
}

void BoatLogReading::appendValues(const BoatLog& log, const BoatMetric& metric, BoatLogIndex first,
                                  BoatLogIndex last, std::vector<double>& values) {
    if (last.index < first.index)
        return;
    values.reserve(values.size() + static_cast<std::size_t>(last.index - first.index + 1));
    if (auto* array = dynamic_cast<const DoubleArrayBoatLog*>(&log)) {
        const std::int64_t column = array->metricsMapping().column(metric);
        const std::int64_t row = array->rowSize();
        const auto size = static_cast<std::int64_t>(array->values().size());
        if (column == MetricColumnMap::none) {
            values.insert(values.end(), static_cast<std::size_t>(last.index - first.index + 1),
                          std::numeric_limits<double>::quiet_NaN());
            return;
        }
        // A short value array (a damaged file) takes the checked path below.
        if (row > 0 && first.index >= 0 && size - 1 - column >= 0 &&
            last.index <= (size - 1 - column) / row) {
            const double* data = array->values().data();
            for (std::int64_t r = first.index; r <= last.index; ++r)
                values.push_back(data[r * row + column]);
            return;
        }
    }
    for (BoatLogIndex i = first;; i = log.indexAfter(i)) {
        auto value = log.value(i, metric);
        values.push_back(value ? value->value() : std::numeric_limits<double>::quiet_NaN());
        if (i.index >= last.index)
            break;
    }
}
