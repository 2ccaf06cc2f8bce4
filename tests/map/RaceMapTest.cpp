#include "map/RaceMap.h"

#include "map/Geodesy.h"
#include "map/MapFixtures.h"
#include "map/MapScene.h"
#include "race/Race.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <limits>

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
const MapCoordinate pin{54.5, 10.2};
const MapCoordinate committee = offsetFrom(pin, 0, 200);
constexpr double gunSeconds = 400; // after the log's start

// The main boat beats up to the line from 400 m below it at 1 m/s, heading north; the wind is
// from 10° at 14 kn until the instrument fails at 550 s; the mark is logged every 50 s.
LogRecipe mainLog() {
    LogRecipe recipe;
    recipe.count = 700;
    recipe.columns = {"Lat",       "Lon",        "Heading",    "TWD",   "TargetTWA", "TimeToGun",
                      "BelowLine", "TimeToLine", "TimeToBurn", "MkLat", "MkLon"};
    recipe.value = [](const std::string& c, double s) {
        const MapCoordinate p = offsetFrom(pin, -400 + s, 50);
        const bool markLogged = std::fmod(s, 50.0) == 0.0;
        if (c == "Lat")
            return p.latitude;
        if (c == "Lon")
            return p.longitude;
        if (c == "Heading")
            return 0.0;
        if (c == "TWD")
            return s < 550 ? 10.0 : nan;
        if (c == "TargetTWA")
            return 50.0;
        if (c == "TimeToGun")
            return gunSeconds - s;
        if (c == "BelowLine")
            return 100.0;
        if (c == "TimeToLine")
            return 50.0;
        if (c == "TimeToBurn")
            return 10.0;
        // The mark drifts a little, so each logged position is told apart.
        if (c == "MkLat")
            return markLogged ? pin.latitude + 0.02 + s * 1e-7 : nan;
        if (c == "MkLon")
            return markLogged ? pin.longitude : nan;
        return nan;
    };
    return recipe;
}

double markLatitudeLoggedAt(double s) {
    return pin.latitude + 0.02 + s * 1e-7;
}

struct RaceMapFixture : ::testing::Test {
    QTemporaryDir dir;
    Document document;
    std::shared_ptr<Boat> main = Boat::create("Main", "M", {0, 0, 1}, Boat::DisplayMode::Main);
    std::shared_ptr<Boat> other = Boat::create("Other", "O", {0, 1, 0}, Boat::DisplayMode::Other);
    std::shared_ptr<Race> race = std::make_shared<Race>();
    LogRecipe recipe = mainLog();
    MapScene map;
    RaceMap raceMap{map};
    Instant wall = Instant::fromUnix(1700000000);

    void SetUp() override {
        main->setBoatLength(10);
        document.setBoats({main, other});
        recipe.addTo(document, main, dir);
        recipe.addTo(document, other, dir);
        race->setTime(recipe.start() + gunSeconds);
        race->setPinLat(QString::number(pin.latitude, 'g', 17));
        race->setPinLon(QString::number(pin.longitude, 'g', 17));
        race->setRcLat(QString::number(committee.latitude, 'g', 17));
        race->setRcLon(QString::number(committee.longitude, 'g', 17));
        document.setRaces({race});
        map.setViewSize(1000, 800);
        raceMap.setWallClock([this] { return wall; });
        raceMap.setTrackIntervals({300, 60, 120, 30});
        raceMap.setDocument(&document);
    }

    Instant at(double s) const { return recipe.start() + s; }
};

void expectBearing(MapCoordinate from, MapCoordinate to, double bearing) {
    EXPECT_NEAR(std::remainder(Geodesy::initialBearing(from, to) - bearing, 360.0), 0.0, 1e-9);
}

} // namespace

