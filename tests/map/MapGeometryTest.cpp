#include "core/UserDefaults.h"
#include "map/Geodesy.h"
#include "map/MapPoint.h"
#include "map/MapScene.h"
#include "map/TrackIntervals.h"

#include <QDateTime>
#include <QTimeZone>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace {

constexpr double degree = M_PI / 180.0;
using Vector = std::array<double, 3>;

// Great-circle geometry by unit vectors, a route independent of the trigonometric formulas.
Vector unit(MapCoordinate c) {
    const double phi = c.latitude * degree;
    const double lambda = c.longitude * degree;
    return {std::cos(phi) * std::cos(lambda), std::cos(phi) * std::sin(lambda), std::sin(phi)};
}
double dot(Vector a, Vector b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
Vector north(MapCoordinate c) {
    const double phi = c.latitude * degree;
    const double lambda = c.longitude * degree;
    return {-std::sin(phi) * std::cos(lambda), -std::sin(phi) * std::sin(lambda), std::cos(phi)};
}
Vector east(MapCoordinate c) {
    const double lambda = c.longitude * degree;
    return {-std::sin(lambda), std::cos(lambda), 0.0};
}
MapCoordinate vectorDestination(MapCoordinate from, double bearing, double metres) {
    const double delta = metres / 6372797.6;
    Vector a = unit(from), n = north(from), e = east(from), p;
    for (int i = 0; i < 3; ++i)
        p[i] = a[i] * std::cos(delta) +
               (n[i] * std::cos(bearing * degree) + e[i] * std::sin(bearing * degree)) * std::sin(delta);
    return {std::asin(p[2]) / degree, std::atan2(p[1], p[0]) / degree};
}
double centralAngle(MapCoordinate a, MapCoordinate b) {
    Vector u = unit(a), v = unit(b);
    Vector c = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
    return std::atan2(std::sqrt(dot(c, c)), dot(u, v));
}
double angleDifference(double a, double b) {
    return std::remainder(a - b, 360.0);
}

} // namespace

TEST(Geodesy, AgreesWithVectorGeometry) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> latitude(-70, 70), longitude(-179, 179), bearing(0, 360),
        metres(1, 20000);
    for (int i = 0; i < 200; ++i) {
        const MapCoordinate from{latitude(random), longitude(random)};
        const double theta = bearing(random);
        const double d = metres(random);
        const MapCoordinate to = Geodesy::destination(from, theta, d);
        const MapCoordinate expected = vectorDestination(from, theta, d);
        EXPECT_NEAR(to.latitude, expected.latitude, 1e-9);
        EXPECT_NEAR(std::remainder(to.longitude - expected.longitude, 360.0), 0.0, 1e-9);

        // The bearing is the direction of the target in the tangent plane at the start.
        const Vector v = unit(to);
        const double tangentBearing = std::atan2(dot(v, east(from)), dot(v, north(from))) / degree;
        EXPECT_NEAR(angleDifference(Geodesy::initialBearing(from, to), tangentBearing), 0.0, 1e-7);
        EXPECT_NEAR(angleDifference(Geodesy::initialBearing(from, to), theta), 0.0, 1e-6);

        // The haversine carries its own factor: half of it times the central angle.
        EXPECT_NEAR(Geodesy::haversineDistance(from, to), 6372797.560856 * centralAngle(from, to), 1e-6);
    }
}

TEST(Geodesy, HandComputedPoints) {
    // A quarter of the equator: 10010220.3 m at R = 6372797.6.
    const MapCoordinate quarter = Geodesy::destination({0, 0}, 90, 6372797.6 * M_PI / 2);
    EXPECT_NEAR(quarter.latitude, 0, 1e-12);
    EXPECT_NEAR(quarter.longitude, 90, 1e-12);
    // 1000 m north moves 1000 / R radians of latitude.
    EXPECT_NEAR(Geodesy::destination({10, 20}, 0, 1000).latitude, 10 + 1000 / 6372797.6 / degree, 1e-12);
    // Across the antimeridian the longitude runs on past 180.
    EXPECT_GT(Geodesy::destination({0, 179.9}, 90, 50000).longitude, 180.0);
    // One degree of the equator by the haversine factor: 12745595.121712 / 2 × π / 180 = 111226.3000.
    EXPECT_NEAR(Geodesy::haversineDistance({0, 0}, {0, 1}), 111226.3000, 1e-4);
    EXPECT_DOUBLE_EQ(Geodesy::initialBearing({0, 0}, {0, 1}), 90.0);
    EXPECT_DOUBLE_EQ(Geodesy::initialBearing({0, 0}, {-1, 0}), 180.0);
}

