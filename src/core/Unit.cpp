#include "core/Unit.h"

#include <numbers>

namespace {
using D = Unit::Dimension;
constexpr Unit degreesUnit(D::angle, "°", 1.0);
constexpr Unit radiansUnit(D::angle, "rad", 180.0 / std::numbers::pi);
constexpr Unit metersPerSecondUnit(D::speed, "m/s", 1.0);
constexpr Unit knotsUnit(D::speed, "kn", 1852.0 / 3600.0);
constexpr Unit kilometersPerHourUnit(D::speed, "km/h", 1000.0 / 3600.0);
constexpr Unit kilogramsUnit(D::mass, "kg", 1.0);
constexpr Unit metricTonsUnit(D::mass, "t", 1000.0);
constexpr Unit secondsUnit(D::duration, "s", 1.0);
constexpr Unit minutesUnit(D::duration, "min", 60.0);
constexpr Unit hoursUnit(D::duration, "h", 3600.0);
constexpr Unit metersUnit(D::length, "m", 1.0);
constexpr Unit feetUnit(D::length, "ft", 0.3048);
constexpr Unit nauticalMilesUnit(D::length, "NM", 1852.0);
constexpr Unit scalarUnit(D::scalar, "", 1.0);
constexpr Unit percentUnit(D::scalar, "%", 0.01);
} // namespace

const Unit& UnitAngle::degrees() {
    return degreesUnit;
}
const Unit& UnitAngle::radians() {
    return radiansUnit;
}
const Unit& UnitSpeed::metersPerSecond() {
    return metersPerSecondUnit;
}
const Unit& UnitSpeed::knots() {
    return knotsUnit;
}
const Unit& UnitSpeed::kilometersPerHour() {
    return kilometersPerHourUnit;
}
const Unit& UnitMass::kilograms() {
    return kilogramsUnit;
}
const Unit& UnitMass::metricTons() {
    return metricTonsUnit;
}
const Unit& UnitDuration::seconds() {
    return secondsUnit;
}
const Unit& UnitDuration::minutes() {
    return minutesUnit;
}
const Unit& UnitDuration::hours() {
    return hoursUnit;
}
const Unit& UnitLength::meters() {
    return metersUnit;
}
const Unit& UnitLength::feet() {
    return feetUnit;
}
const Unit& UnitLength::nauticalMiles() {
    return nauticalMilesUnit;
}
const Unit& UnitScalar::scalar() {
    return scalarUnit;
}
const Unit& UnitScalar::percent() {
    return percentUnit;
}
