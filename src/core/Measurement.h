#pragma once

#include "core/FatalError.h"
#include "core/Unit.h"

// A number with its unit. Conversion stays within one dimension; asking to convert a speed into
// an angle is a programming error.
class Measurement {
public:
    constexpr Measurement(double value, const Unit& unit) : value_(value), unit_(&unit) {}

    constexpr double value() const { return value_; }
    constexpr const Unit& unit() const { return *unit_; }

    bool canConvert(const Unit& to) const { return unit_->dimension() == to.dimension(); }
    Measurement converted(const Unit& to) const {
        if (&to == unit_)
            return *this;
        if (!canConvert(to))
            fatalError("Cannot convert between units of different dimensions");
        return Measurement(to.fromBase(unit_->toBase(value_)), to);
    }

    // Same value in the same unit; a measurement in another unit of equal size is not equal.
    bool operator==(const Measurement& other) const { return value_ == other.value_ && unit_ == other.unit_; }

private:
    double value_;
    const Unit* unit_;
};