TEST_F(RaceMapFixture, LinesAppearInTheirTimeToGunWindows) {
    struct Case {
        double timeToGun;
        bool burnLine, markLaylines, startLaylines;
    };
    // Whole seconds count: 300.5 is still in the last five minutes, -10.5 is ten seconds after.
    for (Case c : {Case{301, false, true, true}, Case{300.5, true, false, true}, Case{300, true, false, true},
                   Case{-5, false, false, true}, Case{-10, false, true, false},
                   Case{-10.5, false, true, false}, Case{-11, false, true, false}}) {
        SCOPED_TRACE(c.timeToGun);
        raceMap.update(at(gunSeconds - c.timeToGun), false);
        EXPECT_EQ(raceMap.burnLine() != nullptr, c.burnLine);
        EXPECT_EQ(raceMap.laylines() != nullptr, c.markLaylines);
        EXPECT_EQ(raceMap.portLayline() != nullptr, c.startLaylines);
        EXPECT_EQ(raceMap.starboardLayline() != nullptr, c.startLaylines);
        for (const auto* line : {&raceMap.burnLine(), &raceMap.laylines(), &raceMap.portLayline()})
            EXPECT_EQ(map.containsOverlay(line->get()), *line != nullptr);
    }
}

TEST_F(RaceMapFixture, LaylineAnglesAndBurnLineGeometry) {
    // 301 s to the gun: the mark laylines keep the full target angle of 50°; the start-line ones
    // stop at 45°.
    raceMap.update(at(99), false);
    ASSERT_TRUE(raceMap.markCoordinate());
    const MapCoordinate mark = *raceMap.markCoordinate();
    EXPECT_DOUBLE_EQ(mark.latitude, markLatitudeLoggedAt(50));
    const auto& laylines = raceMap.laylines()->points();
    ASSERT_EQ(laylines.size(), 3u);
    EXPECT_EQ(laylines[1], mark);
    expectBearing(mark, laylines[0], 10 + 50 - 180);
    expectBearing(mark, laylines[2], 10 - 50 + 180);
    EXPECT_NEAR(Geodesy::haversineDistance(mark, laylines[0]), 5000, 0.01);
    const auto& port = raceMap.portLayline()->points();
    ASSERT_EQ(port.size(), 2u);
    EXPECT_EQ(port[0], pin);
    expectBearing(pin, port[1], 10 - 45 - 180);
    EXPECT_NEAR(Geodesy::haversineDistance(pin, port[1]), 1000, 0.01);
    const auto& starboard = raceMap.starboardLayline()->points();
    ASSERT_EQ(starboard.size(), 3u);
    EXPECT_EQ(starboard[1], committee);
    expectBearing(committee, starboard[0], 10 + 45 - 180);
    expectBearing(committee, starboard[2], 10 - 45 - 180);

    // 300 s to go: (10 + 50) × 100 / 50 = 120 m below the line, square to it, on the side away
    // from the wind.
    raceMap.update(at(100), false);
    ASSERT_TRUE(raceMap.burnLineDistance());
    EXPECT_DOUBLE_EQ(*raceMap.burnLineDistance(), 120.0);
    const auto& burn = raceMap.burnLine()->points();
    ASSERT_EQ(burn.size(), 2u);
    const double square = Geodesy::initialBearing(pin, committee) + 90;
    EXPECT_NEAR(square, 180, 0.1);
    expectBearing(pin, burn[0], square);
    expectBearing(committee, burn[1], square);
    EXPECT_NEAR(Geodesy::haversineDistance(pin, burn[0]), 120, 1e-3);
    EXPECT_NEAR(Geodesy::haversineDistance(committee, burn[1]), 120, 1e-3);
    EXPECT_LT(burn[0].latitude, pin.latitude);
}

