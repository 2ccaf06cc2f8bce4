#include "app/StandardViews.h"
#include "core/UserDefaults.h"
#include "map/MapFixtures.h"
#include "map/MapScene.h"
#include "map/MapView.h"
#include "map/RaceMap.h"
#include "map/RaceMapViewController.h"
#include "map/TrackColorLegend.h"
#include "map/TrackColorScale.h"
#include "presentation/PresentationWindowController.h"

#include <QDir>
#include <QMenu>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

namespace {

const MapCoordinate origin{54.5, 10.2};
const QColor lowEnd(68, 1, 84);
const QColor highEnd(253, 231, 37);

// The boat sails north at 1 m/s, at 5 kn for five minutes and then at 9 kn.
LogRecipe speedingUp() {
    LogRecipe recipe;
    recipe.count = 700;
    recipe.columns = {"Lat", "Lon", "Heading", "BoatSpeed"};
    recipe.value = [](const std::string& c, double s) {
        if (c == "Lat")
            return offsetFrom(origin, s, 0).latitude;
        if (c == "Lon")
            return origin.longitude;
        if (c == "Heading")
            return 0.0;
        return s < 300 ? 5.0 : 9.0;
    };
    return recipe;
}

bool near(QColor a, QColor b, int tolerance) {
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

// The boat's blue on a hairline over the sea, which an antialiased line only half covers.
bool boatBlue(QColor color) {
    return color.blue() > 200 && color.red() < 150 && color.green() < 150;
}

bool holds(const QImage& image, const QRect& area, QColor color, int tolerance = 12) {
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (near(image.pixelColor(x, y), color, tolerance))
                return true;
    return false;
}

struct TrackColorFixture : ::testing::Test {
    QTemporaryDir dir;
    Document document;
    std::shared_ptr<Boat> boat = Boat::create("Main", "M", {0, 0, 1}, Boat::DisplayMode::Main);
    LogRecipe recipe = speedingUp();

    void SetUp() override {
        boat->setBoatLength(10);
        document.setBoats({boat});
        recipe.addTo(document, boat, dir);
        // Five minutes of past track, a time of day in GMT as the preferences store it.
        UserDefaults::standard().setValue("pastBoatTrackInterval",
                                          QDateTime(QDate(2001, 1, 1), QTime(0, 5, 0), Qt::UTC));
    }
    void TearDown() override { UserDefaults::standard().remove("pastBoatTrackInterval"); }
    Instant at(double s) const { return recipe.start() + s; }
};

QAction* actionNamed(QMenu& menu, const QString& text) {
    for (QAction* action : menu.actions())
        if (action->text() == text)
            return action;
    return nullptr;
}

} // namespace

TEST_F(TrackColorFixture, TheTrackShowsItsValuesInColourWithALegend) {
    RaceMapViewController controller;
    controller.resize(800, 600);
    controller.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&controller));
    // The document opens at the position: the map frames the boat there.
    document.setPlaybackPosition(at(400), true);
    controller.setTrackColorMetric("BoatSpeed");
    controller.setDocument(&document);
    controller.mapView()->finishAnimation();
    const QImage image = controller.mapView()->grab().toImage();
    image.save(QDir::temp().filePath("wakeline-racemap-colored.png"));

    // The last five minutes of the track: 5 kn up to 300 s, the scale's low end, then 9 kn, its
    // high end (no race, so the logs count whole).
    auto pixelAt = [&](double s) { return controller.scene().viewPoint(offsetFrom(origin, s, 0)).toPoint(); };
    // The line is two pixels wide: a pixel it covers fully lies at or beside its middle.
    auto around = [&](double s) { return QRect(pixelAt(s) - QPoint(1, 1), QSize(3, 3)); };
    EXPECT_TRUE(holds(image, around(330), highEnd, 3));
    EXPECT_TRUE(holds(image, around(200), lowEnd, 3));

    // The legend sits in the top left corner, clear of the north arrow and the scale bar, and
    // shows both ends of the scale with their values.
    TrackColorLegend* legend = controller.trackColorLegend();
    ASSERT_TRUE(legend->isVisible());
    const QRect box = legend->geometry();
    EXPECT_LT(box.right(), 400);
    EXPECT_LT(box.bottom(), 300);
    EXPECT_GT(box.width(), 100);
    EXPECT_EQ(legend->title(), "BSP");
    EXPECT_EQ(legend->lowText(), QString("5.00") + QChar(0x202f) + "kn");
    EXPECT_EQ(legend->highText(), QString("9.00") + QChar(0x202f) + "kn");
    EXPECT_TRUE(holds(image, box, highEnd));
    EXPECT_TRUE(holds(image, box, lowEnd));

    // Back to the boat's colour: no legend, a blue track.
    controller.setTrackColorMetric({});
    const QImage plain = controller.mapView()->grab().toImage();
    EXPECT_FALSE(legend->isVisible());
    EXPECT_FALSE(holds(plain, box, highEnd));
    EXPECT_TRUE(boatBlue(plain.pixelColor(pixelAt(330))));

    // A metric the logs lack leaves the track blue and says so.
    controller.setTrackColorMetric("SOG");
    EXPECT_TRUE(legend->isVisible());
    EXPECT_EQ(legend->title(), "No SOG in the logs");
    EXPECT_TRUE(legend->lowText().isEmpty());
    EXPECT_TRUE(boatBlue(controller.mapView()->grab().toImage().pixelColor(pixelAt(330))));
}

