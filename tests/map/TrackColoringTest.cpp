#include "map/BoatMapAnnotationGroup.h"
#include "map/MapFixtures.h"
#include "map/MapScene.h"
#include "map/RaceMap.h"
#include "map/TrackColorMap.h"
#include "map/TrackColorScale.h"
#include "map/TrackVertexColors.h"
#include "race/Race.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <limits>

namespace {

using Case = BoatMetric::Case;
constexpr double missing = std::numeric_limits<double>::quiet_NaN();
const MapCoordinate origin{54.5, 10.2};

void expectColor(RgbColor color, int red, int green, int blue) {
    EXPECT_NEAR(color.red * 255, red, 0.5);
    EXPECT_NEAR(color.green * 255, green, 0.5);
    EXPECT_NEAR(color.blue * 255, blue, 0.5);
}

// A boat sailing north at 2 m/s whose `metric` is `value(s)`.
LogRecipe sailing(const std::string& metric, std::function<double(double)> value, std::size_t count = 600) {
    LogRecipe recipe;
    recipe.count = count;
    recipe.columns = {"Lat", "Lon", "Heading", metric};
    recipe.value = [metric, value](const std::string& c, double s) {
        if (c == "Lat")
            return offsetFrom(origin, 2 * s, 0).latitude;
        if (c == "Lon")
            return origin.longitude;
        if (c == "Heading")
            return 0.0;
        return value(s);
    };
    return recipe;
}

} // namespace

TEST(TrackColorScale, SpansTheFifthToNinetyFifthPercentileOfAllBoatsInTheWindow) {
    auto boat = Boat::create("A", "A", {0, 0, 1}, Boat::DisplayMode::Main);
    // Between them, the two logs hold each of 0…100 once inside the window [0 s, 200 s], with
    // missing values in between; outside it, wild values that must not count.
    LogRecipe evens = sailing(
        "BoatSpeed",
        [](double s) {
            if (s > 200)
                return 1000.0;
            return s <= 100 && std::fmod(s, 2) == 0 ? s : missing;
        },
        300);
    LogRecipe odds = sailing(
        "BoatSpeed",
        [](double s) {
            if (s < 50)
                return -1000.0;
            const double t = s - 50;
            return t <= 100 && std::fmod(t, 2) == 1 ? t : missing;
        },
        300);
    odds.startUnix = evens.startUnix - 50;
    const std::vector<std::shared_ptr<const BoatLog>> logs{evens.log(boat), odds.log(boat)};
    const Instant from = evens.start();
    const Instant to = evens.start() + 200;

    auto race = TrackColorScale::ofLogs(Case::BoatSpeed, logs, from, to);
    ASSERT_TRUE(race);
    EXPECT_DOUBLE_EQ(race->low(), 5.0);
    EXPECT_DOUBLE_EQ(race->high(), 95.0);
    EXPECT_EQ(race->metric(), BoatMetric(Case::BoatSpeed));

    // Without a race the logs count whole: the wild values are more than a twentieth of them.
    auto whole = TrackColorScale::ofLogs(Case::BoatSpeed, logs, std::nullopt, std::nullopt);
    ASSERT_TRUE(whole);
    EXPECT_DOUBLE_EQ(whole->low(), -1000.0);
    EXPECT_DOUBLE_EQ(whole->high(), 1000.0);

    // A metric no log has, or one without a value in the window, gives no scale.
    EXPECT_FALSE(TrackColorScale::ofLogs(Case::SOG, logs, from, to));
    EXPECT_FALSE(TrackColorScale::ofLogs(Case::BoatSpeed, logs, to + 1000, to + 2000));
    EXPECT_FALSE(TrackColorScale::ofLogs(Case::BoatSpeed, {}, std::nullopt, std::nullopt));
}

