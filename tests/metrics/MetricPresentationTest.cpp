#include "metrics/MetricPresentation.h"

#include "metrics/MetricKeyList.h"

#include <gtest/gtest.h>

namespace {
QString text(const char* key, double value, const Unit& unit) {
    return MetricPresentation(BoatMetric(key)).text(Measurement(value, unit));
}
} // namespace

TEST(MetricPresentation, FormatsEachKindOfUnitInItsDisplayUnit) {
    MetricPresentation bsp(BoatMetric::Case::BoatSpeed);
    EXPECT_EQ(bsp.name(), "BSP");
    EXPECT_EQ(bsp.unitSymbol(), "kn");
    EXPECT_EQ(bsp.title(), "BSP (kn)");
    EXPECT_EQ(bsp.text(Measurement(7.456, UnitSpeed::knots())), "7.46");
    // Converted from another speed unit.
    EXPECT_EQ(bsp.text(Measurement(5.0, UnitSpeed::metersPerSecond())), "9.72");
    EXPECT_EQ(text("TWS", 14.26, UnitSpeed::knots()), "14.3");

    // Angles to the bow read negative on port; compass directions stay in 0…359.
    EXPECT_EQ(text("TWA", 190.0, UnitAngle::degrees()), "-170");
    EXPECT_EQ(text("TWA", 180.0, UnitAngle::degrees()), "180");
    EXPECT_EQ(text("Heading", 359.7, UnitAngle::degrees()), "0");
    EXPECT_EQ(text("COG", -10.0, UnitAngle::degrees()), "350");
    EXPECT_EQ(MetricPresentation(BoatMetric("TWD")).unitSymbol(), "°");

    // Durations and percentages carry their own marks; no unit beside them.
    MetricPresentation gun(BoatMetric::Case::TimeToGun);
    EXPECT_EQ(gun.name(), "Time to gun");
    EXPECT_TRUE(gun.unitSymbol().isEmpty());
    EXPECT_EQ(gun.title(), "Time to gun");
    EXPECT_EQ(gun.text(Measurement(-75.0, UnitDuration::seconds())), "-01:15");
    EXPECT_EQ(gun.text(Measurement(3725.0, UnitDuration::seconds())), "62:05");
    EXPECT_EQ(text("BoatSpeedPercOfTarget", 95.4, UnitScalar::percent()), "95%");

    EXPECT_EQ(text("DistanceToLine", 12.34, UnitLength::meters()), "12.3");
    EXPECT_EQ(MetricPresentation(BoatMetric("DistanceToLine")).unitSymbol(), "m");
    EXPECT_EQ(text("Forestay", 1.234, UnitMass::metricTons()), "1.23");
    EXPECT_EQ(text("Lat", 54.3312345, UnitAngle::degrees()), "54.33123");
    // A column of the event's own: a plain number under its own name.
    MetricPresentation custom(BoatMetric("LoadCell"));
    EXPECT_EQ(custom.name(), "LoadCell");
    EXPECT_EQ(custom.title(), "LoadCell");
    EXPECT_EQ(custom.text(Measurement(0.5, UnitScalar::scalar())), "0.50");

    // Absent, or of a unit the metric cannot take.
    EXPECT_EQ(bsp.text(std::nullopt), MetricPresentation::noValueText);
    EXPECT_EQ(bsp.text(Measurement(3.0, UnitAngle::degrees())), MetricPresentation::noValueText);
    EXPECT_FALSE(bsp.displayValue(std::nullopt).has_value());
    EXPECT_DOUBLE_EQ(*bsp.displayValue(Measurement(1.0, UnitSpeed::metersPerSecond())), 3600.0 / 1852.0);
}

TEST(MetricKeyList, EditsKeepOrderAndOneOfEachKey) {
    const QStringList available{"Lat", "Lon", "SOG", "COG", "TWA", "TWS", "Heel"};

    // Rows 2 and 5 append row 5's key first; after each append the list is reloaded.
    QStringList list;
    int reloads = 0;
    EXPECT_EQ(MetricKeyList::appendRows(list, available, {2, 5}, [&] { ++reloads; }), 2);
    EXPECT_EQ(list, (QStringList{"TWS", "SOG"}));
    EXPECT_EQ(reloads, 2);
    // A key already listed is not added twice; rows outside the table are ignored.
    EXPECT_EQ(MetricKeyList::appendRows(list, available, {6, 2, 9, -1}, [&] { ++reloads; }), 1);
    EXPECT_EQ(list, (QStringList{"TWS", "SOG", "Heel"}));
    EXPECT_EQ(reloads, 3);

    // A block moves as one and stops at the end it reaches.
    list = {"A", "B", "C", "D", "E"};
    EXPECT_EQ(MetricKeyList::moveRows(list, {3, 1}, -1), (QList<int>{0, 2}));
    EXPECT_EQ(list, (QStringList{"B", "A", "D", "C", "E"}));
    EXPECT_EQ(MetricKeyList::moveRows(list, {0, 2}, -1), (QList<int>{0, 1}));
    EXPECT_EQ(list, (QStringList{"B", "D", "A", "C", "E"}));
    EXPECT_EQ(MetricKeyList::moveRows(list, {3, 4}, 1), (QList<int>{3, 4}));
    EXPECT_EQ(list, (QStringList{"B", "D", "A", "C", "E"}));
    EXPECT_EQ(MetricKeyList::moveRows(list, {0}, 1), (QList<int>{1}));
    EXPECT_EQ(list, (QStringList{"D", "B", "A", "C", "E"}));

    EXPECT_EQ(MetricKeyList::removeRows(list, {4, 0, 7}), (QStringList{"D", "E"}));
    EXPECT_EQ(list, (QStringList{"B", "A", "C"}));

    // Inserting a key that is listed moves it; the insertion point follows the rows above it.
    EXPECT_EQ(MetricKeyList::insertKeys(list, {"B", "X"}, 2), (QList<int>{1, 2}));
    EXPECT_EQ(list, (QStringList{"A", "B", "X", "C"}));
    EXPECT_EQ(MetricKeyList::insertKeys(list, {"Y"}, -1), (QList<int>{4}));
    EXPECT_EQ(list, (QStringList{"A", "B", "X", "C", "Y"}));
    EXPECT_EQ(MetricKeyList::insertKeys(list, {"C", "C"}, 0), (QList<int>{0}));
    EXPECT_EQ(list, (QStringList{"C", "A", "B", "X", "Y"}));
}
