#include "DerivedFigures.h"
#include "FigureTable.h"
#include "Geodesy.h"
#include "LegDetector.h"
#include "ManoeuvreDetector.h"
#include "RaceDetector.h"
#include "SegmentRecords.h"
#include "StartLineFigures.h"
#include "WindEstimate.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

Values seconds(std::size_t count, double step = 1.0) {
    Values times;
    for (std::size_t i = 0; i < count; ++i)
        times.push_back(1685620800.0 + static_cast<double>(i) * step);
    return times;
}

Values constant(std::size_t count, double value) {
    return Values(count, value);
}

} // namespace

TEST(Geodesy, TrackDistancesOnTheNavigationSphere) {
    using namespace Geodesy;
    // Bearings in [0, 360) and longitudes in (-180, 180], whatever the map's formulas give.
    EXPECT_NEAR(initialBearing(Position{0, 0}, Position{0.001, -0.001}), 315.0, 1e-3);
    EXPECT_NEAR(destination(Position{0, 179.9999}, 90.0, 100.0).lon, -179.99920, 1e-5);
    // A point 100 m east of a north-going line (a meridian) is on its right.
    Position east = destination(Position{54.5, 10.2}, 90.0, 100.0);
    EXPECT_NEAR(crossTrack({54.4, 10.2}, {54.6, 10.2}, east), 100.0, 1e-6);
    EXPECT_NEAR(alongTrack({54.4, 10.2}, {54.6, 10.2}, east),
                distance(Position{54.4, 10.2}, Position{54.5, 10.2}), 1e-3);
    EXPECT_EQ(signedAngle(190.0), -170.0);
    EXPECT_EQ(bearing360(-90.0), 270.0);
}

// True wind from apparent wind and boat speed, the measured columns left alone.
TEST(DerivedFigures, WindFromApparentAndSpeedFromPositions) {
    const std::size_t n = 5;
    Values times = seconds(n);
    FigureTable table(times, {"AWA", "AWS", "BoatSpeed", "Heading", "Lat", "Lon", "COG"});
    // 10 kn of true wind at 90° to starboard of a boat at 10 kn: apparent 45° at 14.14 kn.
    table.load("AWA", constant(n, 45.0));
    table.load("AWS", constant(n, 10.0 * std::sqrt(2.0)));
    table.load("BoatSpeed", constant(n, 10.0));
    table.load("Heading", constant(n, 350.0));
    table.load("COG", constant(n, 123.0));
    Values lat(n), lon(n, 10.0);
    for (std::size_t i = 0; i < n; ++i)
        lat[i] = 54.0 + static_cast<double>(i) * 5.0 / Geodesy::earthRadius * 180 / M_PI; // 5 m/s north
    table.load("Lat", lat);
    table.load("Lon", lon);
    DerivedFigures::derive(table);
    EXPECT_NEAR((*table.find("TWA"))[2], 90.0, 1e-9);
    EXPECT_NEAR((*table.find("TWS"))[2], 10.0, 1e-9);
    EXPECT_NEAR((*table.find("TWD"))[2], 80.0, 1e-9);
    EXPECT_NEAR((*table.find("VMG"))[2], 0.0, 1e-9);
    EXPECT_NEAR((*table.find("SOG"))[0], 5.0 * Geodesy::knotsPerMetrePerSecond, 1e-6);
    EXPECT_EQ((*table.find("COG"))[2], 123.0); // measured: kept
    EXPECT_EQ(table.derivedNames(), (std::vector<std::string>{"SOG", "TWA", "TWS", "TWD", "VMG"}));

    // Port tack, and the angle from a measured direction when there is no apparent wind.
    FigureTable port(times, {"AWA", "AWS", "SOG"});
    port.load("AWA", constant(n, -45.0));
    port.load("AWS", constant(n, 10.0 * std::sqrt(2.0)));
    port.load("SOG", constant(n, 10.0));
    DerivedFigures::derive(port);
    EXPECT_NEAR((*port.find("TWA"))[0], -90.0, 1e-9);
    EXPECT_FALSE(port.has("TWD")); // no heading, no COG
    FigureTable direction(times, {"TWD", "Heading"});
    direction.load("TWD", constant(n, 10.0));
    direction.load("Heading", constant(n, 330.0));
    DerivedFigures::derive(direction);
    EXPECT_NEAR((*direction.find("TWA"))[0], 40.0, 1e-9);
}