TEST(TrackColorScale, ClampsToTheEndsOfTheColourMapAndFoldsSidedAngles) {
    // The ends are viridis' own; beyond them the colour stays at the end.
    expectColor(TrackColorMap::color(0), 68, 1, 84);
    expectColor(TrackColorMap::color(1), 253, 231, 37);
    EXPECT_EQ(TrackColorMap::color(-3), TrackColorMap::color(0));
    EXPECT_EQ(TrackColorMap::color(7), TrackColorMap::color(1));
    expectColor(TrackColorMap::color(0.5), 33, 145, 140);
    EXPECT_EQ(TrackColorMap::levelColor(TrackColorMap::levelCount - 1), TrackColorMap::color(1));
    EXPECT_EQ((*TrackColorMap::palette())[TrackColorMap::levelCount - 1], 0xfffde725u);
    EXPECT_EQ(TrackColorMap::palette()->size(), std::size_t(TrackColorMap::levelCount));

    const TrackColorScale speed(Case::BoatSpeed, 5, 15);
    const int top = TrackColorMap::levelCount - 1;
    EXPECT_EQ(speed.level(5), 0);
    EXPECT_EQ(speed.level(15), top);
    EXPECT_EQ(speed.level(-3), 0);
    EXPECT_EQ(speed.level(40), top);
    EXPECT_DOUBLE_EQ(speed.fraction(12.5), 0.75);
    EXPECT_EQ(speed.level(missing), TrackColorMap::noLevel);
    EXPECT_EQ(speed.color(40), TrackColorMap::color(1));

    // Port and starboard alike: TWA −150, 150 and 210 (= −150) are one colour.
    const TrackColorScale twa(Case::TWA, 40, 150);
    EXPECT_EQ(twa.level(-150), top);
    EXPECT_EQ(twa.level(150), top);
    EXPECT_EQ(twa.level(210), top);
    EXPECT_DOUBLE_EQ(twa.fraction(-95), 0.5);
    EXPECT_DOUBLE_EQ(twa.fraction(265), 0.5);
    EXPECT_EQ(twa.level(-40), 0);
    EXPECT_TRUE(TrackColorScale::foldsSign(Case::Heel));
    // A negative VMG is a boat going the wrong way: it keeps its sign, as do directions.
    EXPECT_FALSE(TrackColorScale::foldsSign(Case::VMG));
    EXPECT_FALSE(TrackColorScale::foldsSign(Case::TWD));
    const TrackColorScale vmg(Case::VMG, -5, 5);
    EXPECT_EQ(vmg.level(-5), 0);
    EXPECT_EQ(vmg.level(5), top);

    // A whole race at one value has no spread: the middle of the scale.
    const TrackColorScale steady(Case::BoatSpeed, 6.5, 6.5);
    EXPECT_DOUBLE_EQ(steady.fraction(6.5), 0.5);
    EXPECT_DOUBLE_EQ(steady.fraction(7), 1.0);

    // The range of TWA sailed on both tacks is that of its size.
    auto boat = Boat::create("A", "A", {0, 0, 1}, Boat::DisplayMode::Main);
    LogRecipe tacking = sailing(
        "TWA", [](double s) { return (std::fmod(s, 2) == 0 ? 1 : -1) * (40 + s); }, 101);
    auto scale = TrackColorScale::ofLogs(Case::TWA, {tacking.log(boat)}, std::nullopt, std::nullopt);
    ASSERT_TRUE(scale);
    EXPECT_DOUBLE_EQ(scale->low(), 45);
    EXPECT_DOUBLE_EQ(scale->high(), 135);
}

TEST(BoatMapAnnotationGroup, ColoursThePastTrackReadingOnlyTheRecordsNewToIt) {
    auto boat = Boat::create("A", "A", {0.2, 0.4, 0.6}, Boat::DisplayMode::Main);
    // BSP rises 0.1 kn a second; the instrument drops out from 120 s to 124 s.
    LogRecipe recipe = sailing("BoatSpeed", [](double s) { return s >= 120 && s < 125 ? missing : s / 10; });
    auto log = recipe.log(boat);
    auto scale = std::make_shared<const TrackColorScale>(Case::BoatSpeed, 0, 60);
    MapScene map;
    BoatMapAnnotationGroup group(boat);
    group.pastBoatTrackInterval = 100;
    group.futureBoatTrackInterval = 0;
    group.setTrackColorScale(scale);

    // Each vertex has the level of its record's value, give or take the one step that a level may
    // hold on to; a missing one that of the vertex before.
    auto expectLevels = [&](double at) {
        SCOPED_TRACE(at);
        const auto& levels = group.boatTrackLineLevels();
        ASSERT_TRUE(levels && group.boatTrackLine());
        ASSERT_EQ(levels->size(), group.boatTrackLine()->points().size());
        double lastKnown = missing;
        for (std::size_t i = 0; i + 1 < levels->size(); ++i) {
            const double s = at - 100 + double(i);
            if (!(s >= 120 && s < 125) || std::isnan(lastKnown))
                lastKnown = s / 10;
            ASSERT_LE(std::abs(int((*levels)[i]) - int(scale->level(lastKnown))), 1) << i;
        }
        // The last vertex is the boat at `at` itself.
        EXPECT_LE(std::abs(int(levels->back()) - int(scale->level(at / 10))), 1);
    };

    group.update(map, log.get(), recipe.start() + 200.0);
    expectLevels(200);
    EXPECT_EQ(group.trackVertexColors().recordsColored(), 101);
    // Playback: one record is new.
    group.update(map, log.get(), recipe.start() + 201.0);
    expectLevels(201);
    EXPECT_EQ(group.trackVertexColors().recordsColored(), 102);
    // A step back: the 51 records that come in at the front.
    group.update(map, log.get(), recipe.start() + 150.0);
    expectLevels(150);
    EXPECT_EQ(group.trackVertexColors().recordsColored(), 153);
    // A jump: all of them.
    group.update(map, log.get(), recipe.start() + 500.0);
    expectLevels(500);
    EXPECT_EQ(group.trackVertexColors().recordsColored(), 254);

    MapOverlayRenderer colored = group.renderer(*group.boatTrackLine());
    EXPECT_EQ(colored.vertexColorIndices, group.boatTrackLineLevels());
    EXPECT_EQ(colored.palette, TrackColorMap::palette());
    EXPECT_EQ(colored.lineWidth, BoatMapAnnotationGroup::coloredTrackLineWidth);

    // Back to the boat's colour.
    group.setTrackColorScale(nullptr);
    group.update(map, log.get(), recipe.start() + 501.0);
    EXPECT_FALSE(group.boatTrackLineLevels());
    MapOverlayRenderer plain = group.renderer(*group.boatTrackLine());
    EXPECT_FALSE(plain.vertexColorIndices);
    EXPECT_EQ(plain.lineWidth, 1.0);
    EXPECT_EQ(plain.strokeColor, boat->color());

    // A boat whose log lacks the metric keeps its colour while the others are coloured.
    LogRecipe blind = sailing("SOG", [](double) { return 5.0; });
    auto blindLog = blind.log(boat);
    group.setTrackColorScale(scale);
    group.update(map, blindLog.get(), blind.start() + 200.0);
    ASSERT_TRUE(group.boatTrackLine());
    EXPECT_FALSE(group.boatTrackLineLevels());
    EXPECT_FALSE(group.renderer(*group.boatTrackLine()).vertexColorIndices);
}

