#include "metrics/BoatMetric.h"

#include <array>
#include <cmath>
#include <unordered_map>
#include <vector>

namespace {

struct CatalogueEntry {
    std::string_view key;
    // False for the three names a log never yields ("Heave", "TargetForestay", "Deflector"):
    // columns with those names stay Custom, on purpose.
    bool fromLog;
    const Unit& (*unit)();
    bool circular;
};

constexpr std::array<CatalogueEntry, BoatMetric::fixedCount> catalogue = {
    {{"Lat", true, &UnitAngle::degrees, false},
     {"Lon", true, &UnitAngle::degrees, false},
     {"LatBow", true, &UnitScalar::scalar, false},
     {"LonBow", true, &UnitScalar::scalar, false},
     {"LatCenter", true, &UnitScalar::scalar, false},
     {"LonCenter", true, &UnitScalar::scalar, false},
     {"LatStern", true, &UnitScalar::scalar, false},
     {"LonStern", true, &UnitScalar::scalar, false},
     {"Heading", true, &UnitAngle::degrees, true},
     {"COG", true, &UnitAngle::degrees, true},
     {"BoatSpeed", true, &UnitSpeed::knots, false},
     {"TargetBoatSpeed", true, &UnitSpeed::knots, false},
     {"BoatSpeedPercOfTarget", true, &UnitScalar::percent, false},
     {"SOG", true, &UnitSpeed::knots, false},
     {"SOW", true, &UnitScalar::scalar, false},
     {"VMG", true, &UnitSpeed::knots, false},
     {"TargetVMG", true, &UnitSpeed::knots, false},
     {"VMGPercOfTarget", true, &UnitScalar::percent, false},
     {"AWA", true, &UnitAngle::degrees, true},
     {"AWS", true, &UnitSpeed::knots, false},
     {"TWA", true, &UnitAngle::degrees, true},
     {"TargetTWA", true, &UnitAngle::degrees, true},
     {"TWS", true, &UnitSpeed::knots, false},
     {"TWD", true, &UnitAngle::degrees, true},
     {"MWA", true, &UnitScalar::scalar, false},
     {"MWS", true, &UnitScalar::scalar, false},
     {"RudderFwd", true, &UnitScalar::scalar, false},
     {"Heel", true, &UnitAngle::degrees, false},
     {"Trim", true, &UnitScalar::scalar, false},
     {"Rudder", true, &UnitScalar::scalar, false},
     {"Heave", false, &UnitScalar::scalar, false},
     {"Tab", true, &UnitScalar::scalar, false},
     {"Forestay", true, &UnitMass::metricTons, false},
     {"TargetForestay", false, &UnitScalar::scalar, false},
     {"Downhaul", true, &UnitScalar::scalar, false},
     {"Rake", true, &UnitAngle::degrees, false},
     {"RunnerStbd", true, &UnitScalar::scalar, false},
     {"RunnerPort", true, &UnitScalar::scalar, false},
     {"BackStay", true, &UnitScalar::scalar, false},
     {"TargetTrim", true, &UnitScalar::scalar, false},
     {"TargetHeel", true, &UnitAngle::degrees, false},
     {"Boom", true, &UnitScalar::scalar, false},
     {"Twist", true, &UnitScalar::scalar, false},
     {"Deflector", false, &UnitScalar::scalar, false},
     {"DeflectorStbd", true, &UnitScalar::percent, false},
     {"Bobstay", true, &UnitScalar::scalar, false},
     {"Outhaul", true, &UnitScalar::scalar, false},
     {"TargetRake", true, &UnitAngle::degrees, false},
     {"TrimRate", true, &UnitScalar::scalar, false},
     {"HeelRate", true, &UnitScalar::scalar, false},
     {"DeflectorPort", true, &UnitScalar::percent, false},
     {"TargetRudder", true, &UnitScalar::scalar, false},
     {"Pitch", true, &UnitScalar::scalar, false},
     {"RideHeight", true, &UnitScalar::scalar, false},
     {"TargetRideHeight", true, &UnitScalar::scalar, false},
     {"Yaw", true, &UnitScalar::scalar, false},
     {"RudderRakeAngle", true, &UnitScalar::scalar, false},
     {"MkLat", true, &UnitAngle::degrees, false},
     {"MkLon", true, &UnitAngle::degrees, false},
     {"Portlat", true, &UnitAngle::degrees, false},
     {"Portlon", true, &UnitAngle::degrees, false},
     {"Stbdlat", true, &UnitAngle::degrees, false},
     {"Stbdlon", true, &UnitAngle::degrees, false},
     {"TimeToGun", true, &UnitDuration::seconds, false},
     {"TimeToLine", true, &UnitDuration::seconds, false},
     {"TimeToBurn", true, &UnitDuration::seconds, false},
     {"BelowLine", true, &UnitLength::meters, false},
     {"DistanceToLine", true, &UnitLength::meters, false},
     {"TimeToLineReaching", true, &UnitDuration::seconds, false},
     {"DistanceToLineReaching", true, &UnitLength::meters, false},
     {"Leeway", true, &UnitScalar::scalar, false},
     {"Set", true, &UnitScalar::scalar, false},
     {"Drift", true, &UnitScalar::scalar, false},
     {"CurrentAngleTrue", true, &UnitAngle::degrees, false},
     {"CurrentSpeed", true, &UnitSpeed::knots, false},
     {"TimeLocal", true, &UnitScalar::scalar, false},
     {"TimeUTC", true, &UnitScalar::scalar, false}}};

const std::unordered_map<std::string_view, BoatMetric::Case>& recognisedKeys() {
    static const auto keys = [] {
        std::unordered_map<std::string_view, BoatMetric::Case> map;
        for (std::size_t i = 0; i < catalogue.size(); ++i)
            if (catalogue[i].fromLog)
                map.emplace(catalogue[i].key, static_cast<BoatMetric::Case>(i));
        return map;
    }();
    return keys;
}

// fmod(x, 360) for the values a blend meets, without fmod's cost: for 0 ≤ x < 1080 subtracting
// 360 or 720 is exact (both lie within a factor of two of x), so the result is fmod's to the bit.
double wrap360(double x) {
    if (x >= 0.0 && x < 1080.0)
        return x >= 720.0 ? x - 720.0 : (x >= 360.0 ? x - 360.0 : x);
    return std::fmod(x, 360.0);
}

} // namespace

