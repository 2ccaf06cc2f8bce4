#include "map/BoatMapAnnotationGroup.h"

#include "map/Geodesy.h"
#include "map/MapFixtures.h"
#include "map/MapScene.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();
const MapCoordinate origin{54.5, 10.2};

// A boat sailing east at 5 m/s from `origin`, heading 90, wind from 200 at 14 kn, one record a
// second for ten minutes.
LogRecipe eastbound(std::vector<std::string> columns = {"Lat", "Lon", "Heading", "TWD", "TWS"}) {
    LogRecipe recipe;
    recipe.count = 600;
    recipe.columns = std::move(columns);
    recipe.value = [](const std::string& column, double s) {
        if (column == "Lat")
            return origin.latitude;
        if (column == "Lon")
            return offsetFrom(origin, 0, 5 * s).longitude;
        if (column == "Heading" || column == "COG")
            return 90.0;
        if (column == "TWD")
            return 200.0;
        if (column == "TWS")
            return 14.0;
        return missing;
    };
    return recipe;
}

std::shared_ptr<Boat> boat(double length = 10.0) {
    auto b = Boat::create("Blue Heron", "BH", {0.2, 0.4, 0.6}, Boat::DisplayMode::Main);
    b->setBoatLength(length);
    return b;
}

void expectNear(MapCoordinate actual, MapCoordinate expected, double tolerance = 1e-10) {
    EXPECT_NEAR(actual.latitude, expected.latitude, tolerance);
    EXPECT_NEAR(actual.longitude, expected.longitude, tolerance);
}

// A log that is not an in-memory array: the group reads it through the interface alone.
class ForwardingLog final : public BoatLog {
public:
    explicit ForwardingLog(const BoatLog& inner) : inner_(inner) {}
    std::shared_ptr<Boat> boat() const override { return inner_.boat(); }
    BoatLogIndex startIndex() const override { return inner_.startIndex(); }
    std::optional<BoatLogIndex> lastIndex() const override { return inner_.lastIndex(); }
    BoatLogIndex indexAfter(BoatLogIndex i) const override { return inner_.indexAfter(i); }
    BoatLogIndex indexBefore(BoatLogIndex i) const override { return inner_.indexBefore(i); }
    std::optional<BoatLogIndex> firstIndexAfter(Instant t) const override {
        return inner_.firstIndexAfter(t);
    }
    std::optional<Measurement> value(BoatLogIndex i, const BoatMetric& m) const override {
        return inner_.value(i, m);
    }
    std::vector<BoatMetric> availableMetrics() const override { return inner_.availableMetrics(); }

private:
    const BoatLog& inner_;
};

} // namespace

TEST(BoatMapAnnotationGroup, NominalTriangleAheadOfTheGpsPosition) {
    auto recipe = eastbound({"Lat", "Lon", "COG"}); // no Heading: COG stands in
    auto b = boat(10.0);
    auto log = recipe.log(b);
    MapScene map;
    BoatMapAnnotationGroup group(b);
    const Instant t = recipe.start() + 100.5;
    group.update(map, log.get(), t);

    ASSERT_TRUE(group.boatOutline());
    // The position is not interpolated: the record just after t, at 101 s.
    const MapCoordinate p{origin.latitude, offsetFrom(origin, 0, 505).longitude};
    const auto& triangle = group.boatOutline()->points();
    ASSERT_EQ(triangle.size(), 3u);
    const double halfBeam = 10.0 / 3.5 * 0.5;
    expectNear(triangle[0], Geodesy::destination(p, 90, 10));
    expectNear(triangle[1], Geodesy::destination(p, 0, halfBeam));
    expectNear(triangle[2], Geodesy::destination(p, 180, halfBeam));
    EXPECT_NEAR(Geodesy::haversineDistance(triangle[1], triangle[2]), 2 * halfBeam, 1e-6);
    expectNear(group.titleAnnotation()->coordinate(), Geodesy::destination(p, 90, 5));
    EXPECT_TRUE(group.titleAnnotationAdded());
    EXPECT_TRUE(map.containsAnnotation(group.titleAnnotation().get()));
    // No TWD: no wind arrow.
    EXPECT_FALSE(group.windAnnotationAdded());

    // A boat of length 0 still gets a (degenerate) outline and a label on its position.
    b->setBoatLength(0);
    group.update(map, log.get(), t);
    expectNear(group.boatOutline()->points()[0], p);
    expectNear(group.titleAnnotation()->coordinate(), p);

    // Without heading or course there is nothing to point: no outline, no label.
    auto blind = eastbound({"Lat", "Lon"}).log(b);
    group.update(map, blind.get(), t);
    EXPECT_FALSE(group.boatOutline());
    EXPECT_FALSE(group.titleAnnotationAdded());
    EXPECT_FALSE(map.containsAnnotation(group.titleAnnotation().get()));
}

