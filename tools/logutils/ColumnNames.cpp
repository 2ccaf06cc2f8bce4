#include "ColumnNames.h"

#include "core/Unit.h"
#include "metrics/BoatMetric.h"

#include <cctype>
#include <functional>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace {

// Lower case without blanks and underscores: "Mk Lat", "MK_LAT" and "mklat" are one name.
std::string folded(std::string_view name) {
    std::string out;
    out.reserve(name.size());
    for (char c : name)
        if (c != ' ' && c != '_' && c != '\t')
            out.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    return out;
}

// The usual channel names of instruments and navigation programs, folded, by raw key.
constexpr std::pair<std::string_view, std::string_view> aliases[] = {
    // speeds and headings
    {"bsp", "BoatSpeed"},
    {"speedthroughwater", "BoatSpeed"},
    {"stw", "BoatSpeed"},
    {"hdg", "Heading"},
    {"hdt", "Heading"},
    {"courseoverground", "COG"},
    {"speedoverground", "SOG"},
    {"latitude", "Lat"},
    {"longitude", "Lon"},
    {"long", "Lon"},
    {"lng", "Lon"},
    // targets and performance
    {"tgtbsp", "TargetBoatSpeed"},
    {"targbsp", "TargetBoatSpeed"},
    {"targetbsp", "TargetBoatSpeed"},
    {"targetspeed", "TargetBoatSpeed"},
    {"bsp%", "BoatSpeedPercOfTarget"},
    {"polar%", "BoatSpeedPercOfTarget"},
    {"polarperf", "BoatSpeedPercOfTarget"},
    {"tgtvmg", "TargetVMG"},
    {"targvmg", "TargetVMG"},
    {"vmg%", "VMGPercOfTarget"},
    {"vmgperf", "VMGPercOfTarget"},
    {"tgttwa", "TargetTWA"},
    {"targtwa", "TargetTWA"},
    {"tgtheel", "TargetHeel"},
    {"targheel", "TargetHeel"},
    // wind
    {"appwindangle", "AWA"},
    {"apparentwindangle", "AWA"},
    {"appwindspeed", "AWS"},
    {"apparentwindspeed", "AWS"},
    {"truewindangle", "TWA"},
    {"truewindspeed", "TWS"},
    {"truewinddirection", "TWD"},
    {"twdir", "TWD"},
    // rig
    {"runners", "RunnerStbd"},
    {"runnerp", "RunnerPort"},
    {"deflectors", "DeflectorStbd"},
    {"deflectorp", "DeflectorPort"},
    {"heelangle", "Heel"},
    {"rudderangle", "Rudder"},
    // start line and marks
    {"mklat", "MkLat"},
    {"mklon", "MkLon"},
    {"marklat", "MkLat"},
    {"marklon", "MkLon"},
    {"tmtogun", "TimeToGun"},
    {"tmtoln", "TimeToLine"},
    {"burn", "TimeToBurn"},
    {"belowln", "BelowLine"},
    {"disttoln", "DistanceToLine"},
    {"rchtmtoln", "TimeToLineReaching"},
    {"rchdttoln", "DistanceToLineReaching"},
};

const std::unordered_map<std::string, std::string>& aliasTable() {
    static const auto table = [] {
        std::unordered_map<std::string, std::string> map;
        // Every key a log may carry is its own alias, so "boat speed" and "tws" match too; the
        // three keys a log never yields stay out.
        for (std::size_t i = 0; i < BoatMetric::fixedCount; ++i) {
            std::string key = BoatMetric::allFixed()[i].rawKey();
            if (!BoatMetric(key).isCustom())
                map.emplace(folded(key), key);
        }
        for (const auto& [alias, key] : aliases)
            map.emplace(std::string(alias), std::string(key));
        return map;
    }();
    return table;
}

std::optional<std::reference_wrapper<const Unit>> unitNamed(std::string_view text) {
    static const std::unordered_map<std::string, const Unit*> units = {
        {"deg", &UnitAngle::degrees()},
        {"°", &UnitAngle::degrees()},
        {"degrees", &UnitAngle::degrees()},
        {"rad", &UnitAngle::radians()},
        {"radians", &UnitAngle::radians()},
        {"kn", &UnitSpeed::knots()},
        {"kt", &UnitSpeed::knots()},
        {"kts", &UnitSpeed::knots()},
        {"knots", &UnitSpeed::knots()},
        {"m/s", &UnitSpeed::metersPerSecond()},
        {"km/h", &UnitSpeed::kilometersPerHour()},
        {"kmh", &UnitSpeed::kilometersPerHour()},
        {"kg", &UnitMass::kilograms()},
        {"t", &UnitMass::metricTons()},
        {"s", &UnitDuration::seconds()},
        {"sec", &UnitDuration::seconds()},
        {"min", &UnitDuration::minutes()},
        {"h", &UnitDuration::hours()},
        {"m", &UnitLength::meters()},
        {"ft", &UnitLength::feet()},
        {"nm", &UnitLength::nauticalMiles()},
        {"nmi", &UnitLength::nauticalMiles()},
        {"%", &UnitScalar::percent()},
    };
    auto found = units.find(folded(text));
    if (found == units.end())
        return std::nullopt;
    return std::cref(*found->second);
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front())))
        s.remove_prefix(1);
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back())))
        s.remove_suffix(1);
    return s;
}

ColumnName metricColumn(const std::string& key, double factor = 1.0) {
    return {key, factor, BoatMetric(key).isCircular()};
}

} // namespace

ColumnName mapColumnName(const std::string& inputName) {
    if (!BoatMetric(inputName).isCustom())
        return metricColumn(inputName);
    const auto& table = aliasTable();
    if (auto found = table.find(folded(inputName)); found != table.end())
        return metricColumn(found->second);

    // "Name (unit)" or "Name [unit]": the name decides the metric, the unit the factor. A unit of
    // another kind than the metric's means the column is something else, kept as it is.
    std::string_view name = trimmed(inputName);
    char close = name.empty() ? '\0' : name.back();
    std::size_t open =
        close == ')' ? name.rfind('(') : (close == ']' ? name.rfind('[') : std::string_view::npos);
    if (open != std::string_view::npos && open > 0) {
        std::string base = folded(name.substr(0, open));
        auto unit = unitNamed(trimmed(name.substr(open + 1, name.size() - open - 2)));
        auto found = table.find(base);
        if (unit && found != table.end()) {
            const Unit& storage = BoatMetric(found->second).unit();
            // Percent and plain numbers share a dimension but are no conversion of each other.
            bool scalarMismatch = storage.dimension() == Unit::Dimension::scalar && &unit->get() != &storage;
            if (unit->get().dimension() == storage.dimension() && !scalarMismatch)
                return metricColumn(found->second, unit->get().coefficient() / storage.coefficient());
        }
    }
    return {std::string(name), 1.0, false};
}