TEST(MapPoint, WebMercatorWorld) {
    const MapPoint origin = mapPoint({0, 0});
    EXPECT_DOUBLE_EQ(origin.x, 134217728.0);
    EXPECT_NEAR(origin.y, 134217728.0, 1e-6);
    const MapPoint corner = mapPoint({mapMaximumLatitude, -180});
    EXPECT_DOUBLE_EQ(corner.x, 0.0);
    EXPECT_NEAR(corner.y, 0.0, 1e-3);
    // Beyond the projection's edge a latitude clamps instead of running off to infinity.
    EXPECT_NEAR(mapPoint({90, 0}).y, 0.0, 1e-3);

    const MapCoordinate c{-33.85, 151.2};
    const MapCoordinate back = coordinate(mapPoint(c));
    EXPECT_NEAR(back.latitude, c.latitude, 1e-10);
    EXPECT_NEAR(back.longitude, c.longitude, 1e-10);
    // At 60° the scale doubles.
    EXPECT_NEAR(mapPointsPerMetre(0), 268435456.0 / 40075016.685578, 1e-9);
    EXPECT_NEAR(mapPointsPerMetre(60), 2 * mapPointsPerMetre(0), 1e-9);
}

TEST(MapScene, OverlayStackAndChangeTracking) {
    MapScene scene;
    int notified = 0;
    scene.onChange = [&] { ++notified; };
    auto a = MapOverlay::polyline({{0, 0}, {1, 1}});
    auto b = MapOverlay::polygon({{0, 0}, {1, 1}, {1, 0}});
    auto c = MapOverlay::circle({0, 0}, 10);
    scene.addOverlay(a);
    scene.insertOverlay(b, 0);
    scene.insertOverlay(c, 99); // beyond the top: on top
    EXPECT_EQ(scene.overlays(), (std::vector<MapOverlayPtr>{b, a, c}));
    scene.insertOverlay(a, 0); // already there: stays
    EXPECT_EQ(scene.indexOfOverlay(a.get()), 1u);
    scene.removeOverlay(b);
    scene.removeOverlay(b);
    EXPECT_EQ(scene.overlays(), (std::vector<MapOverlayPtr>{a, c}));
    EXPECT_EQ(notified, 4);

    auto annotation = std::make_shared<WindAnnotation>();
    scene.addAnnotation(annotation);
    scene.addAnnotation(annotation);
    EXPECT_EQ(scene.annotations().size(), 1u);
    const auto before = scene.revision();
    {
        MapScene::ChangeBatch batch(scene);
        annotation->setCoordinate({1, 2});
        annotation->setHeading(30);
        annotation->setWindSpeed(12);
        EXPECT_EQ(notified, 5);
    }
    EXPECT_EQ(notified, 6); // once for the batch
    EXPECT_EQ(scene.revision(), before + 3);
    scene.removeAnnotation(annotation);
    // Off the scene, a move is no change of it.
    const auto afterRemoval = scene.revision();
    annotation->setCoordinate({3, 4});
    EXPECT_EQ(scene.revision(), afterRemoval);
}