TEST(BoatMapAnnotationGroup, MeasuredTriangleIgnoresTheConfiguredLength) {
    const MapCoordinate stern = origin;
    const MapCoordinate bow = offsetFrom(origin, 8, 0); // 8 m north
    const MapCoordinate center = offsetFrom(origin, 4, 0);
    LogRecipe recipe;
    recipe.count = 10;
    recipe.columns = {"Lat",    "Lon",    "Heading",   "LatStern", "LonStern",
                      "LatBow", "LonBow", "LatCenter", "LonCenter"};
    recipe.value = [&](const std::string& c, double) {
        if (c == "Lat" || c == "LatStern")
            return stern.latitude;
        if (c == "Lon" || c == "LonStern")
            return stern.longitude;
        if (c == "LatBow")
            return bow.latitude;
        if (c == "LonBow")
            return bow.longitude;
        if (c == "LatCenter")
            return center.latitude;
        if (c == "LonCenter")
            return center.longitude;
        return 0.0; // heading north
    };
    auto b = boat(30.0);
    auto log = recipe.log(b);
    MapScene map;
    BoatMapAnnotationGroup group(b);
    group.update(map, log.get(), recipe.start() + 3);

    ASSERT_TRUE(group.boatOutline());
    const auto& triangle = group.boatOutline()->points();
    const double length = Geodesy::haversineDistance(stern, bow);
    EXPECT_NEAR(length, 8.0, 1e-3);
    expectNear(triangle[0], bow);
    expectNear(triangle[1], Geodesy::destination(stern, -90, length / 7));
    expectNear(triangle[2], Geodesy::destination(stern, 90, length / 7));
    expectNear(group.titleAnnotation()->coordinate(), center);
}

TEST(BoatMapAnnotationGroup, WindArrowFollowsTheMapRotation) {
    auto b = boat();
    auto recipe = eastbound();
    auto log = recipe.log(b);
    MapScene map;
    map.setCameraHeading(200, false);
    BoatMapAnnotationGroup group(b);
    const Instant t = recipe.start() + 60.25;
    group.update(map, log.get(), t);
    ASSERT_TRUE(group.windAnnotationAdded());
    EXPECT_DOUBLE_EQ(group.windAnnotation()->heading(), 0.0);
    EXPECT_DOUBLE_EQ(group.windAnnotation()->windSpeed(), 14.0);
    // At the interpolated position, not at a record.
    expectNear(group.windAnnotation()->coordinate(),
               {origin.latitude, offsetFrom(origin, 0, 301.25).longitude}, 1e-9);

    map.setCameraHeading(90, false);
    auto calm = eastbound({"Lat", "Lon", "Heading", "TWD"}).log(b); // no TWS
    group.update(map, calm.get(), t);
    EXPECT_DOUBLE_EQ(group.windAnnotation()->heading(), 110.0);
    EXPECT_DOUBLE_EQ(group.windAnnotation()->windSpeed(), 0.0);
    EXPECT_EQ(map.annotations().size(), 4u); // wind, label and two worm marks, each once

    group.update(map, log.get(), recipe.start() + 10000); // after the log
    EXPECT_FALSE(group.windAnnotationAdded());
    EXPECT_FALSE(map.containsAnnotation(group.windAnnotation().get()));
}

