#include "app/StandardViews.h"
#include "boatlog/BoatLogView.h"
#include "boatlog/LogFileAsset.h"
#include "document/BoatLogLookup.h"
#include "document/Document.h"
#include "presentation/MetricsGraphView.h"
#include "presentation/MetricsGraphViewController.h"
#include "presentation/PresentationWindowController.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QApplication>
#include <QMouseEvent>
#include <QTemporaryDir>
#include <QUuid>
#include <QWheelEvent>
#include <cmath>
#include <gtest/gtest.h>

namespace {

const double t0 = 1686052800.0; // 2023-06-06 12:00:00 UTC

Instant at(double seconds) {
    return Instant::fromUnix(t0 + seconds);
}

// Two boats sailing ten minutes at 1 Hz; the second one runs dead downwind, its wind angle
// swinging through 180°. The wind veers steadily. A race from 300 s to 500 s, a tack at 200 s.
struct GraphFleet {
    QTemporaryDir dir;
    Document document;
    std::shared_ptr<Boat> stella =
        Boat::create("Stella Maris", "STM", {0.0, 0.4, 0.8}, Boat::DisplayMode::Main);
    std::shared_ptr<Boat> blue = Boat::create("Blue Note", "", {0.9, 0.5, 0.0}, Boat::DisplayMode::Other);

    GraphFleet() {
        LogFixture stellaLog, blueLog;
        stellaLog.columns = blueLog.columns = {"BoatSpeed", "TWA", "TWS", "TWD"};
        for (int s = 0; s <= 600; ++s) {
            stellaLog.times.push_back(t0 + s);
            blueLog.times.push_back(t0 + s);
            stellaLog.values.insert(
                stellaLog.values.end(),
                {6.0 + 2.0 * std::sin(s / 30.0), 40.0 + 5.0 * std::sin(s / 20.0), 12.0, 200.0 + s / 4.0});
            blueLog.values.insert(
                blueLog.values.end(),
                {5.0 + 0.5 * std::cos(s / 25.0), 175.0 + 10.0 * std::sin(s / 15.0), 12.5, 201.0 + s / 4.0});
        }
        addLog(stella, stellaLog, "stella.hdf5");
        addLog(blue, blueLog, "blue.hdf5");
        document.setBoats({stella, blue});
        auto race = std::make_shared<Race>();
        race->setTime(at(300));
        race->setFinishTime(at(500));
        document.setRaces({race});
        document.setTackTimes({at(200)});
    }

    void addLog(const std::shared_ptr<Boat>& boat, const LogFixture& log, const QString& name) {
        ASSERT_TRUE(log.addTo(document, boat, dir.filePath(name)));
    }
};

// A graph on screen in a window of the fleet's document.
struct ShownGraph {
    GraphFleet& fleet;
    PresentationWindowController window;
    MetricsGraphViewController controller;

