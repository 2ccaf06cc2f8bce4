#include "boatlog/BoatLogView.h"

#include "boatlog/DoubleArrayBoatLog.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

using Case = BoatMetric::Case;

namespace {

const double t0 = 1686052800.0;

std::shared_ptr<DoubleArrayBoatLog> makeLog(std::vector<std::string> columns, std::vector<double> times,
                                            std::vector<double> values) {
    DoubleArray array(values.begin(), values.end());
    return std::make_shared<DoubleArrayBoatLog>(nullptr, std::move(columns),
                                                DoubleArray(times.begin(), times.end()), std::move(array),
                                                TimeZone::utc(), 0.0);
}

Instant at(double unixSeconds) {
    return Instant::fromUnix(unixSeconds);
}

// A log whose right-hand record stores its speed in m/s, to see the blend convert units.
class MixedUnitLog : public BoatLog {
public:
    std::shared_ptr<Boat> boat() const override { return nullptr; }
    BoatLogIndex startIndex() const override { return {0, at(t0)}; }
    std::optional<BoatLogIndex> lastIndex() const override { return BoatLogIndex{1, at(t0 + 4)}; }
    BoatLogIndex indexAfter(BoatLogIndex i) const override { return {i.index + 1, at(t0 + 4)}; }
    BoatLogIndex indexBefore(BoatLogIndex) const override { return {0, at(t0)}; }
    std::optional<BoatLogIndex> firstIndexAfter(Instant t) const override {
        if (t < at(t0) || t >= at(t0 + 4))
            return std::nullopt;
        return BoatLogIndex{1, at(t0 + 4)};
    }
    std::optional<Measurement> value(BoatLogIndex i, const BoatMetric&) const override {
        if (i.index == 0)
            return Measurement(10, UnitSpeed::knots());
        return Measurement(20 * 1852.0 / 3600.0, UnitSpeed::metersPerSecond());
    }
    std::vector<BoatMetric> availableMetrics() const override { return {BoatMetric(Case::TWS)}; }
};

} // namespace

TEST(BoatLogView, EmptyLogHasNoViews) {
    auto log = makeLog({"TWS"}, {}, {});
    EXPECT_EQ(log->startIndex().index, 0);
    EXPECT_EQ(log->startIndex().time, Instant::distantPast());
    EXPECT_FALSE(log->lastIndex());
    EXPECT_FALSE(log->firstIndexAfter(at(t0)));
    EXPECT_FALSE(log->view(at(t0), false));
    EXPECT_FALSE(log->view(at(t0), true));
}

TEST(BoatLogView, UpperBoundAtRecordTimes) {
    auto log = makeLog({"TWS"}, {t0, t0 + 1, t0 + 2, t0 + 3}, {10, 11, 12, 13});
    // At record k's own time: the direct view stands on k + 1, the interpolated one is all k.
    auto direct = log->view(at(t0 + 1), false);
    ASSERT_TRUE(direct && direct->direct());
    EXPECT_EQ(direct->index().index, 2);
    EXPECT_EQ(direct->time(), at(t0 + 2));
    EXPECT_EQ(direct->value(Case::TWS)->value(), 12.0);

    auto blended = log->view(at(t0 + 1), true);
    ASSERT_TRUE(blended && blended->interpolated());
    EXPECT_EQ(blended->interpolated()->leftIndex().index, 1);
    EXPECT_EQ(blended->interpolated()->rightIndex().index, 2);
    EXPECT_EQ(blended->interpolated()->leftWeight(), 1.0);
    EXPECT_EQ(blended->index().index, 1);
    EXPECT_EQ(blended->value(Case::TWS)->value(), 11.0);

    // The first record's time still has a record after it; the last one's has none.
    EXPECT_EQ(log->view(at(t0), false)->index().index, 1);
    EXPECT_FALSE(log->view(at(t0 + 3), false));
    EXPECT_FALSE(log->view(at(t0 + 3), true));
    EXPECT_FALSE(log->view(at(t0 - 0.001), true));
    EXPECT_FALSE(log->view(at(t0 + 3.001), false));

    EXPECT_EQ(log->indexAfter({2, {}}).time, at(t0 + 3));
    EXPECT_EQ(log->indexAfter({3, {}}).time, Instant::distantFuture());
    EXPECT_EQ(log->indexBefore({3, {}}).index, 2);
    EXPECT_EQ(*log->lastIndex(), (BoatLogIndex{3, {}}));
    EXPECT_EQ(log->lastIndex()->time, at(t0 + 3));
}

TEST(BoatLogView, TenSecondGap) {
    auto log = makeLog({"TWS"}, {t0, t0 + 10.0, t0 + 20.001}, {10, 20, 30});
    auto inside = log->view(at(t0 + 2.5), true);
    ASSERT_TRUE(inside);
    EXPECT_DOUBLE_EQ(inside->interpolated()->leftWeight(), 0.75);
    EXPECT_DOUBLE_EQ(inside->value(Case::TWS)->value(), 12.5);
    EXPECT_FALSE(log->view(at(t0 + 15), true));
    // Without interpolation the gap does not matter.
    EXPECT_EQ(log->view(at(t0 + 15), false)->index().index, 2);
}

