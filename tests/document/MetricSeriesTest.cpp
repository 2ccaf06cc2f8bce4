#include "document/MetricSeries.h"

#include "boatlog/DoubleArrayBoatLog.h"
#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "document/GraphAxis.h"
#include "document/MetricSeriesSet.h"
#include "support/LogFixture.h"

#include <QTemporaryDir>
#include <QUuid>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>

using Case = BoatMetric::Case;

namespace {

const double t0 = 1686052800.0; // 2023-06-06 12:00:00 UTC

// `values` row-major, one row of `columns` per time.
std::shared_ptr<DoubleArrayBoatLog> makeTable(std::vector<std::string> columns,
                                              const std::vector<double>& times,
                                              const std::vector<double>& values) {
    DoubleArray unix;
    for (double t : times)
        unix.push_back(t0 + t);
    return std::make_shared<DoubleArrayBoatLog>(nullptr, std::move(columns), std::move(unix),
                                                DoubleArray(values.begin(), values.end()), TimeZone::utc(),
                                                0.0);
}

std::shared_ptr<DoubleArrayBoatLog> makeLog(const std::string& column, const std::vector<double>& times,
                                            const std::vector<double>& values) {
    return makeTable({column}, times, values);
}

Instant at(double seconds) {
    return Instant::fromUnix(t0 + seconds);
}

double seconds(double time) {
    return time - Instant::fromUnix(t0).secondsSinceReference();
}

MetricSeries read(const std::vector<std::shared_ptr<DoubleArrayBoatLog>>& logs, Case metric, double from,
                  double to, double columnSeconds) {
    std::vector<const BoatLog*> pointers;
    for (const auto& log : logs)
        pointers.push_back(log.get());
    return MetricSeries::read(pointers, MetricPresentation(metric), at(from), at(to), columnSeconds);
}

testing::AssertionResult sameSeries(const MetricSeries& a, const MetricSeries& b) {
    if (a.times() != b.times())
        return testing::AssertionFailure()
               << "times differ (" << a.pointCount() << ", " << b.pointCount() << " points)";
    if (a.values() != b.values())
        return testing::AssertionFailure() << "values differ";
    if (a.runCount() != b.runCount())
        return testing::AssertionFailure() << a.runCount() << " runs against " << b.runCount();
    for (std::size_t r = 0; r < a.runCount(); ++r)
        if (a.run(r) != b.run(r))
            return testing::AssertionFailure() << "run " << r << " differs";
    return testing::AssertionSuccess();
}

} // namespace

TEST(MetricSeries, KeepsEachColumnsExtremesSoSpikesSurvive) {
    // Ten minutes at 10 Hz of a speed that wobbles a little, with one record's spike and one dip.
    std::vector<double> times, values;
    for (int i = 0; i < 6000; ++i) {
        times.push_back(i / 10.0);
        values.push_back(6.0 + 0.1 * std::sin(i / 7.0));
    }
    values[3003] = 20.0; // at 300.3 s
    values[4507] = 1.0;  // at 450.7 s
    auto log = makeLog("BoatSpeed", times, values);

    // Two seconds a column: 20 records each, 300 columns.
    MetricSeries series = read({log}, Case::BoatSpeed, 0.0, 599.9, 2.0);
    ASSERT_EQ(series.runCount(), 1u);
    EXPECT_LE(series.pointCount(), 4u * 300u);
    EXPECT_GE(series.pointCount(), 2u * 300u);
    EXPECT_TRUE(std::is_sorted(series.times().begin(), series.times().end()));

    auto range = series.valueRange();
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->first, 1.0);
    EXPECT_DOUBLE_EQ(range->second, 20.0);
    auto spike = std::max_element(series.values().begin(), series.values().end());
    EXPECT_NEAR(seconds(series.times()[std::size_t(spike - series.values().begin())]), 300.3, 1e-6);

    // Each column keeps its first and last record, so the line between columns is the log's.
    std::vector<double> column;
    for (std::size_t i = 0; i < series.pointCount(); ++i) {
        double s = seconds(series.times()[i]);
        if (s >= 300.0 - 1e-6 && s < 302.0 - 1e-6)
            column.push_back(s);
    }
    ASSERT_GE(column.size(), 3u);
    ASSERT_LE(column.size(), 4u);
    EXPECT_NEAR(column.front(), 300.0, 1e-6);
    EXPECT_NEAR(column.back(), 301.9, 1e-6);

    // Zoomed in to less than a record a column, every record is a point.
    MetricSeries close = read({log}, Case::BoatSpeed, 100.0, 110.0, 0.05);
    EXPECT_EQ(close.pointCount(), 102u); // 100.0 … 110.1
}