    explicit ShownGraph(GraphFleet& f) : fleet(f) {
        window.setCurrentDocument(&fleet.document);
        controller.setWindowController(&window);
        controller.resize(800, 300);
        controller.show();
        QApplication::processEvents();
    }
    MetricsGraphView* view() const { return controller.graphView(); }
};

void sendMouse(QWidget* widget, QEvent::Type type, double x, Qt::MouseButtons buttons) {
    const QPointF point(x, widget->height() / 2.0);
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, point, widget->mapToGlobal(point), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

void sendWheel(QWidget* widget, double x, int notches) {
    const QPointF point(x, widget->height() / 2.0);
    QWheelEvent event(point, widget->mapToGlobal(point), QPoint(), QPoint(0, 120 * notches), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &event);
}

bool isRed(QRgb c) {
    return qRed(c) > 200 && qGreen(c) < 80 && qBlue(c) < 80;
}

} // namespace

TEST(MetricsGraph, ClicksAndDragsSeekAndTheWheelAndButtonsSetTheWindow) {
    GraphFleet fleet;
    ShownGraph graph(fleet);
    MetricsGraphView* view = graph.view();
    fleet.document.setPlaybackPosition(at(300), true);
    ASSERT_TRUE(view->isFollowing());
    ASSERT_EQ(view->window(), std::pair(at(180), at(420))); // ± 2 min
    const QRect plot = view->plotRect();

    // A quarter of the way across is a minute before the position.
    sendMouse(view, QEvent::MouseButtonPress, plot.left() + plot.width() / 4.0, Qt::LeftButton);
    EXPECT_NEAR(*fleet.document.eventPlaybackPosition() - at(240), 0.0, 1e-6);
    // While dragging, the window holds still; past the right edge the seek holds at the edge.
    sendMouse(view, QEvent::MouseMove, plot.left() + plot.width(), Qt::LeftButton);
    EXPECT_NEAR(*fleet.document.eventPlaybackPosition() - at(420), 0.0, 1e-6);
    sendMouse(view, QEvent::MouseMove, view->width() + 50.0, Qt::LeftButton);
    EXPECT_NEAR(*fleet.document.eventPlaybackPosition() - at(420), 0.0, 1e-6);
    EXPECT_EQ(view->window(), std::pair(at(180), at(420)));
    // Let go, the window centres on the new position again.
    sendMouse(view, QEvent::MouseButtonRelease, view->width() + 50.0, Qt::NoButton);
    EXPECT_EQ(view->window(), std::pair(at(300), at(540)));

    // A notch of the wheel narrows a following window about the position.
    sendWheel(view, plot.left() + 10.0, 1);
    EXPECT_DOUBLE_EQ(view->halfWidth(), 96.0);
    EXPECT_TRUE(view->isFollowing());

    // The whole race at the position, with the timeline's lead-in and run-out; the wheel then
    // zooms about the pointer.
    fleet.document.setPlaybackPosition(at(350), true);
    graph.controller.showWholeRace();
    ASSERT_FALSE(view->isFollowing());
    EXPECT_EQ(view->window(), std::pair(at(300 - 600), at(500 + 60)));
    const double x = view->xAt(at(400));
    sendWheel(view, x, 1);
    EXPECT_NEAR(view->timeAt(x) - at(400), 0.0, 1e-6);
    EXPECT_NEAR(view->window()->second - view->window()->first, 0.8 * 860.0, 1e-6);
    // A position outside the race's window moves on: after the last race, the whole event.
    fleet.document.setPlaybackPosition(at(590), true);
    EXPECT_EQ(view->window(), std::pair(*fleet.document.eventStartTime(), *fleet.document.eventEndTime()));
    graph.controller.followPosition();
    EXPECT_EQ(view->window(), std::pair(at(590 - 96), at(590 + 96)));
}

TEST(MetricsGraph, ShowsEachLinesValueAtThePositionAsTheMetricsTableReadsIt) {
    GraphFleet fleet;
    ShownGraph graph(fleet);
    // By default: boat speed and wind angle of the main boat (there is no secondary one).
    EXPECT_EQ(graph.controller.shownMetrics(), QStringList({"BoatSpeed", "TWA"}));
    ASSERT_EQ(graph.controller.shownBoats().size(), 1u);
    EXPECT_EQ(graph.controller.shownBoats()[0], fleet.stella);

    graph.controller.setGraphBoats({"Blue Note", "Stella Maris", "Nobody"});
    graph.controller.setGraphMetrics({"TWA", "BoatSpeed", "Heel"});
    // The main boat first, whatever the order chosen; names the document lacks are passed over.
    ASSERT_EQ(graph.controller.shownBoats(), (std::vector{fleet.stella, fleet.blue}));

    fleet.document.setPlaybackPosition(at(120.5), true);
    auto values = graph.view()->cursorValues();
    ASSERT_EQ(values.size(), 6u);
    for (const auto& value : values) {
        const auto& boat = graph.controller.shownBoats()[std::size_t(value.boat)];
        MetricPresentation presentation(
            BoatMetric(graph.controller.shownMetrics()[value.lane].toStdString()));
        auto view = BoatLogLookup::view(fleet.document, boat, at(120.5));
        ASSERT_TRUE(view);
        EXPECT_EQ(value.text, presentation.text(view->value(presentation.metric())))
            << value.lane << " " << value.boat;
    }
    // Blended between records, in display units: Blue Note's 175° + 10 sin(8.03) is −175°.
    EXPECT_EQ(values[3].text, "-175");
    EXPECT_EQ(values[5].text, MetricPresentation::noValueText); // no heel in the logs
    EXPECT_FALSE(values[5].value);

    // Past the logs, no values.
    fleet.document.setPlaybackPosition(at(700), true);
    for (const auto& value : graph.view()->cursorValues())
        EXPECT_EQ(value.text, MetricPresentation::noValueText);
}

TEST(MetricsGraph, DrawsEachBoatInItsColourInItsLaneAndThePositionAsARedLine) {
    GraphFleet fleet;
    ShownGraph graph(fleet);
    graph.controller.setGraphBoats({"Stella Maris", "Blue Note"});
    fleet.document.setPlaybackPosition(at(300), true);
    MetricsGraphView* view = graph.view();
    const QImage image = view->grab().toImage().convertToFormat(QImage::Format_RGB32);
    const QRect plot = view->plotRect();

    // The red line halfway across a following window, through every lane.
    const int redX = int(std::floor(view->xAt(at(300))));
    EXPECT_NEAR(redX, plot.left() + plot.width() / 2, 1);
    for (int lane = 0; lane < 2; ++lane) {
        const QRect data = view->laneDataRect(lane);
        ASSERT_FALSE(data.isEmpty());
        for (int y = data.top(); y <= data.bottom(); y += 5)
            EXPECT_TRUE(isRed(image.pixel(redX, y))) << lane << " " << y;
    }
    // Nowhere else: a column well left of it has no red.
    for (int y = plot.top(); y <= plot.bottom(); ++y)
        EXPECT_FALSE(isRed(image.pixel(redX - 40, y))) << y;

    // Each boat's colour in each lane, left of the position where no value tag lies.
    for (const auto& boat : {fleet.stella, fleet.blue}) {
        const RgbColor rgb = boat->color();
        const QRgb color = QColor::fromRgbF(float(rgb.red), float(rgb.green), float(rgb.blue)).rgb();
        for (int lane = 0; lane < 2; ++lane) {
            const QRect data = view->laneDataRect(lane);
            int found = 0;
            for (int y = data.top(); y <= data.bottom(); ++y)
                for (int x = data.left(); x < redX - 2; ++x)
                    found += image.pixel(x, y) == color;
            EXPECT_GT(found, 50) << qPrintable(boat->fullName()) << " lane " << lane;
        }
    }

    // The wind angle through 180° leaves the lane at one edge and comes back at the other: no
    // column of the lane is coloured from top to bottom.
    const QRect twa = view->laneDataRect(1);
    const QRgb blue = QColor::fromRgbF(0.9f, 0.5f, 0.0f).rgb();
    for (int x = twa.left(); x < redX - 2; ++x) {
        int coloured = 0;
        for (int y = twa.top(); y <= twa.bottom(); ++y)
            coloured += image.pixel(x, y) == blue;
        EXPECT_LT(coloured, twa.height() / 2) << x;
    }
}

TEST(MetricsGraph, APlayingGraphLooksAsIfDrawnAfresh) {
    // Playing on, then stepping back: the data and the image follow the window in slides, past
    // the race start, the tack, the wind angle's crossings and the end of the logs, while the
    // veering wind's scale moves along. Now and then a second graph draws the same window from
    // scratch. Its scales come from the span it reads, centred on the position, and may differ
    // from those of the one playing; where they agree, so must every pixel.
    GraphFleet fleet;
    ShownGraph playing(fleet);
    ShownGraph fresh(fleet);
    for (ShownGraph* graph : {&playing, &fresh}) {
        graph->controller.setGraphBoats({"Stella Maris", "Blue Note"});
        graph->controller.setGraphMetrics({"TWA", "BoatSpeed", "TWD"});
    }
    fleet.document.setPlaybackPosition(at(100), true);
    const auto scale = playing.view()->laneAxis(2);
    int compared = 0;
    auto compare = [&](double t) {
        fresh.view()->reload();
        const QImage a = playing.view()->grab().toImage();
        const QImage b = fresh.view()->grab().toImage();
        for (int lane = 0; lane < 3; ++lane)
            if (playing.view()->laneAxis(lane) != fresh.view()->laneAxis(lane))
                return;
        ASSERT_EQ(a.size(), b.size());
        int differing = 0;
        for (int y = 0; y < a.height(); ++y)
            for (int x = 0; x < a.width(); ++x)
                differing += a.pixel(x, y) != b.pixel(x, y);
        EXPECT_EQ(differing, 0) << "at " << t << " s";
        ++compared;
    };
    int step = 0;
    auto play = [&](double t) {
        fleet.document.setPlaybackPosition(at(t), false);
        playing.view()->repaint();
        if (++step % 37 == 0)
            compare(t);
    };
    double t = 100.0;
    for (; t < 560.0; t += 0.7)
        play(t);
    for (; t > 420.0; t -= 3.1)
        play(t);
    EXPECT_NE(playing.view()->laneAxis(2), scale);
    EXPECT_GE(compared, 8);
}

TEST(MetricsGraph, TheWindowKeepsAndSavesTheGraphsChoices) {
    StandardViews::registerAll();
    GraphFleet fleet;
    PresentationWindowController window;
    window.setCurrentDocument(&fleet.document);
    window.resize(1000, 800);
    window.show();
    window.restoreState({{"layout", "mapGraphTimeline"},
                         {"graphMetrics", QVariantList{"TWS", "BoatSpeed"}},
                         {"graphBoats", QVariantList{"Blue Note"}}});
    QApplication::processEvents();
    auto* graph = window.rootView<MetricsGraphViewController>();
    ASSERT_TRUE(graph);
    EXPECT_EQ(graph->objectName(), "MetricsGraph");
    EXPECT_EQ(graph->shownMetrics(), QStringList({"TWS", "BoatSpeed"}));
    ASSERT_EQ(graph->shownBoats(), std::vector{fleet.blue});

    // A band between the map and the timeline.
    ASSERT_EQ(window.rootViews().size(), 3u);
    const int mapBottom =
        window.rootViews()[0]->mapTo(&window, QPoint(0, window.rootViews()[0]->height())).y();
    const int graphTop = graph->mapTo(&window, QPoint(0, 0)).y();
    const int graphBottom = graph->mapTo(&window, QPoint(0, graph->height())).y();
    const int timelineTop = window.rootViews()[2]->mapTo(&window, QPoint(0, 0)).y();
    EXPECT_LE(mapBottom, graphTop);
    EXPECT_LE(graphBottom, timelineTop);
    EXPECT_GT(graph->height(), 120);

    // A choice made in the graph is the window's; it outlasts a layout without a graph.
    graph->setGraphMetrics({"TWA"});
    window.restoreState({{"layout", "mapTimeline"}});
    EXPECT_FALSE(window.rootView<MetricsGraphViewController>());
    QVariantMap saved = window.stateRecord();
    EXPECT_EQ(saved.value("graphMetrics").toStringList(), QStringList({"TWA"}));
    EXPECT_EQ(saved.value("graphBoats").toStringList(), QStringList({"Blue Note"}));

    // Restored into another window; keys of the wrong type are passed over.
    PresentationWindowController next;
    next.setCurrentDocument(&fleet.document);
    saved.insert("layout", "videoGraphTimeline");
    next.restoreState(saved);
    next.restoreState({{"graphMetrics", "TWS"}, {"graphBoats", QVariantList{"Blue Note", 7}}});
    auto* restored = next.rootView<MetricsGraphViewController>();
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->graphMetrics(), QStringList({"TWA"}));
    EXPECT_EQ(restored->graphBoats(), QStringList({"Blue Note"}));
    EXPECT_EQ(next.stateRecord().value("layout").toString(), "videoGraphTimeline");
}