TEST_F(TrackColorFixture, TheContextMenuChoosesTheMetric) {
    RaceMapViewController controller;
    controller.setDocument(&document);
    QSignalSpy changes(&controller, &RaceMapViewController::trackColorMetricChanged);
    QMenu menu;
    controller.addTrackColorMenu(&menu);
    QAction* entry = actionNamed(menu, "Colour Track By");
    ASSERT_TRUE(entry && entry->menu());
    QMenu& choices = *entry->menu();
    ASSERT_TRUE(actionNamed(choices, "Boat Colour"));
    EXPECT_TRUE(actionNamed(choices, "Boat Colour")->isChecked());
    // Only what the logs hold can be chosen.
    ASSERT_TRUE(actionNamed(choices, "BSP") && actionNamed(choices, "TWA"));
    EXPECT_TRUE(actionNamed(choices, "BSP")->isEnabled());
    EXPECT_FALSE(actionNamed(choices, "TWA")->isEnabled());

    actionNamed(choices, "BSP")->trigger();
    EXPECT_EQ(controller.trackColorMetric(), "BoatSpeed");
    ASSERT_EQ(changes.count(), 1);
    EXPECT_EQ(changes.at(0).at(0).toString(), "BoatSpeed");
    EXPECT_TRUE(actionNamed(choices, "BSP")->isChecked());
    EXPECT_FALSE(actionNamed(choices, "Boat Colour")->isChecked());
    actionNamed(choices, "Boat Colour")->trigger();
    EXPECT_EQ(controller.trackColorMetric(), "");
    EXPECT_EQ(changes.count(), 2);
}

TEST_F(TrackColorFixture, TheWindowKeepsTheChoiceAcrossLayoutsAndInItsState) {
    StandardViews::registerAll();
    PresentationWindowController window;
    window.setCurrentDocument(&document);
    window.setLayout(PresentationLayout::mapTimeline);
    window.applyLayout();
    auto* map = window.rootView<RaceMapViewController>();
    ASSERT_TRUE(map);
    map->setTrackColorMetric("TWA");
    EXPECT_EQ(window.trackColorMetric(), "TWA");

    // A new layout makes a new map view, which takes the window's choice.
    window.applyLayout();
    map = window.rootView<RaceMapViewController>();
    ASSERT_TRUE(map);
    EXPECT_EQ(map->trackColorMetric(), "TWA");

    const QVariantMap record = window.stateRecord();
    EXPECT_EQ(record.value("trackColorMetric"), QVariant(QString("TWA")));
    PresentationWindowController copy;
    copy.setCurrentDocument(&document);
    copy.restoreState(record);
    ASSERT_TRUE(copy.rootView<RaceMapViewController>());
    EXPECT_EQ(copy.rootView<RaceMapViewController>()->trackColorMetric(), "TWA");

    // A missing key or one of the wrong type changes nothing; an empty one is the boat colour.
    copy.restoreState({{"trackColorMetric", 5}});
    copy.restoreState({{"layout", "mapTimeline"}});
    EXPECT_EQ(copy.rootView<RaceMapViewController>()->trackColorMetric(), "TWA");
    copy.restoreState({{"trackColorMetric", ""}});
    EXPECT_EQ(copy.trackColorMetric(), "");
    EXPECT_EQ(copy.rootView<RaceMapViewController>()->trackColorMetric(), "");
    EXPECT_EQ(copy.stateRecord().value("trackColorMetric"), QVariant(QString("")));
}