TEST(BoatLogView, BlendsCircularAndLinearMetrics) {
    auto log = makeLog({"Heading", "TWS", "Heel", "Custom"}, {t0, t0 + 4},
                       {350, 10, 350, NAN, /* right */ 10, 20, 10, 5});
    auto half = log->view(at(t0 + 2), true);
    EXPECT_NEAR(half->value(Case::Heading)->value(), 0.0, 1e-9);
    EXPECT_EQ(&half->value(Case::Heading)->unit(), &UnitAngle::degrees());
    EXPECT_NEAR(half->value(Case::Heel)->value(), 180.0, 1e-9);
    auto quarter = log->view(at(t0 + 3), true);
    EXPECT_NEAR(quarter->value(Case::Heading)->value(), 5.0, 1e-9);
    EXPECT_DOUBLE_EQ(quarter->value(Case::TWS)->value(), 17.5);
    // Absent on either side, absent in the blend; a metric without a column is absent too.
    EXPECT_FALSE(quarter->value(BoatMetric("Custom")));
    EXPECT_EQ(log->directView({1, at(t0 + 4)}).value(BoatMetric("Custom"))->value(), 5.0);
    EXPECT_FALSE(quarter->value(Case::AWA));

    MixedUnitLog mixed;
    auto view = mixed.view(at(t0 + 3), true);
    ASSERT_TRUE(view);
    EXPECT_EQ(&view->value(Case::TWS)->unit(), &UnitSpeed::knots());
    EXPECT_NEAR(view->value(Case::TWS)->value(), 17.5, 1e-9);
}

TEST(BoatLogView, InterpolatedTimeIsTheInstantAskedFor) {
    std::vector<double> times;
    std::vector<double> values;
    for (int i = 0; i < 1000; ++i) {
        times.push_back(t0 + i * 0.1 + (i % 7) * 0.01);
        values.push_back(i);
    }
    auto log = makeLog({"BoatSpeed"}, times, values);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> within(times.front(), times.back());
    for (int i = 0; i < 500; ++i) {
        double t = within(random);
        auto view = log->view(at(t), true);
        ASSERT_TRUE(view);
        EXPECT_NEAR(view->time().unixSeconds(), t, 1e-6);
        EXPECT_LE(view->interpolated()->leftIndex().time, at(t));
        EXPECT_GT(view->interpolated()->rightIndex().time, at(t));
    }
}

TEST(BoatLogView, FirstIndexAfterIsTheUpperBoundOnIrregularLogs) {
    // Bursts, repeated stamps, a night without records and a regular stretch: every answer must
    // be the first record strictly later than the instant.
    std::mt19937 random(11);
    std::vector<double> times;
    double t = t0;
    for (int i = 0; i < 5000; ++i) {
        int kind = i % 1000 < 300 ? 0 : (i % 1000 < 310 ? 1 : 2);
        if (i == 2500)
            t += 14 * 3600;
        if (kind == 0)
            t += 0.1;
        else if (kind == 1)
            t += (random() % 3 == 0) ? 0.0 : 0.001;
        else
            t += std::uniform_real_distribution<double>(0.0, 5.0)(random);
        times.push_back(t);
    }
    auto log = makeLog({"TWS"}, times, std::vector<double>(times.size(), 1.0));
    std::uniform_real_distribution<double> within(times.front() - 1, times.back() + 1);
    std::vector<double> probes(times.begin(), times.end());
    for (int i = 0; i < 20000; ++i)
        probes.push_back(within(random));
    for (double probe : probes) {
        auto found = log->firstIndexAfter(at(probe));
        auto expected = std::upper_bound(times.begin(), times.end(), probe);
        if (probe < times.front() || probe > times.back() || expected == times.end()) {
            EXPECT_FALSE(found) << std::fixed << probe;
        } else {
            ASSERT_TRUE(found) << std::fixed << probe;
            EXPECT_EQ(found->index, expected - times.begin()) << std::fixed << probe;
        }
    }
    // Every record shares one time: nothing lies after it.
    auto flat = makeLog({"TWS"}, {t0, t0, t0}, {1, 2, 3});
    EXPECT_FALSE(flat->firstIndexAfter(at(t0)));
}

TEST(BoatLogViewDeathTest, IndicesBeyondTheRecordsStop) {
    auto log = makeLog({"TWS"}, {t0, t0 + 1}, {1, 2});
    EXPECT_DEATH(log->indexAfter({2, {}}), "Bounds exceeded");
    EXPECT_DEATH(log->indexBefore({0, {}}), "Bounds exceeded");
    EXPECT_DEATH(log->indexBefore({3, {}}), "Bounds exceeded");
    // A values array shorter than records × columns stops at the first read past its end.
    auto shortLog = makeLog({"TWS", "AWS"}, {t0, t0 + 1}, {1, 2, 3});
    EXPECT_EQ(shortLog->value({1, {}}, Case::TWS)->value(), 3.0);
    EXPECT_DEATH(shortLog->value({1, {}}, Case::AWS), "Bounds exceeded");
}
