#pragma once

#include "core/Measurement.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

class Formatter;
class NumberFormatter;
class TimeIntervalFormatter;

// Every quantity a boat log can hold: 77 fixed metrics plus Custom(name) for any other column.
// The raw key of a fixed metric is its case name; a Custom metric's raw key is its name.
class BoatMetric {
public:
    enum class Case {
        Lat,
        Lon,
        LatBow,
        LonBow,
        LatCenter,
        LonCenter,
        LatStern,
        LonStern,
        Heading,
        COG,
        BoatSpeed,
        TargetBoatSpeed,
        BoatSpeedPercOfTarget,
        SOG,
        SOW,
        VMG,
        TargetVMG,
        VMGPercOfTarget,
        AWA,
        AWS,
        TWA,
        TargetTWA,
        TWS,
        TWD,
        MWA,
        MWS,
        RudderFwd,
        Heel,
        Trim,
        Rudder,
        Heave,
        Tab,
        Forestay,
        TargetForestay,
        Downhaul,
        Rake,
        RunnerStbd,
        RunnerPort,
        BackStay,
        TargetTrim,
        TargetHeel,
        Boom,
        Twist,
        Deflector,
        DeflectorStbd,
        Bobstay,
        Outhaul,
        TargetRake,
        TrimRate,
        HeelRate,
        DeflectorPort,
        TargetRudder,
        Pitch,
        RideHeight,
        TargetRideHeight,
        Yaw,
        RudderRakeAngle,
        MkLat,
        MkLon,
        Portlat,
        Portlon,
        Stbdlat,
        Stbdlon,
        TimeToGun,
        TimeToLine,
        TimeToBurn,
        BelowLine,
        DistanceToLine,
        TimeToLineReaching,
        DistanceToLineReaching,
        Leeway,
        Set,
        Drift,
        CurrentAngleTrue,
        CurrentSpeed,
        TimeLocal,
        TimeUTC,
        Custom
    };
    static constexpr std::size_t fixedCount = 77;

    class ZeroBasedAngleFormatter;
    class DurationFormatter;

    constexpr BoatMetric(Case c) : case_(c) {}
    // Never fails: a recognised key gives its case, any other text gives Custom(rawKey).
    explicit BoatMetric(std::string_view rawKey);
    static BoatMetric custom(std::string name);

    Case metricCase() const { return case_; }
    bool isCustom() const { return case_ == Case::Custom; }
    // Position in the catalogue, 0…76; only for fixed metrics.
    std::size_t fixedIndex() const { return static_cast<std::size_t>(case_); }
    std::string rawKey() const;
    const std::string& customName() const { return name_; }

    // The unit that values read from a log carry.
    const Unit& unit() const;
    bool isCircular() const;
    // The blend of two values of this metric with the weight of the left one: the short way round
    // the circle in degrees for the circular metrics, linear otherwise; `right` is converted to
    // `left`'s unit first.
    Measurement blend(const Measurement& left, const Measurement& right, double leftWeight) const;

    // The 77 fixed metrics in catalogue order.
    static const BoatMetric* allFixed();

    bool operator==(const BoatMetric& other) const {
        return case_ == other.case_ && (case_ != Case::Custom || name_ == other.name_);
    }

private:
    Case case_;
    std::string name_;
};

template <> struct std::hash<BoatMetric> {
    std::size_t operator()(const BoatMetric& metric) const noexcept {
        if (metric.isCustom())
            return std::hash<std::string>()(metric.customName()) ^ 0x9e3779b97f4a7c15ULL;
        return metric.fixedIndex();
    }
};