TEST(MetricSeries, ReachesTheWindowsEdgesAndBreaksWhereTheViewsShowNothing) {
    // 1 Hz with a 20 s gap after 40 s, no value at 80 s, and a 10 s gap at the end that the
    // interpolated view still blends across.
    std::vector<double> times, values;
    for (int s = 0; s <= 100; ++s) {
        if (s > 40 && s < 60)
            continue;
        times.push_back(s);
        values.push_back(s == 80 ? NAN : 5.0 + s / 100.0);
    }
    times.push_back(110);
    values.push_back(7.0);
    auto log = makeLog("BoatSpeed", times, values);

    MetricSeries series = read({log}, Case::BoatSpeed, 10.5, 90.5, 0.5);
    ASSERT_EQ(series.runCount(), 3u);
    auto runSpan = [&](std::size_t r) {
        auto [first, last] = series.run(r);
        return std::pair{seconds(series.times()[first]), seconds(series.times()[last - 1])};
    };
    // The records on either side of the window, so the line runs to both edges.
    EXPECT_NEAR(runSpan(0).first, 10.0, 1e-6);
    EXPECT_NEAR(runSpan(0).second, 40.0, 1e-6);
    EXPECT_NEAR(runSpan(1).first, 60.0, 1e-6);
    EXPECT_NEAR(runSpan(1).second, 79.0, 1e-6);
    EXPECT_NEAR(runSpan(2).first, 81.0, 1e-6);
    EXPECT_NEAR(runSpan(2).second, 91.0, 1e-6);
    EXPECT_NEAR(series.values().front(), 5.10, 1e-9);

    EXPECT_EQ(read({log}, Case::BoatSpeed, 95.0, 120.0, 0.5).runCount(), 1u);
    // Outside the log, and for a metric the log lacks: nothing.
    EXPECT_TRUE(read({log}, Case::BoatSpeed, -100.0, -50.0, 0.5).isEmpty());
    EXPECT_TRUE(read({log}, Case::BoatSpeed, 200.0, 300.0, 0.5).isEmpty());
    EXPECT_TRUE(read({log}, Case::TWS, 0.0, 100.0, 0.5).isEmpty());

    // Where two logs overlap, the first one's records stand, as in the lookup.
    auto first = makeLog("BoatSpeed", {0, 1, 2, 3, 4, 5}, {1, 1, 1, 1, 1, 1});
    auto second = makeLog("BoatSpeed", {3, 4, 5, 6, 7, 8}, {2, 2, 2, 2, 2, 2});
    MetricSeries both = read({first, second}, Case::BoatSpeed, 0.0, 8.0, 0.1);
    ASSERT_EQ(both.pointCount(), 9u);
    EXPECT_EQ(both.runCount(), 1u);
    for (std::size_t i = 0; i < both.pointCount(); ++i)
        EXPECT_EQ(both.values()[i], seconds(both.times()[i]) <= 5.0 ? 1.0 : 2.0) << i;
}

TEST(MetricSeries, CircularValuesLeaveAtOneEdgeAndComeBackAtTheOther) {
    // A gybe: the wind angle goes through dead downwind; stored 0…360, shown −180…180.
    auto twa = makeLog("TWA", {0, 1, 2, 3}, {170, 178, 184, 190});
    MetricSeries angle = read({twa}, Case::TWA, 0.0, 3.0, 0.1);
    ASSERT_EQ(angle.runCount(), 2u);
    auto [firstBegin, firstEnd] = angle.run(0);
    auto [secondBegin, secondEnd] = angle.run(1);
    EXPECT_DOUBLE_EQ(angle.values()[firstEnd - 1], 180.0);
    EXPECT_DOUBLE_EQ(angle.values()[secondBegin], -180.0);
    // 178 → 184 crosses 180 a third of the way.
    EXPECT_NEAR(seconds(angle.times()[firstEnd - 1]), 1.0 + 1.0 / 3.0, 1e-6);
    EXPECT_DOUBLE_EQ(angle.times()[firstEnd - 1], angle.times()[secondBegin]);
    EXPECT_DOUBLE_EQ(angle.values()[secondEnd - 1], -170.0);

    // A heading through north, shown 0…360.
    auto heading = makeLog("Heading", {0, 1, 2, 3}, {350, 358, 4, 10});
    MetricSeries direction = read({heading}, Case::Heading, 0.0, 3.0, 0.1);
    ASSERT_EQ(direction.runCount(), 2u);
    EXPECT_DOUBLE_EQ(direction.values()[direction.run(0).second - 1], 360.0);
    EXPECT_DOUBLE_EQ(direction.values()[direction.run(1).first], 0.0);

    // Within a run no step is longer than half a turn: no stroke crosses the lane.
    for (const MetricSeries* series : {&angle, &direction})
        for (std::size_t r = 0; r < series->runCount(); ++r)
            for (std::size_t i = series->run(r).first + 1; i < series->run(r).second; ++i)
                EXPECT_LE(std::abs(series->values()[i] - series->values()[i - 1]), 180.0);

    // Reduced to wide columns, the crossing still splits the line.
    EXPECT_EQ(read({twa}, Case::TWA, 0.0, 3.0, 10.0).runCount(), 2u);
}

