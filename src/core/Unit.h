#pragma once

#include <string_view>

// A unit of measurement of one dimension with a linear converter to that dimension's base unit:
// base value = value × coefficient. Units are made once and compared by identity.
class Unit {
public:
    enum class Dimension { angle, speed, mass, duration, length, scalar };

    constexpr Unit(Dimension dimension, std::string_view symbol, double coefficient)
        : dimension_(dimension), symbol_(symbol), coefficient_(coefficient) {}
    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;

    constexpr Dimension dimension() const { return dimension_; }
    constexpr std::string_view symbol() const { return symbol_; }
    constexpr double coefficient() const { return coefficient_; }

    double toBase(double value) const { return value * coefficient_; }
    double fromBase(double value) const { return value / coefficient_; }

private:
    Dimension dimension_;
    std::string_view symbol_;
    double coefficient_;
};

struct UnitAngle {
    static const Unit& degrees(); // base
    static const Unit& radians();
};

struct UnitSpeed {
    static const Unit& metersPerSecond(); // base
    static const Unit& knots();
    static const Unit& kilometersPerHour();
};

struct UnitMass {
    static const Unit& kilograms(); // base
    static const Unit& metricTons();
};

struct UnitDuration {
    static const Unit& seconds(); // base
    static const Unit& minutes();
    static const Unit& hours();
};

struct UnitLength {
    static const Unit& meters(); // base
    static const Unit& feet();
    static const Unit& nauticalMiles();
};

// Wakeline's dimension for plain numbers: scalar (base, empty symbol) and percent (0.01).
struct UnitScalar {
    static const Unit& scalar();
    static const Unit& percent();
};