TEST_F(RaceMapFixture, OverlayOrderAndImmutableLines) {
    raceMap.update(at(100), false);
    const MapOverlayPtr startLine = raceMap.startLine();
    const MapOverlayPtr burnLine = raceMap.burnLine();
    ASSERT_TRUE(startLine && burnLine);
    EXPECT_EQ(startLine->points(), (std::vector<MapCoordinate>{pin, committee}));
    // Burn line under the start line, both under everything else; laylines over the boats.
    EXPECT_EQ(map.overlays()[0], burnLine);
    EXPECT_EQ(map.overlays()[1], startLine);
    auto* group = raceMap.groupFor(main.get());
    ASSERT_TRUE(group && group->boatOutline());
    EXPECT_LT(*map.indexOfOverlay(group->boatTrackLine().get()),
              *map.indexOfOverlay(group->boatOutline().get()));
    EXPECT_LT(*map.indexOfOverlay(group->boatOutline().get()),
              *map.indexOfOverlay(raceMap.portLayline().get()));

    // The start line stays while its ends stay; the burn line is new each time.
    raceMap.update(at(101), false);
    EXPECT_EQ(raceMap.startLine(), startLine);
    EXPECT_NE(raceMap.burnLine(), burnLine);
    EXPECT_FALSE(map.containsOverlay(burnLine.get()));
    EXPECT_EQ(map.overlays()[0], raceMap.burnLine());

    // A changed race redraws at the document's playback position.
    document.setPlaybackPosition(at(101), true);
    race->setPinLon(QString::number(pin.longitude - 0.001, 'g', 17));
    raceMap.racesChanged();
    ASSERT_TRUE(raceMap.startLine());
    EXPECT_NE(raceMap.startLine(), startLine);
    EXPECT_FALSE(map.containsOverlay(startLine.get()));
    EXPECT_DOUBLE_EQ(raceMap.startLine()->points()[0].longitude, pin.longitude - 0.001);

    // A start-line end that is not a number (here with a decimal comma) is no start line at all.
    race->setPinLat(QStringLiteral("54,5"));
    raceMap.update(at(101), false);
    EXPECT_FALSE(raceMap.startLine());
    EXPECT_FALSE(raceMap.burnLine());
    EXPECT_FALSE(raceMap.portLayline());
}

TEST_F(RaceMapFixture, MarkFromTheLatestLoggedRecord) {
    raceMap.update(at(120), false);
    EXPECT_DOUBLE_EQ(raceMap.markCoordinate()->latitude, markLatitudeLoggedAt(100));
    const MapOverlayPtr circle = raceMap.markRoomCircle();
    ASSERT_TRUE(circle);
    EXPECT_EQ(circle->kind(), MapOverlay::Kind::Circle);
    EXPECT_EQ(circle->radius(), 30.0); // three lengths of 10 m
    EXPECT_EQ(circle->center(), *raceMap.markCoordinate());
    ASSERT_TRUE(map.containsAnnotation(raceMap.markAnnotation().get()));
    EXPECT_EQ(raceMap.markAnnotation()->coordinate(), *raceMap.markCoordinate());

    raceMap.update(at(149.5), false); // same mark: same circle
    EXPECT_EQ(raceMap.markRoomCircle(), circle);
    raceMap.update(at(150), false); // a record exactly at t counts
    EXPECT_DOUBLE_EQ(raceMap.markCoordinate()->latitude, markLatitudeLoggedAt(150));
    EXPECT_NE(raceMap.markRoomCircle(), circle);
    EXPECT_FALSE(map.containsOverlay(circle.get()));
    // Back and forth: a seek backwards must not keep the later mark.
    raceMap.update(at(60), true);
    EXPECT_DOUBLE_EQ(raceMap.markCoordinate()->latitude, markLatitudeLoggedAt(50));
    raceMap.update(at(260), false);
    EXPECT_DOUBLE_EQ(raceMap.markCoordinate()->latitude, markLatitudeLoggedAt(250));

    auto pinView = raceMap.viewFor(*raceMap.markAnnotation());
    ASSERT_TRUE(pinView);
    EXPECT_EQ(pinView->kind, MapAnnotationViewStyle::Kind::Pin);
    EXPECT_EQ(pinView->imageName, "YellowPin");

    // Before the log there is no mark: no pin, no circle.
    raceMap.update(at(-10), false);
    EXPECT_FALSE(raceMap.markCoordinate());
    EXPECT_FALSE(raceMap.markRoomCircle());
    EXPECT_FALSE(map.containsAnnotation(raceMap.markAnnotation().get()));
}