// The bow, not the antenna, is measured against the line.
TEST(StartLineFigures, FromTheBow) {
    const std::size_t n = 3;
    Values times = seconds(n);
    FigureTable table(times, {"Lat", "Lon", "Heading", "SOG", "COG", "TimeToGun", "Portlat", "Portlon",
                              "Stbdlat", "Stbdlon"});
    // A line running east; the boat 100 m south of its middle, heading north at 2 m/s.
    const Geodesy::Position port{54.5, 10.0}, stbd{54.5, 10.01};
    const Geodesy::Position middle = Geodesy::destination(port, 90.0, Geodesy::distance(port, stbd) / 2);
    const Geodesy::Position gps = Geodesy::destination(middle, 180.0, 100.0);
    table.load("Lat", constant(n, gps.lat));
    table.load("Lon", constant(n, gps.lon));
    table.load("Heading", constant(n, 0.0));
    table.load("COG", constant(n, 0.0));
    table.load("SOG", constant(n, 2.0 * Geodesy::knotsPerMetrePerSecond));
    table.load("TimeToGun", {60.0, 59.0, NAN});
    table.load("Portlat", constant(n, port.lat));
    table.load("Portlon", constant(n, port.lon));
    table.load("Stbdlat", constant(n, stbd.lat));
    table.load("Stbdlon", constant(n, stbd.lon));
    StartLineFigures::derive(table, 12.0, 2.0); // the bow 10 m ahead of the antenna
    EXPECT_NEAR((*table.find("BelowLine"))[0], 90.0, 0.1);
    EXPECT_NEAR((*table.find("DistanceToLine"))[0], 90.0, 0.1);
    EXPECT_NEAR((*table.find("TimeToLine"))[0], 45.0, 0.05);
    EXPECT_NEAR((*table.find("TimeToBurn"))[0], 15.0, 0.05);
    EXPECT_TRUE(std::isnan((*table.find("BelowLine"))[2])); // no countdown
}

// Slop is no manoeuvre; the side must hold ten seconds.
TEST(ManoeuvreDetector, HoldRuleAndKinds) {
    std::vector<double> times, angles;
    auto sail = [&](double seconds, double angle) {
        for (int i = 0; i < seconds; ++i) {
            times.push_back(static_cast<double>(times.size()));
            angles.push_back(angle);
        }
    };
    sail(30, 42);
    sail(3, -5); // a wave knocks the bow over for three seconds
    sail(30, 40);
    sail(20, -42); // a tack at 63 s
    sail(5, 40);   // back for five seconds: slop
    sail(40, -45);
    sail(30, -150);
    sail(30, 150); // a gybe at 183 s
    sail(9, -150); // not held
    auto found = ManoeuvreDetector::detect(times, angles);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].time, 63);
    EXPECT_TRUE(found[0].tack);
    EXPECT_EQ(found[1].time, 158);
    EXPECT_FALSE(found[1].tack);
}

// Legs by band, a short excursion belonging to the leg around it, short legs not emitted.
TEST(LegDetector, BandsAndMinimumLength) {
    std::vector<double> times, angles;
    auto sail = [&](double seconds, double angle) {
        for (int i = 0; i < seconds; ++i) {
            times.push_back(static_cast<double>(times.size()));
            angles.push_back(angle);
        }
    };
    sail(200, 42);
    sail(20, 90); // a short reach: part of the beat
    sail(200, -40);
    sail(300, 150);
    sail(40, 95); // too short to be a leg of its own, at the end
    auto legs = LegDetector::detect(times, angles);
    ASSERT_EQ(legs.size(), 2u);
    EXPECT_EQ(legs[0].type, "Upwind");
    EXPECT_EQ(legs[0].start, 0);
    EXPECT_EQ(legs[1].type, "Downwind");
    EXPECT_NEAR(legs[0].start + legs[0].duration, legs[1].start, 16);
    EXPECT_NEAR(legs[1].duration, 335, 20);
}

// Without wind data, tacks are found from the headings against the wind the turns imply.
TEST(WindEstimate, MeanWindFromTurns) {
    Values times, heading, speed;
    for (int leg = 0; leg < 6; ++leg)
        for (int i = 0; i < 90; ++i) {
            times.push_back(static_cast<double>(times.size()));
            heading.push_back(leg % 2 ? 250.0 + 45 : 250.0 - 45); // beating into a wind from 250°
            speed.push_back(5.0);
        }
    auto direction = WindEstimate::meanDirection(times, heading, speed);
    ASSERT_TRUE(direction);
    EXPECT_NEAR(*direction, 250.0, 1.0);
}

TEST(RaceDetector, StartsFromTheCountdown) {
    const std::size_t n = 2000;
    Values times = seconds(n);
    FigureTable table(times, {"TimeToGun", "Portlat", "Portlon", "Stbdlat", "Stbdlon"});
    Values toGun(n, NAN);
    for (std::size_t i = 0; i < 300; ++i)
        toGun[i] = 300.5 - static_cast<double>(i); // a practice start at 300.5 s
    for (std::size_t i = 600; i < 902; ++i)
        toGun[i] = 900.25 - static_cast<double>(i); // reaches -0.75 at 901
    table.load("TimeToGun", toGun);
    for (const char* name : {"Portlat", "Portlon", "Stbdlat", "Stbdlon"})
        table.load(name, constant(n, 54.0));
    auto races = RaceDetector::detect(table);
    ASSERT_EQ(races.size(), 2u);
    EXPECT_EQ(races[0].type, "PracticeStart");
    EXPECT_EQ(races[0].gun, times[0] + 300.5);
    EXPECT_EQ(races[1].type, "Race");
    EXPECT_EQ(races[1].gun, times[0] + 900.25);
    EXPECT_EQ(*races[1].duration, n - 1 - 900.25);
    EXPECT_EQ(races[1].portLat, 54.0);

    // Time texts: tenths, of the instant.
    EXPECT_EQ(SegmentRecords::timeText(1685620800.25, 0), "2023-06-01T12:00:00.3+0000");
    EXPECT_EQ(SegmentRecords::timeText(1685628000.0, 120), "2023-06-01T12:00:00.0+0000");
}
