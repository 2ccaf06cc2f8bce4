#include "core/Measurement.h"

#include <gtest/gtest.h>
#include <numbers>

TEST(Measurement, ConvertsWithinADimension) {
    EXPECT_DOUBLE_EQ(Measurement(95, UnitScalar::percent()).converted(UnitScalar::scalar()).value(), 0.95);
    EXPECT_DOUBLE_EQ(Measurement(0.5, UnitScalar::scalar()).converted(UnitScalar::percent()).value(), 50.0);
    EXPECT_DOUBLE_EQ(Measurement(10, UnitSpeed::knots()).converted(UnitSpeed::metersPerSecond()).value(),
                     18520.0 / 3600.0);
    EXPECT_DOUBLE_EQ(
        Measurement(36, UnitSpeed::kilometersPerHour()).converted(UnitSpeed::metersPerSecond()).value(),
        10.0);
    EXPECT_DOUBLE_EQ(Measurement(180, UnitAngle::degrees()).converted(UnitAngle::radians()).value(),
                     std::numbers::pi);
    EXPECT_DOUBLE_EQ(Measurement(2.5, UnitMass::metricTons()).converted(UnitMass::kilograms()).value(),
                     2500.0);
    EXPECT_DOUBLE_EQ(Measurement(90, UnitDuration::minutes()).converted(UnitDuration::hours()).value(), 1.5);
    EXPECT_DOUBLE_EQ(Measurement(1, UnitLength::nauticalMiles()).converted(UnitLength::meters()).value(),
                     1852.0);
    EXPECT_DOUBLE_EQ(Measurement(100, UnitLength::feet()).converted(UnitLength::meters()).value(), 30.48);
    EXPECT_EQ(UnitScalar::scalar().symbol(), "");
    EXPECT_EQ(UnitScalar::percent().symbol(), "%");
}

TEST(MeasurementDeathTest, ConvertingAcrossDimensionsStops) {
    EXPECT_DEATH(Measurement(1, UnitScalar::scalar()).converted(UnitAngle::radians()),
                 "different dimensions");
}
