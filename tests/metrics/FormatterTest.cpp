#include "metrics/DurationFormatter.h"
#include "metrics/TimeIntervalFormatter.h"
#include "metrics/ZeroBasedAngleFormatter.h"

#include <gtest/gtest.h>

TEST(TimeIntervalFormatter, HoursMinutesAndRoundedDownSeconds) {
    TimeIntervalFormatter f;
    EXPECT_EQ(f.string(0.0), "00:00:00");
    EXPECT_EQ(f.string(59.9), "00:00:59");
    EXPECT_EQ(f.string(3725.0), "01:02:05");
    EXPECT_EQ(f.string(-75.0), "-00:01:15");
    EXPECT_EQ(f.string(360000.0), "100:00:00");
    f.showHours = false;
    EXPECT_EQ(f.string(0.0), "00:00");
    EXPECT_EQ(f.string(3725.0), "62:05");
    EXPECT_EQ(f.string(QVariant(61.0)), "01:01");
}

TEST(NumberFormatter, DigitsAndRounding) {
    NumberFormatter f;
    f.maximumFractionDigits = 2;
    EXPECT_EQ(f.string(3.14159), "3.14");
    EXPECT_EQ(f.string(2.5), "2.5");
    EXPECT_EQ(f.string(-0.004), "0");
    f.minimumFractionDigits = 1;
    f.minimumIntegerDigits = 3;
    f.suffix = "°";
    EXPECT_EQ(f.string(7.0), "007.0°");
    f.roundingMode = NumberFormatter::RoundingMode::down;
    EXPECT_EQ(f.string(-1.239), "-001.23°");
}

TEST(ZeroBasedAngleFormatter, AnglesAboveHalfCircleTurnNegative) {
    auto base = std::make_shared<NumberFormatter>();
    BoatMetric::ZeroBasedAngleFormatter f(base);
    EXPECT_EQ(f.string(QVariant(190.0)), "-170");
    EXPECT_EQ(f.string(QVariant(180.0)), "180");
    EXPECT_EQ(f.string(QVariant(360.0)), "0");
    EXPECT_EQ(f.string(QVariant(-200.0)), "-200");

    BoatMetric::DurationFormatter duration(std::make_shared<TimeIntervalFormatter>());
    EXPECT_EQ(duration.string(QVariant(-75.0)), "-00:01:15");
}

TEST(FormatterDeathTest, WrongValuesAndParsingStop) {
    BoatMetric::ZeroBasedAngleFormatter angle(std::make_shared<NumberFormatter>());
    EXPECT_DEATH(angle.string(QVariant()), "Expected Double value");
    EXPECT_DEATH(angle.string(QVariant("12")), "Expected Double value");
    EXPECT_DEATH(angle.value("12"), "Not supported");
    BoatMetric::DurationFormatter duration(std::make_shared<TimeIntervalFormatter>());
    EXPECT_DEATH(duration.string(QVariant(5)), "Expected Double time interval");
    EXPECT_DEATH(TimeIntervalFormatter().string(QVariant("1")), "Expected Double time interval");
    EXPECT_DEATH(duration.value("00:01"), "Not supported");
}
