#include "boatlog/DoubleArrayBoatLog.h"

#include <cmath>
#include <gtest/gtest.h>

using Case = BoatMetric::Case;

namespace {
std::shared_ptr<DoubleArrayBoatLog> makeLog(std::vector<std::string> columns, std::vector<double> times,
                                            std::vector<double> values, const TimeZone& zone, double offset) {
    return std::make_shared<DoubleArrayBoatLog>(nullptr, std::move(columns),
                                                DoubleArray(times.begin(), times.end()),
                                                DoubleArray(values.begin(), values.end()), zone, offset);
}
} // namespace

TEST(DoubleArrayBoatLog, RetimeTakesTheZoneOffsetOnceAtTheFirstRecord) {
    // 12:00 wall-clock in UTC+2 is 10:00 UTC; an offset of +5 s moves the log later.
    const double noonWallClock = 1686052800.0;
    auto log = makeLog({"TWS"}, {noonWallClock}, {1}, *TimeZone::fromSecondsFromGMT(7200), 0.0);
    EXPECT_EQ(log->startIndex().time, Instant::fromUnix(noonWallClock - 7200));
    log->retime(*TimeZone::fromSecondsFromGMT(7200), 5.0);
    EXPECT_EQ(log->startIndex().time, Instant::fromUnix(noonWallClock - 7200 + 5));
    EXPECT_EQ(log->fileTimeIntervalIndex().front(), noonWallClock);

    // Berlin leaves summer time at 01:00 UTC on 2023-10-29: a log from midnight to 04:00 keeps
    // the +2 h it had at its first record throughout.
    const double midnight = 1698537600.0; // 2023-10-29 00:00
    auto berlin = *TimeZone::fromIdentifier("Europe/Berlin");
    auto acrossChange = makeLog({"TWS"}, {midnight, midnight + 4 * 3600}, {1, 2}, berlin, 0.0);
    EXPECT_EQ(berlin.secondsFromGMT(Instant::fromUnix(midnight + 4 * 3600)), 3600);
    EXPECT_EQ(acrossChange->startIndex().time, Instant::fromUnix(midnight - 7200));
    EXPECT_EQ(acrossChange->lastIndex()->time, Instant::fromUnix(midnight + 4 * 3600 - 7200));

    auto empty = makeLog({"TWS"}, {}, {}, berlin, 3.0);
    EXPECT_TRUE(empty->offsetTimeIndex().empty());
}

TEST(DoubleArrayBoatLog, ColumnsBecomeMetrics) {
    auto log = makeLog({"TWS", "RigLoad", "Heave", "TWS"}, {0, 1}, {1, 2, 3, 4, /**/ 5, 6, NAN, INFINITY},
                       TimeZone::utc(), 0.0);
    EXPECT_EQ(log->rowSize(), 4);
    // A name given twice reads from its later column.
    EXPECT_EQ(log->value({0, {}}, Case::TWS)->value(), 4.0);
    EXPECT_EQ(log->value({0, {}}, BoatMetric("RigLoad"))->value(), 2.0);
    EXPECT_EQ(&log->value({0, {}}, Case::TWS)->unit(), &UnitSpeed::knots());
    EXPECT_EQ(log->value({0, {}}, BoatMetric("Heave"))->value(), 3.0);
    EXPECT_FALSE(log->value({0, {}}, Case::Heave));
    // NaN is absent, its neighbours still read, infinities are values.
    EXPECT_FALSE(log->value({1, {}}, BoatMetric("Heave")));
    EXPECT_EQ(log->value({1, {}}, BoatMetric("RigLoad"))->value(), 6.0);
    EXPECT_TRUE(std::isinf(log->value({1, {}}, Case::TWS)->value()));

    std::vector<BoatMetric> available = log->availableMetrics();
    ASSERT_EQ(available.size(), 3u);
    EXPECT_EQ(available[0], BoatMetric("RigLoad"));
    EXPECT_EQ(available[1], BoatMetric("Heave"));
    EXPECT_EQ(available[2], BoatMetric(Case::TWS));
}
