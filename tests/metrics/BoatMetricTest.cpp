#include "metrics/BoatMetric.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <unordered_set>

using Case = BoatMetric::Case;

TEST(BoatMetric, KeysAreRecognisedExactly) {
    EXPECT_EQ(BoatMetric("TWS"), BoatMetric(Case::TWS));
    EXPECT_EQ(BoatMetric("Portlat"), BoatMetric(Case::Portlat));
    EXPECT_EQ(BoatMetric("BackStay"), BoatMetric(Case::BackStay));
    EXPECT_EQ(BoatMetric("TimeUTC"), BoatMetric(Case::TimeUTC));

    BoatMetric lower("tws");
    EXPECT_TRUE(lower.isCustom());
    EXPECT_EQ(lower.rawKey(), "tws");
    EXPECT_EQ(BoatMetric("").rawKey(), "");
    EXPECT_TRUE(BoatMetric("").isCustom());
    EXPECT_TRUE(BoatMetric("PortLat").isCustom());

    // Three names are never recognised: their columns stay custom metrics.
    for (const char* name : {"Heave", "TargetForestay", "Deflector"}) {
        BoatMetric metric(name);
        EXPECT_TRUE(metric.isCustom()) << name;
        EXPECT_EQ(metric.rawKey(), name);
    }
    EXPECT_NE(BoatMetric("Heave"), BoatMetric(Case::Heave));
    EXPECT_EQ(BoatMetric(Case::Heave).rawKey(), "Heave");
    EXPECT_EQ(BoatMetric::custom("x"), BoatMetric("x"));
    EXPECT_NE(BoatMetric::custom("x"), BoatMetric::custom("y"));
}

TEST(BoatMetric, EveryOtherFixedKeyRoundTrips) {
    std::unordered_set<BoatMetric> seen;
    for (std::size_t i = 0; i < BoatMetric::fixedCount; ++i) {
        const BoatMetric& metric = BoatMetric::allFixed()[i];
        EXPECT_EQ(metric.fixedIndex(), i);
        seen.insert(metric);
        bool neverFromLog =
            metric == Case::Heave || metric == Case::TargetForestay || metric == Case::Deflector;
        EXPECT_EQ(BoatMetric(metric.rawKey()) == metric, !neverFromLog) << metric.rawKey();
    }
    EXPECT_EQ(seen.size(), 77u);
    EXPECT_EQ(BoatMetric::allFixed()[0].rawKey(), "Lat");
    EXPECT_EQ(BoatMetric::allFixed()[76].rawKey(), "TimeUTC");
}

TEST(BoatMetric, StorageUnitsIncludingTheIrregularRows) {
    auto unitOf = [](Case c) { return &BoatMetric(c).unit(); };
    EXPECT_EQ(unitOf(Case::Lat), &UnitAngle::degrees());
    EXPECT_EQ(unitOf(Case::LatBow), &UnitScalar::scalar());
    EXPECT_EQ(unitOf(Case::BoatSpeed), &UnitSpeed::knots());
    EXPECT_EQ(unitOf(Case::SOW), &UnitScalar::scalar());
    EXPECT_EQ(unitOf(Case::MWS), &UnitScalar::scalar());
    EXPECT_EQ(unitOf(Case::Trim), &UnitScalar::scalar());
    EXPECT_EQ(unitOf(Case::Heel), &UnitAngle::degrees());
    EXPECT_EQ(unitOf(Case::Forestay), &UnitMass::metricTons());
    EXPECT_EQ(unitOf(Case::TargetForestay), &UnitScalar::scalar());
    EXPECT_EQ(unitOf(Case::BoatSpeedPercOfTarget), &UnitScalar::percent());
    EXPECT_EQ(unitOf(Case::DeflectorPort), &UnitScalar::percent());
    EXPECT_EQ(unitOf(Case::TimeToBurn), &UnitDuration::seconds());
    EXPECT_EQ(unitOf(Case::DistanceToLineReaching), &UnitLength::meters());
    EXPECT_EQ(unitOf(Case::CurrentSpeed), &UnitSpeed::knots());
    EXPECT_EQ(unitOf(Case::TimeUTC), &UnitScalar::scalar());
    EXPECT_EQ(&BoatMetric("Whatever").unit(), &UnitScalar::scalar());

    int circular = 0;
    for (std::size_t i = 0; i < BoatMetric::fixedCount; ++i)
        circular += BoatMetric::allFixed()[i].isCircular();
    EXPECT_EQ(circular, 6);
    EXPECT_TRUE(BoatMetric(Case::TargetTWA).isCircular());
    EXPECT_FALSE(BoatMetric(Case::CurrentAngleTrue).isCircular());
    EXPECT_FALSE(BoatMetric(Case::MWA).isCircular());
}

TEST(BoatMetric, BlendRules) {
    auto deg = [](double v) { return Measurement(v, UnitAngle::degrees()); };
    BoatMetric heading(Case::Heading);
    EXPECT_NEAR(heading.blend(deg(350), deg(10), 0.5).value(), 0.0, 1e-9);
    EXPECT_NEAR(heading.blend(deg(350), deg(10), 0.25).value(), 5.0, 1e-9);
    EXPECT_NEAR(heading.blend(deg(10), deg(350), 0.75).value(), 5.0, 1e-9);
    // Linear angles take the long way, on purpose.
    EXPECT_NEAR(BoatMetric(Case::Heel).blend(deg(350), deg(10), 0.5).value(), 180.0, 1e-9);

    BoatMetric tws(Case::TWS);
    auto kn = [](double v) { return Measurement(v, UnitSpeed::knots()); };
    EXPECT_DOUBLE_EQ(tws.blend(kn(10), kn(20), 0.25).value(), 17.5);
    // The right value is converted into the left's unit first.
    Measurement mixed =
        tws.blend(kn(10), Measurement(20 * 1852.0 / 3600.0, UnitSpeed::metersPerSecond()), 0.25);
    EXPECT_EQ(&mixed.unit(), &UnitSpeed::knots());
    EXPECT_NEAR(mixed.value(), 17.5, 1e-9);
    // The circular blend is the short-way formula to the bit, whatever the inputs' range.
    std::mt19937 random(5);
    std::uniform_real_distribution<double> anyAngle(-720.0, 1080.0);
    std::uniform_real_distribution<double> weight(0.0, 1.0);
    for (int i = 0; i < 100000; ++i) {
        double l = anyAngle(random), r = anyAngle(random), w = weight(random);
        double d = std::fmod(l - r + 180.0 + 360.0, 360.0) - 180.0;
        double expected = std::fmod(d * w + r + 360.0, 360.0);
        ASSERT_EQ(heading.blend(deg(l), deg(r), w).value(), expected) << l << " " << r << " " << w;
    }
    // A circular blend in radians comes back in radians.
    Measurement radians = heading.blend(Measurement(0.0, UnitAngle::radians()), deg(90), 0.5);
    EXPECT_EQ(&radians.unit(), &UnitAngle::radians());
    EXPECT_NEAR(radians.value(), std::numbers::pi / 4, 1e-9);
}
