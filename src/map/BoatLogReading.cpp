#include "map/BoatLogReading.h"

#include <cmath>

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