TEST_F(RaceMapFixture, CameraHeadingTurnsAtMostEveryTenSeconds) {
    raceMap.playbackPositionChanged(at(100), true);
    EXPECT_DOUBLE_EQ(map.heading(), 10.0);
    EXPECT_FALSE(map.lastChangeAnimated()); // a seek jumps

    // The wind fails at 550 s; during playback the map keeps its heading for ten seconds, then
    // turns north up.
    wall = wall + 5;
    raceMap.playbackPositionChanged(at(600), false);
    EXPECT_DOUBLE_EQ(map.heading(), 10.0);
    wall = wall + 5;
    raceMap.playbackPositionChanged(at(601), false);
    EXPECT_DOUBLE_EQ(map.heading(), 10.0); // exactly 10 s is not more than 10 s
    wall = wall + 0.5;
    raceMap.playbackPositionChanged(at(602), false);
    EXPECT_DOUBLE_EQ(map.heading(), 0.0);
    EXPECT_TRUE(map.lastChangeAnimated());
    EXPECT_EQ(raceMap.lastCameraUpdate(), wall);

    // A seek turns at once.
    wall = wall + 1;
    raceMap.playbackPositionChanged(at(200), true);
    EXPECT_DOUBLE_EQ(map.heading(), 10.0);
    EXPECT_DOUBLE_EQ(raceMap.lastMapHeading(), 10.0);

    // The wind arrow is drawn against the heading the map had when the boat was updated.
    auto* group = raceMap.groupFor(main.get());
    wall = wall + 1;
    raceMap.playbackPositionChanged(at(201), false);
    EXPECT_DOUBLE_EQ(group->windAnnotation()->heading(), 0.0);
}

TEST_F(RaceMapFixture, CameraFollowsTheBoatAndRespectsTheUsersZoom) {
    // A document opened after the gun frames the main boat in 1500 m.
    document.setPlaybackPosition(at(450), true);
    raceMap.setDocument(&document);
    const double framed = map.mapPointsPerViewPoint();
    EXPECT_NEAR(framed, 1500 * mapPointsPerMetre(map.center().latitude) / 800, 1e-9);
    EXPECT_EQ(raceMap.lastZoomLevel(), map.zoomLevel());

    // A seek before the gun zooms in to 250 m around the boat's middle, 5 m ahead of the GPS.
    raceMap.playbackPositionChanged(at(100), true);
    const MapCoordinate gps = offsetFrom(pin, -300, 50);
    const MapCoordinate middle = Geodesy::destination(gps, 0, 5);
    EXPECT_NEAR(map.center().latitude, middle.latitude, 1e-9);
    EXPECT_NEAR(map.center().longitude, middle.longitude, 1e-9);
    EXPECT_NEAR(map.mapPointsPerViewPoint(), 250 * mapPointsPerMetre(middle.latitude) / 800, 1e-9);
    EXPECT_EQ(raceMap.lastZoomLevel(), map.zoomLevel());

    // Playback only re-centres when the boat leaves the middle fifth of the view: a 250 m view
    // tolerates 50 m.
    raceMap.playbackPositionChanged(at(140), false);
    EXPECT_NEAR(map.center().latitude, middle.latitude, 1e-9);
    raceMap.playbackPositionChanged(at(160), false);
    EXPECT_NEAR(map.center().latitude, Geodesy::destination(offsetFrom(pin, -240, 50), 0, 5).latitude, 1e-9);
    EXPECT_TRUE(map.lastChangeAnimated());

    // The user zooms out; seeks follow the boat but keep the user's zoom.
    map.zoomBy(0.25);
    const double users = map.mapPointsPerViewPoint();
    raceMap.playbackPositionChanged(at(450), true); // after the gun: would be 1500 m
    EXPECT_DOUBLE_EQ(map.mapPointsPerViewPoint(), users);
    EXPECT_NEAR(map.center().latitude, Geodesy::destination(offsetFrom(pin, 50, 50), 0, 5).latitude, 1e-9);

    // Back at the zoom the map last set, the next seek sets its region again.
    map.zoomBy(4);
    raceMap.playbackPositionChanged(at(450), true);
    EXPECT_NE(map.mapPointsPerViewPoint(), users);
    EXPECT_NEAR(map.mapPointsPerViewPoint(), framed, 1e-6);
}

TEST_F(RaceMapFixture, BoatOfLengthZero) {
    main->setBoatLength(0);
    raceMap.setDocument(&document); // the mark-room circle is made for the new length
    raceMap.playbackPositionChanged(at(120), true);
    const MapCoordinate gps = offsetFrom(pin, -280, 50);
    EXPECT_NEAR(map.center().latitude, gps.latitude, 1e-12);
    EXPECT_NEAR(map.center().longitude, gps.longitude, 1e-12);
    ASSERT_TRUE(raceMap.markRoomCircle());
    EXPECT_EQ(raceMap.markRoomCircle()->radius(), 0.0);
}