TEST(RaceMap, WorksOutTheColourScaleOncePerRaceAndKeepsBoatColoursWithoutTheMetric) {
    QTemporaryDir dir;
    Document document;
    auto first = Boat::create("First", "1", {0, 0, 1}, Boat::DisplayMode::Main);
    auto second = Boat::create("Second", "2", {0, 1, 0}, Boat::DisplayMode::Other);
    document.setBoats({first, second});
    // BSP 5 kn in the first race (100 s to 300 s), 10 kn in the second (400 s to 600 s), the
    // second boat always a knot faster.
    auto speed = [](double offset) { return [offset](double s) { return (s < 350 ? 5.0 : 10.0) + offset; }; };
    sailing("BoatSpeed", speed(0), 700).addTo(document, first, dir);
    sailing("BoatSpeed", speed(1), 700).addTo(document, second, dir);
    const Instant start = sailing("BoatSpeed", speed(0)).start();
    auto raceAt = [&](double gun, double finish) {
        auto race = std::make_shared<Race>();
        race->setTime(start + gun);
        race->setFinishTime(start + finish);
        return race;
    };
    document.setRaces({raceAt(100, 300), raceAt(400, 600)});

    MapScene map;
    map.setViewSize(800, 600);
    RaceMap raceMap(map);
    raceMap.setTrackIntervals({60, 0, 60, 0});
    raceMap.setDocument(&document);
    EXPECT_FALSE(raceMap.trackColorScale());

    raceMap.setTrackColorMetric(BoatMetric(Case::BoatSpeed));
    raceMap.update(start + 200, false);
    const auto firstRace = raceMap.trackColorScale();
    ASSERT_TRUE(firstRace);
    EXPECT_DOUBLE_EQ(firstRace->low(), 5);
    EXPECT_DOUBLE_EQ(firstRace->high(), 6);
    for (const auto& [boat, group] : raceMap.boatAnnotationGroups()) {
        EXPECT_EQ(group->trackColorScale(), firstRace);
        EXPECT_TRUE(group->boatTrackLineLevels());
    }
    raceMap.update(start + 250, false);
    EXPECT_EQ(raceMap.trackColorScale(), firstRace);

    raceMap.update(start + 500, false);
    const auto secondRace = raceMap.trackColorScale();
    ASSERT_TRUE(secondRace);
    EXPECT_DOUBLE_EQ(secondRace->low(), 10);
    EXPECT_DOUBLE_EQ(secondRace->high(), 11);
    // Back in the first race its scale is the one already worked out.
    raceMap.update(start + 200, true);
    EXPECT_EQ(raceMap.trackColorScale(), firstRace);
    // After the last race the logs count whole.
    raceMap.update(start + 650, false);
    ASSERT_TRUE(raceMap.trackColorScale());
    EXPECT_DOUBLE_EQ(raceMap.trackColorScale()->low(), 5);
    EXPECT_DOUBLE_EQ(raceMap.trackColorScale()->high(), 11);

    // A metric that no log has: no scale, and every track in its boat's colour.
    raceMap.setTrackColorMetric(BoatMetric(Case::SOG));
    raceMap.update(start + 200, false);
    EXPECT_FALSE(raceMap.trackColorScale());
    for (const auto& [boat, group] : raceMap.boatAnnotationGroups()) {
        ASSERT_TRUE(group->boatTrackLine());
        EXPECT_FALSE(group->boatTrackLineLevels());
        EXPECT_EQ(raceMap.rendererFor(*group->boatTrackLine()).strokeColor, boat->color());
    }
    raceMap.setTrackColorMetric(std::nullopt);
    EXPECT_FALSE(raceMap.trackColorScale());
}
