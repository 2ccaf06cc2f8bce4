#include "core/UserDefaults.h"
#include "map/Geodesy.h"
#include "map/MapFixtures.h"
#include "map/MapScene.h"
#include "map/MapView.h"
#include "map/RaceMap.h"
#include "map/RaceMapViewController.h"
#include "race/Race.h"

#include <QDir>
#include <QTest>
#include <gtest/gtest.h>

namespace {

const MapCoordinate pin{54.5, 10.2};
const MapCoordinate committee = offsetFrom(pin, 0, 200);
constexpr double gunSeconds = 400;
const RgbColor blue{0, 0, 1};

// The main boat sails north at 1 m/s towards the line, starting 400 m below it and 50 m east of
// the pin; the wind is from `windDirection`.
LogRecipe mainLog(double windDirection) {
    LogRecipe style;
    style.count = 700;
    style.columns = {"Lat",       "Lon",       "Heading",   "TWD",        "TWS",
                     "TargetTWA", "TimeToGun", "BelowLine", "TimeToLine", "TimeToBurn"};
    style.value = [windDirection](const std::string& c, double s) {
        const MapCoordinate p = offsetFrom(pin, -400 + s, 50);
        if (c == "Lat")
            return p.latitude;
        if (c == "Lon")
            return p.longitude;
        if (c == "Heading")
            return 0.0;
        if (c == "TWD")
            return windDirection;
        if (c == "TWS")
            return 12.0;
        if (c == "TargetTWA")
            return 42.0;
        if (c == "TimeToGun")
            return gunSeconds - s;
        if (c == "BelowLine")
            return 100.0;
        if (c == "TimeToLine")
            return 50.0;
        return 10.0; // TimeToBurn
    };
    return style;
}

// The controller with its document handlers within reach, as a window would call them.
struct Controller : RaceMapViewController {
    using RaceMapViewController::didUpdatePlaybackPosition;
};

struct RaceMapWidgetFixture : ::testing::Test {
    QTemporaryDir dir;
    Document document;
    std::shared_ptr<Boat> boat = Boat::create("Main", "M", blue, Boat::DisplayMode::Main);
    std::shared_ptr<Race> race = std::make_shared<Race>();
    LogRecipe style;
    Controller controller;

    void open(double windDirection) {
        style = mainLog(windDirection);
        boat->setBoatLength(10);
        document.setBoats({boat});
        style.addTo(document, boat, dir);
        race->setTime(style.start() + gunSeconds);
        race->setPinLat(QString::number(pin.latitude, 'g', 17));
        race->setPinLon(QString::number(pin.longitude, 'g', 17));
        race->setRcLat(QString::number(committee.latitude, 'g', 17));
        race->setRcLon(QString::number(committee.longitude, 'g', 17));
        document.setRaces({race});
        controller.resize(1000, 800);
        controller.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&controller));
        ASSERT_EQ(controller.scene().viewWidth(), 1000);
        controller.setDocument(&document);
    }

    Instant at(double s) const { return style.start() + s; }
    QImage render() {
        controller.mapView()->finishAnimation();
        return controller.mapView()->grab().toImage();
    }
    QPoint pixelAt(MapCoordinate c) const { return controller.scene().viewPoint(c).toPoint(); }
};

} // namespace

TEST_F(RaceMapWidgetFixture, BoatsAndLinesAreDrawnWhereTheyAre) {
    open(10);
    // 70 s before the gun: close in on the boat, 70 m below the line, with the burn line 120 m below it.
    controller.didUpdatePlaybackPosition(at(330), true);
    const MapScene& scene = controller.scene();
    EXPECT_NEAR(scene.heading(), 10, 1e-9);
    ASSERT_TRUE(controller.raceMap().burnLine());
    const QImage image = render();
    image.save(QDir::temp().filePath("wakeline-racemap.png"));

    const MapCoordinate position = offsetFrom(pin, -70, 50);
    const MapCoordinate middleOfBoat = Geodesy::destination(position, 0, 5);
    EXPECT_EQ(image.pixelColor(pixelAt(middleOfBoat)), QColor(0, 0, 255));
    EXPECT_EQ(image.pixelColor(pixelAt(offsetFrom(pin, 0, 100))), QColor(Qt::white));
    const auto& burn = controller.raceMap().burnLine()->points();
    const MapCoordinate burnMiddle{(burn[0].latitude + burn[1].latitude) / 2,
                                   (burn[0].longitude + burn[1].longitude) / 2};
    EXPECT_EQ(image.pixelColor(pixelAt(burnMiddle)), QColor(Qt::red));
    // The wind barb's shaft leaves the boat's position at the arrow's heading (0: straight down).
    const auto& wind = controller.raceMap().groupFor(boat.get())->windAnnotation();
    const double theta = wind->heading() * M_PI / 180.0;
    const QPointF onShaft =
        scene.viewPoint(wind->coordinate()) + QPointF(std::sin(theta), std::cos(theta)) * 20;
    EXPECT_EQ(image.pixelColor(onShaft.toPoint()), QColor(Qt::black));
}