TEST(BoatMapAnnotationGroup, TracksWormMarksAndOverlayOrder) {
    auto b = boat();
    auto recipe = eastbound();
    auto log = recipe.log(b);
    MapScene map;
    auto below = MapOverlay::polyline({});
    map.addOverlay(below);
    BoatMapAnnotationGroup group(b);
    group.pastBoatTrackInterval = 20;
    group.futureBoatTrackInterval = 45;
    const Instant t = recipe.start() + 100.5;
    group.update(map, log.get(), t);

    // Past: records 81…100, then the position at t; future: t, then records 101…145.
    ASSERT_TRUE(group.boatTrackLine());
    ASSERT_TRUE(group.boatTrackLineFuture());
    const auto& past = group.boatTrackLine()->points();
    ASSERT_EQ(past.size(), 21u);
    EXPECT_DOUBLE_EQ(past.front().longitude, offsetFrom(origin, 0, 405).longitude);
    EXPECT_NEAR(past.back().longitude, offsetFrom(origin, 0, 502.5).longitude, 1e-12);
    const auto& future = group.boatTrackLineFuture()->points();
    ASSERT_EQ(future.size(), 46u);
    EXPECT_NEAR(future.front().longitude, offsetFrom(origin, 0, 502.5).longitude, 1e-12);
    EXPECT_DOUBLE_EQ(future.back().longitude, offsetFrom(origin, 0, 725).longitude);
    // Tracks sit under the outline, which is on top.
    EXPECT_EQ(map.overlays(), (std::vector<MapOverlayPtr>{below, group.boatTrackLine(),
                                                          group.boatTrackLineFuture(), group.boatOutline()}));

    // 45 s ahead reaches the 30 s mark only; it sits where the boat will be, interpolated.
    EXPECT_TRUE(group.wormTime30AnnotationAdded());
    EXPECT_FALSE(group.wormTime60AnnotationAdded());
    EXPECT_NEAR(group.wormTime30Annotation()->coordinate().longitude, offsetFrom(origin, 0, 652.5).longitude,
                1e-9);

    // Any log reads the same tracks, with gaps in the positions skipped.
    LogRecipe gappy = recipe;
    gappy.value = [&](const std::string& column, double s) {
        return column == "Lon" && std::fmod(s, 7.0) == 0.0 ? missing : recipe.value(column, s);
    };
    auto array = gappy.log(b);
    ForwardingLog forwarding(*array);
    MapScene other;
    BoatMapAnnotationGroup fromArray(b), fromInterface(b);
    for (auto* g : {&fromArray, &fromInterface}) {
        g->pastBoatTrackInterval = 20;
        g->futureBoatTrackInterval = 45;
    }
    fromArray.update(other, array.get(), t);
    fromInterface.update(other, &forwarding, t);
    EXPECT_EQ(fromArray.boatTrackLine()->points(), fromInterface.boatTrackLine()->points());
    EXPECT_EQ(fromArray.boatTrackLineFuture()->points(), fromInterface.boatTrackLineFuture()->points());
    EXPECT_EQ(fromArray.boatTrackLine()->points().size(), 21u - 3u); // records 84, 91 and 98 lack a position

    // Every update makes new lines and takes the old ones off the map.
    const MapOverlayPtr oldOutline = group.boatOutline();
    const MapOverlayPtr oldTrack = group.boatTrackLine();
    group.futureBoatTrackInterval = 60;
    group.update(map, log.get(), t + 1);
    EXPECT_NE(group.boatOutline(), oldOutline);
    EXPECT_NE(group.boatTrackLine(), oldTrack);
    EXPECT_FALSE(map.containsOverlay(oldOutline.get()));
    EXPECT_FALSE(map.containsOverlay(oldTrack.get()));
    EXPECT_EQ(map.overlayCount(), 4u);
    EXPECT_TRUE(group.wormTime60AnnotationAdded());

    // Without a heading the tracks go to the bottom.
    group.futureBoatTrackInterval = 0;
    auto blind = eastbound({"Lat", "Lon"}).log(b);
    group.update(map, blind.get(), t);
    EXPECT_EQ(map.overlays(), (std::vector<MapOverlayPtr>{group.boatTrackLine(), below}));
    EXPECT_FALSE(group.boatTrackLineFuture());
    EXPECT_FALSE(group.wormTime30AnnotationAdded());
    EXPECT_FALSE(group.wormTime60AnnotationAdded());

    group.removeFromMap(map);
    EXPECT_EQ(map.overlays(), (std::vector<MapOverlayPtr>{below}));
    EXPECT_TRUE(map.annotations().empty());
}