BoatMetric::BoatMetric(std::string_view rawKey) {
    const auto& keys = recognisedKeys();
    auto found = keys.find(rawKey);
    if (found != keys.end()) {
        case_ = found->second;
    } else {
        case_ = Case::Custom;
        name_ = std::string(rawKey);
    }
}

BoatMetric BoatMetric::custom(std::string name) {
    BoatMetric metric(Case::Custom);
    metric.name_ = std::move(name);
    return metric;
}

std::string BoatMetric::rawKey() const {
    if (case_ == Case::Custom)
        return name_;
    return std::string(catalogue[fixedIndex()].key);
}

const Unit& BoatMetric::unit() const {
    if (case_ == Case::Custom)
        return UnitScalar::scalar();
    return catalogue[fixedIndex()].unit();
}

bool BoatMetric::isCircular() const {
    return case_ != Case::Custom && catalogue[fixedIndex()].circular;
}

Measurement BoatMetric::blend(const Measurement& left, const Measurement& right, double w) const {
    const Unit& unit = left.unit();
    if (isCircular()) {
        double lv = left.converted(UnitAngle::degrees()).value();
        double rv = right.converted(UnitAngle::degrees()).value();
        double d = wrap360(lv - rv + 180.0 + 360.0) - 180.0;
        double x = wrap360(d * w + rv + 360.0);
        return Measurement(x, UnitAngle::degrees()).converted(unit);
    }
    double lv = left.value();
    double rv = right.converted(unit).value();
    return Measurement((lv - rv) * w + rv, unit);
}

const BoatMetric* BoatMetric::allFixed() {
    static const auto all = [] {
        std::vector<BoatMetric> metrics;
        metrics.reserve(fixedCount);
        for (std::size_t i = 0; i < fixedCount; ++i)
            metrics.emplace_back(static_cast<Case>(i));
        return metrics;
    }();
    return all.data();
}