TEST(MapScene, CameraZoomRegionAndRotation) {
    MapScene scene;
    EXPECT_EQ(scene.zoomLevel(), 20); // no view yet
    scene.setViewSize(800, 600);
    scene.setMapPointsPerViewPoint(1.0);
    EXPECT_EQ(scene.zoomLevel(), 20);
    scene.setMapPointsPerViewPoint(1.5);
    EXPECT_EQ(scene.zoomLevel(), 19);
    scene.setMapPointsPerViewPoint(4.0);
    EXPECT_EQ(scene.zoomLevel(), 18);
    scene.setMapPointsPerViewPoint(0.5);
    EXPECT_EQ(scene.zoomLevel(), 21);
    scene.zoomBy(0.25);
    EXPECT_DOUBLE_EQ(scene.mapPointsPerViewPoint(), 2.0);

    // A square region fits the shorter side of the view.
    const MapCoordinate center{54.3, 10.15};
    scene.setRegion(center, 1500, 1500, true);
    EXPECT_TRUE(scene.lastChangeAnimated());
    EXPECT_NEAR(scene.mapPointsPerViewPoint(), 1500 * mapPointsPerMetre(center.latitude) / 600, 1e-9);
    const MapRegion region = scene.region();
    EXPECT_EQ(region.center, center);
    EXPECT_NEAR(region.longitudeDelta, scene.visibleMapWidth() / 268435456.0 * 360.0, 1e-12);
    // 1500 m of latitude is 1500 / 111 km of a degree, near enough on a sphere.
    EXPECT_NEAR(region.latitudeDelta, 1500.0 / 6371000.0 / degree, 2e-4);

    // Turned to 90°, east is up and north to the left; the inverse takes a view point back.
    scene.setCameraHeading(450, false);
    EXPECT_DOUBLE_EQ(scene.heading(), 90.0);
    const QPointF eastward = scene.viewPoint({center.latitude, center.longitude + 0.001});
    EXPECT_NEAR(eastward.x(), 400, 1e-6);
    EXPECT_LT(eastward.y(), 300 - 10);
    const QPointF northward = scene.viewPoint({center.latitude + 0.001, center.longitude});
    EXPECT_LT(northward.x(), 400 - 10);
    EXPECT_NEAR(northward.y(), 300, 1e-6);
    const MapCoordinate back = scene.coordinateAt(QPointF(123, 456));
    const QPointF again = scene.viewPoint(back);
    EXPECT_NEAR(again.x(), 123, 1e-6);
    EXPECT_NEAR(again.y(), 456, 1e-6);
    scene.setCameraHeading(-0.0, false);
    scene.setCameraHeading(-90, false);
    EXPECT_DOUBLE_EQ(scene.heading(), 270.0);
}

TEST(TrackIntervals, TimeOfDayInGmt) {
    const QDateTime fiveMinutes(QDate(2001, 1, 1), QTime(0, 5, 0), QTimeZone::utc());
    EXPECT_EQ(TrackIntervals::intervalOf(fiveMinutes), 300.0);
    // The same instant written in another zone still reads in GMT.
    EXPECT_EQ(TrackIntervals::intervalOf(fiveMinutes.toTimeZone(QTimeZone(7200))), 300.0);
    // A picker's date is any day; only the time of day counts, to the whole second.
    EXPECT_EQ(TrackIntervals::intervalOf(QDateTime(QDate(2024, 6, 1), QTime(1, 2, 3, 900), QTimeZone::utc())),
              3723.0);
    // Seconds since 2001-01-01 00:00:00 UTC, also as text.
    EXPECT_EQ(TrackIntervals::intervalOf(120.0), 120.0);
    EXPECT_EQ(TrackIntervals::intervalOf(86400.0 * 8000 + 125.5), 125.0);
    EXPECT_EQ(TrackIntervals::intervalOf(-60.0), 86340.0); // 23:59 of the day before
    EXPECT_EQ(TrackIntervals::intervalOf(QStringLiteral("300")), 300.0);
    EXPECT_EQ(TrackIntervals::intervalOf(QStringLiteral("2001-01-01T00:02:00Z")), 120.0);
    EXPECT_EQ(TrackIntervals::intervalOf(QVariant()), 0.0);
    EXPECT_EQ(TrackIntervals::intervalOf(QStringLiteral("soon")), 0.0);

    auto& defaults = UserDefaults::standard();
    defaults.setValue(TrackIntervals::pastKey, fiveMinutes);
    defaults.setValue(TrackIntervals::futureKey, 60.0);
    defaults.setValue(TrackIntervals::pastAuxKey,
                      QDateTime(QDate(2001, 1, 1), QTime(0, 1, 0), QTimeZone::utc()));
    defaults.remove(TrackIntervals::futureAuxKey);
    defaults.sync();
    EXPECT_EQ(TrackIntervals::read(defaults), (TrackIntervals{300, 60, 60, 0}));
}