TEST(MetricSeries, ASlidSeriesIsWhatAFreshReadOfItsSpanGives) {
    // Two logs that overlap from 850 s to 900 s, the first one winning there. The first at about
    // 10 Hz with uneven spacing, missing values, a 15 s gap that breaks the line and an 8 s one
    // that does not; the second at 1 Hz. The wind angle swings through dead downwind again and
    // again, so lines leave at one edge and come back at the other on every scale.
    std::vector<double> firstTimes, firstValues, secondTimes, secondValues;
    std::uint32_t noise = 12345;
    auto jitter = [&noise] {
        noise = noise * 1664525u + 1013904223u;
        return double(noise >> 8) / double(1u << 24);
    };
    for (double t = 0.0; t <= 900.0; t += 0.05 + 0.1 * jitter()) {
        if ((t > 200.0 && t < 215.0) || (t > 400.0 && t < 408.0))
            continue;
        const bool missing = jitter() < 0.01;
        firstTimes.push_back(t);
        firstValues.insert(firstValues.end(), {missing ? NAN : 180.0 + 40.0 * std::sin(t / 17.0),
                                               6.0 + std::sin(t / 30.0) + 0.3 * jitter()});
    }
    for (double t = 850.0; t <= 1400.0; t += 1.0) {
        secondTimes.push_back(t);
        secondValues.insert(secondValues.end(), {180.0 + 60.0 * std::sin(t / 9.0), 5.0});
    }
    auto first = makeTable({"TWA", "BoatSpeed"}, firstTimes, firstValues);
    auto second = makeTable({"TWA", "BoatSpeed"}, secondTimes, secondValues);
    const std::vector<const BoatLog*> logs{first.get(), second.get()};

    // Spans of 480 s moving by a few seconds or by most of their width, forward and back, across
    // the gaps, into the second log and off both ends; at widths of less than a record a column
    // up to several records.
    const std::vector<double> moves{3.0,   30.0,  0.7,  45.0,  100.0, 30.0, 250.0, -40.0, 30.0,    30.0, 30.0,
                                    300.0, -90.0, 30.0, 200.0, 30.0,  30.0, 300.0, 30.0,  -1100.0, 410.0};
    for (Case metric : {Case::TWA, Case::BoatSpeed}) {
        const MetricPresentation presentation(metric);
        for (double columnSeconds : {0.04, 0.13, 0.7}) {
            double from = -300.0;
            MetricSeries series =
                MetricSeries::read(logs, presentation, at(from), at(from + 480.0), columnSeconds);
            for (double move : moves) {
                series.slide(at(from), at(from + 480.0), logs, presentation, at(from + move),
                             at(from + move + 480.0), columnSeconds);
                from += move;
                MetricSeries fresh =
                    MetricSeries::read(logs, presentation, at(from), at(from + 480.0), columnSeconds);
                ASSERT_TRUE(sameSeries(series, fresh))
                    << int(metric) << " at " << columnSeconds << " s a column, span from " << from << " s";
            }
        }
    }
}