TEST(BoatMapAnnotationGroup, RenderersAndViews) {
    auto b = boat();
    auto log = eastbound().log(b);
    MapScene map;
    BoatMapAnnotationGroup group(b);
    group.update(map, log.get(), eastbound().start() + 200);

    const auto outline = group.renderer(*group.boatOutline());
    EXPECT_EQ(outline.lineWidth, 3.0);
    EXPECT_EQ(outline.strokeColor, (RgbColor{0.2, 0.4, 0.6}));
    EXPECT_EQ(outline.fillColor, (RgbColor{0.2, 0.4, 0.6}));
    EXPECT_EQ(group.renderer(*group.boatTrackLine()).lineWidth, 1.0);
    EXPECT_FALSE(group.renderer(*group.boatTrackLine()).fillColor);
    const RgbColor pastel = group.renderer(*group.boatTrackLineFuture()).strokeColor;
    EXPECT_DOUBLE_EQ(pastel.red, 0.6);
    EXPECT_DOUBLE_EQ(pastel.green, 0.7);
    EXPECT_DOUBLE_EQ(pastel.blue, 0.8);
    auto foreign = MapOverlay::polyline({});
    EXPECT_DEATH(group.renderer(*foreign), "Unsupported overlay");

    auto wind = group.viewFor(*group.windAnnotation());
    ASSERT_TRUE(wind);
    EXPECT_EQ(wind->kind, MapAnnotationViewStyle::Kind::Wind);
    EXPECT_EQ(wind->reuseIdentifier, "Wind");
    auto worm30 = group.viewFor(*group.wormTime30Annotation());
    auto worm60 = group.viewFor(*group.wormTime60Annotation());
    ASSERT_TRUE(worm30 && worm60);
    EXPECT_EQ(worm30->reuseIdentifier, "Worm60");
    EXPECT_EQ(worm60->reuseIdentifier, "Worm60");
    EXPECT_EQ(worm30->width, 6.0);
    EXPECT_DOUBLE_EQ(worm30->color.red, 0.2 + 0.8 * 0.3);
    EXPECT_DOUBLE_EQ(worm30->color.blue, 0.6 + 0.4 * 0.3);
    auto label = group.viewFor(*group.titleAnnotation());
    ASSERT_TRUE(label);
    EXPECT_EQ(label->kind, MapAnnotationViewStyle::Kind::BoatLabel);
    EXPECT_EQ(label->reuseIdentifier, "BoatLabel");
    EXPECT_EQ(label->title, "BH");
    EXPECT_EQ(label->width, 50.0);
    EXPECT_EQ(label->height, 12.0);
    EXPECT_EQ(label->centerOffsetY, 20.0);
    EXPECT_DOUBLE_EQ(label->color.green, 0.2);
    MapAnnotation stranger;
    EXPECT_FALSE(group.viewFor(stranger));
}