TEST_F(RaceMapFixture, GroupsIntervalsAndRenderers) {
    ASSERT_EQ(raceMap.boatAnnotationGroups().size(), 2u);
    EXPECT_EQ(raceMap.mainBoat(), main);
    auto* mainGroup = raceMap.groupFor(main.get());
    auto* otherGroup = raceMap.groupFor(other.get());
    EXPECT_EQ(mainGroup->pastBoatTrackInterval, 300);
    EXPECT_EQ(mainGroup->futureBoatTrackInterval, 60);
    EXPECT_EQ(otherGroup->pastBoatTrackInterval, 120);
    EXPECT_EQ(otherGroup->futureBoatTrackInterval, 30);

    raceMap.setTrackIntervals({10, 0, 20, 45});
    EXPECT_EQ(mainGroup->futureBoatTrackInterval, 0);
    EXPECT_EQ(otherGroup->futureBoatTrackInterval, 45);

    raceMap.update(at(100), false);
    EXPECT_EQ(raceMap.rendererFor(*otherGroup->boatOutline()).strokeColor, (RgbColor{0, 1, 0}));
    EXPECT_EQ(raceMap.rendererFor(*raceMap.startLine()).strokeColor, (RgbColor{1, 1, 1}));
    EXPECT_EQ(raceMap.rendererFor(*raceMap.burnLine()).strokeColor, RgbColor::pureRed());
    EXPECT_EQ(raceMap.rendererFor(*raceMap.burnLine()).lineWidth, 3.0);
    EXPECT_EQ(raceMap.rendererFor(*raceMap.portLayline()).lineWidth, 1.0);
    const auto circle = raceMap.rendererFor(*raceMap.markRoomCircle());
    EXPECT_EQ(circle.lineDashPattern, (std::vector<double>{10, 10}));
    EXPECT_DOUBLE_EQ(circle.strokeColor.green, 210.0 / 255.0);
    const auto stranger = raceMap.rendererFor(*MapOverlay::polygon({}));
    EXPECT_EQ(stranger.strokeColor, (RgbColor{1, 0.5, 0.5}));
    EXPECT_EQ(stranger.fillColor, (RgbColor{1, 0.5, 0.5}));
    EXPECT_EQ(raceMap.viewFor(*otherGroup->titleAnnotation())->title, "O");

    // A changed fleet rebuilds the groups and takes the old ones off the map.
    const MapOverlayPtr oldOutline = otherGroup->boatOutline();
    document.removeBoat(other);
    raceMap.boatsChanged();
    EXPECT_EQ(raceMap.boatAnnotationGroups().size(), 1u);
    EXPECT_FALSE(map.containsOverlay(oldOutline.get()));
    EXPECT_FALSE(raceMap.lastCameraUpdate() == std::nullopt);
}

TEST(RaceMap, TheRaceAtAnInstant) {
    Document document;
    auto first = std::make_shared<Race>();
    auto second = std::make_shared<Race>();
    const Instant gun = Instant::fromUnix(1686052800);
    first->setTime(gun);
    second->setTime(gun + 3000); // the first, without a finish, runs until gun + 3600
    document.setRaces({second, first});
    EXPECT_EQ(RaceMap::raceAt(document, gun - 601), nullptr);
    EXPECT_EQ(RaceMap::raceAt(document, gun - 600), first.get());
    EXPECT_EQ(RaceMap::raceAt(document, gun + 2399), first.get());
    EXPECT_EQ(RaceMap::raceAt(document, gun + 2400), second.get()); // the later gun wins
    first->setFinishTime(gun + 1000);
    EXPECT_EQ(RaceMap::raceAt(document, gun + 1001), nullptr);

    first->setPinLat(QStringLiteral(" 54.5 "));
    first->setPinLon(QStringLiteral("-10.25"));
    first->setRcLat(QStringLiteral("54.5"));
    EXPECT_FALSE(RaceMap::startLineCoordinatesOf(*first)); // one end half given
    first->setRcLon(QStringLiteral("1e-3"));
    auto ends = RaceMap::startLineCoordinatesOf(*first);
    ASSERT_TRUE(ends);
    EXPECT_EQ((*ends)[0], (MapCoordinate{54.5, -10.25}));
    EXPECT_EQ((*ends)[1], (MapCoordinate{54.5, 0.001}));
}