TEST(MetricSeriesSet, SlidesWithTheWindowAndReadsAnewWhenTheChoiceChanges) {
    QTemporaryDir dir;
    Document document;
    auto boat = Boat::create("Stella Maris", "STM", {0.0, 0.4, 0.8}, Boat::DisplayMode::Main);
    LogFixture log;
    log.columns = {"BoatSpeed", "TWA"};
    for (int i = 0; i < 3600; ++i) {
        log.times.push_back(t0 + i);
        log.values.push_back(6.0);
        log.values.push_back(40.0);
    }
    ASSERT_TRUE(log.write(dir.filePath("stella.hdf5")));
    document.setBoats({boat});
    document.addLogAsset(boat, LogFileAsset::open(dir.filePath("stella.hdf5"), boat, QUuid::createUuid(), 0.0,
                                                  TimeZone::utc()));
    std::vector<MetricPresentation> metrics{MetricPresentation(Case::BoatSpeed)};

    using Change = MetricSeriesSet::Change;
    MetricSeriesSet set;
    const double column = 240.0 / 1000.0;
    ASSERT_EQ(set.update(document, {boat}, metrics, at(1000), at(1240), column, 120.0), Change::read);
    ASSERT_EQ(set.lanes().size(), 1u);
    ASSERT_EQ(set.lanes()[0].series.size(), 1u);
    EXPECT_FALSE(set.lanes()[0].series[0].isEmpty());
    EXPECT_EQ(set.lanes()[0].valueRange, std::pair(6.0, 6.0));
    const auto generation = set.generation();

    // Playing: the window moves within the span read until it has gone a quarter of the margin;
    // then the span follows it and holds what a read of the new span holds.
    for (double shift = 0.04; shift < 30.0; shift += 2.0)
        EXPECT_EQ(set.update(document, {boat}, metrics, at(1000 + shift), at(1240 + shift), column, 120.0),
                  Change::none);
    EXPECT_EQ(set.generation(), generation);
    EXPECT_EQ(set.update(document, {boat}, metrics, at(1031), at(1271), column, 120.0), Change::slid);
    EXPECT_EQ(set.spanStart(), at(911));
    EXPECT_EQ(set.spanEnd(), at(1391));
    const auto logs = MetricSeriesSet::logsOf(document, boat);
    EXPECT_TRUE(sameSeries(set.lanes()[0].series[0],
                           MetricSeries::read(logs, metrics[0], at(911), at(1391), column)));
    EXPECT_EQ(set.generation(), generation + 1);

    // Zoomed, another metric, another boat list, changed logs: read anew.
    EXPECT_EQ(set.update(document, {boat}, metrics, at(1130), at(1370), column / 2, 120.0), Change::read);
    metrics.emplace_back(Case::TWA);
    EXPECT_EQ(set.update(document, {boat}, metrics, at(1130), at(1370), column / 2, 120.0), Change::read);
    EXPECT_EQ(set.lanes()[1].valueRange, std::pair(40.0, 40.0));
    EXPECT_EQ(set.update(document, {}, metrics, at(1130), at(1370), column / 2, 120.0), Change::read);
    EXPECT_EQ(set.update(document, {}, metrics, at(1130), at(1370), column / 2, 120.0), Change::none);
    set.invalidate();
    EXPECT_EQ(set.update(document, {}, metrics, at(1130), at(1370), column / 2, 120.0), Change::read);
    EXPECT_GT(set.generation(), generation + 1);
}

TEST(GraphAxis, PicksRoundStepsThatHoldTheValues) {
    GraphAxis speed = GraphAxis::around(6.1, 7.9, 4);
    EXPECT_DOUBLE_EQ(speed.low, 6.0);
    EXPECT_DOUBLE_EQ(speed.high, 8.0);
    EXPECT_DOUBLE_EQ(speed.step, 0.5);
    EXPECT_EQ(speed.ticks().size(), 5u);

    // A wind angle through dead downwind spans the circle in quarter turns.
    GraphAxis angle = GraphAxis::around(-180.0, 180.0, 4, GraphAxis::Kind::angle);
    EXPECT_DOUBLE_EQ(angle.low, -180.0);
    EXPECT_DOUBLE_EQ(angle.high, 180.0);
    EXPECT_DOUBLE_EQ(angle.step, 90.0);

    // A steady value gets a range around it rather than none.
    GraphAxis steady = GraphAxis::around(6.5, 6.5, 4);
    EXPECT_LT(steady.low, 6.5);
    EXPECT_GT(steady.high, 6.5);
    // Seconds to the gun in whole minutes.
    GraphAxis countdown = GraphAxis::around(-290.0, 10.0, 4, GraphAxis::Kind::duration);
    EXPECT_DOUBLE_EQ(countdown.step, 120.0);
    EXPECT_DOUBLE_EQ(countdown.low, -360.0);
    for (GraphAxis axis : {speed, angle, steady, countdown})
        EXPECT_LE((axis.high - axis.low) / axis.step, 4.0 + 1e-9);

    // Clock labels at least 100 px apart: 15 s steps at 8 px a second, 5 min at 0.5 px.
    EXPECT_DOUBLE_EQ(GraphAxis::timeStep(8.0, 100.0), 15.0);
    EXPECT_DOUBLE_EQ(GraphAxis::timeStep(0.5, 100.0), 300.0);
}