TEST_F(RaceMapWidgetFixture, TheMapTurnsWithTheWind) {
    // Wind from the east: east is up, so the boat sailing north points left.
    open(90);
    controller.didUpdatePlaybackPosition(at(330), true);
    EXPECT_NEAR(controller.scene().heading(), 90, 1e-9);
    const QImage image = render();
    const MapCoordinate position = offsetFrom(pin, -70, 50);
    const QPoint stern = pixelAt(position);
    const QPoint bow = pixelAt(Geodesy::destination(position, 0, 10));
    EXPECT_LT(bow.x(), stern.x() - 20);
    EXPECT_NEAR(bow.y(), stern.y(), 1);
    EXPECT_EQ(image.pixelColor((stern + bow) / 2), QColor(0, 0, 255));
    // The start line runs up the screen, the burn line beside it, 120 m further south (right).
    const auto& burn = controller.raceMap().burnLine()->points();
    const QPointF burnStart = controller.scene().viewPoint(burn[0]);
    EXPECT_NEAR(burnStart.x() - pixelAt(pin).x(), 120 * 3.2, 2);
    EXPECT_NEAR(burnStart.y(), pixelAt(pin).y(), 1);
    EXPECT_EQ(image.pixelColor((burnStart + QPointF(0, -100)).toPoint()), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(pixelAt(pin) + QPoint(0, -100)), QColor(Qt::white));
    // Where the bow would be on a map with north up there is only sea.
    EXPECT_NE(image.pixelColor(stern + QPoint(0, -12)), QColor(0, 0, 255));
    image.save(QDir::temp().filePath("wakeline-racemap-turned.png"));
}

TEST_F(RaceMapWidgetFixture, TheUsersZoomHoldsUntilTheCameraIsReset) {
    open(10);
    controller.didUpdatePlaybackPosition(at(330), true);
    MapScene& scene = controller.scene();
    const int ownLevel = scene.zoomLevel();
    ASSERT_EQ(controller.raceMap().lastZoomLevel(), ownLevel);

    QTest::keyClick(controller.mapView(), Qt::Key_Minus);
    QTest::keyClick(controller.mapView(), Qt::Key_Minus);
    EXPECT_EQ(scene.zoomLevel(), ownLevel - 2);
    controller.didUpdatePlaybackPosition(at(340), true);
    EXPECT_EQ(scene.zoomLevel(), ownLevel - 2);

    document.setPlaybackPosition(at(340), true);
    QTest::keyClick(controller.mapView(), Qt::Key_0);
    EXPECT_EQ(scene.zoomLevel(), ownLevel);
    // Re-centred on the boat's middle.
    const QPointF middle = scene.viewPoint(Geodesy::destination(offsetFrom(pin, -60, 50), 0, 5));
    EXPECT_NEAR(middle.x(), 500, 1);
    EXPECT_NEAR(middle.y(), 400, 1);
}

TEST_F(RaceMapWidgetFixture, TrackLengthsFollowTheSettingsWhileShown) {
    UserDefaults& defaults = UserDefaults::standard();
    // Times of day on 2001-01-01 in GMT, as the preferences store them.
    defaults.setValue("pastBoatTrackInterval", QDateTime(QDate(2001, 1, 1), QTime(0, 2, 0), Qt::UTC));
    open(10);
    BoatMapAnnotationGroup* group = controller.raceMap().groupFor(boat.get());
    ASSERT_TRUE(group);
    EXPECT_EQ(group->pastBoatTrackInterval, 120);

    defaults.setValue("futureBoatTrackInterval", QDateTime(QDate(2001, 1, 1), QTime(0, 0, 45), Qt::UTC));
    group = controller.raceMap().groupFor(boat.get());
    EXPECT_EQ(group->futureBoatTrackInterval, 45);

    controller.hide();
    defaults.setValue("pastBoatTrackInterval", QDateTime(QDate(2001, 1, 1), QTime(0, 5, 0), Qt::UTC));
    EXPECT_EQ(controller.raceMap().groupFor(boat.get())->pastBoatTrackInterval, 120);
    controller.show();
    EXPECT_EQ(controller.raceMap().groupFor(boat.get())->pastBoatTrackInterval, 300);

    for (const char* key : {"pastBoatTrackInterval", "futureBoatTrackInterval"})
        defaults.remove(key);
}
