#include "map/MapView.h"

#include "map/MapAnnotation.h"
#include "map/MapScene.h"
#include "map/MapViewDelegate.h"
#include "map/OfflineBackground.h"
#include "map/WindAnnotationView.h"

#include <QPainter>
#include <QTest>
#include <cmath>
#include <gtest/gtest.h>

namespace {

// Every path element as a point, for comparing geometry.
std::vector<QPointF> elements(const QPainterPath& path) {
    std::vector<QPointF> points;
    for (int i = 0; i < path.elementCount(); ++i)
        points.emplace_back(path.elementAt(i).x, path.elementAt(i).y);
    return points;
}

void expectPoint(QPointF actual, QPointF expected) {
    EXPECT_NEAR(actual.x(), expected.x(), 1e-3);
    EXPECT_NEAR(actual.y(), expected.y(), 1e-3);
}

// Draws whatever it is told to, for checks of the drawing alone.
struct FixedDelegate : MapViewDelegate {
    MapOverlayRenderer renderer;
    std::optional<MapAnnotationViewStyle> style;
    MapOverlayRenderer rendererFor(const MapOverlay&) override { return renderer; }
    std::optional<MapAnnotationViewStyle> viewFor(const MapAnnotation&) override { return style; }
};

} // namespace

TEST(MapViewTest, WindBarbGeometry) {
    const QSizeF frame(80, 80);
    // No wind: the shaft alone, 30 points (half the height less 10) straight down for heading 0…
    auto calm = elements(WindAnnotationView::barbPath(frame, 0, 0));
    ASSERT_EQ(calm.size(), 2u);
    expectPoint(calm[0], {40, 40});
    expectPoint(calm[1], {40, 70});
    // …and to the right for heading 90.
    expectPoint(elements(WindAnnotationView::barbPath(frame, 90, 0))[1], {70, 40});

    // 10 knots: one full barb of 10 points from the shaft's end, 60° round from the shaft.
    auto ten = elements(WindAnnotationView::barbPath(frame, 0, 10));
    ASSERT_EQ(ten.size(), 4u);
    expectPoint(ten[2], {40, 70});
    expectPoint(ten[3], {40 + 10 * std::sqrt(3.0) / 2, 75});

    // 25 knots: two full barbs and a half one, each 5 points further in.
    auto gale = elements(WindAnnotationView::barbPath(frame, 0, 25));
    ASSERT_EQ(gale.size(), 8u);
    expectPoint(gale[4], {40, 65});
    expectPoint(gale[5], {40 + 10 * std::sqrt(3.0) / 2, 70});
    expectPoint(gale[6], {40, 60});
    expectPoint(gale[7], {40 + 5 * std::sqrt(3.0) / 2, 62.5});

    // An absurd speed still ends.
    EXPECT_LT(WindAnnotationView::barbPath(frame, 0, std::numeric_limits<double>::infinity()).elementCount(),
              100);

    // Drawn: black on the shaft below the centre, nothing above it.
    WindAnnotation wind;
    wind.setWindSpeed(25);
    MapAnnotationViewStyle style;
    style.kind = MapAnnotationViewStyle::Kind::Wind;
    style.width = style.height = 80;
    WindAnnotationView view(style);
    QImage image(80, 80, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    view.paint(painter, wind);
    painter.end();
    EXPECT_EQ(image.pixelColor(40, 55), QColor(Qt::black));
    EXPECT_EQ(image.pixelColor(40, 25), QColor(Qt::white));
}

TEST(MapViewTest, DrawsLinesAreasAndViewsWhereTheSceneProjectsThem) {
    MapScene scene;
    FixedDelegate delegate;
    MapView view;
    view.resize(400, 300);
    view.setScene(&scene);
    view.setDelegate(&delegate);
    const MapCoordinate center{-33.85, 151.25};
    scene.setRegion(center, 1000, 1000, false);
    scene.setCameraHeading(120, false);
    EXPECT_EQ(scene.viewWidth(), 400);

    // A thick dashed green line across, a filled magenta area, and a pin.
    const auto line = MapOverlay::polyline({{-33.852, 151.245}, {-33.848, 151.256}});
    const auto area = MapOverlay::polygon({{-33.8495, 151.2475}, {-33.8495, 151.2490}, {-33.8508, 151.2483}});
    scene.addOverlay(line);
    auto pin = std::make_shared<MapAnnotation>(MapCoordinate{-33.853, 151.252});
    scene.addAnnotation(pin);
    delegate.renderer.lineWidth = 5;
    delegate.renderer.strokeColor = {0, 1, 0};
    delegate.style = MapAnnotationViewStyle{};
    delegate.style->imageName = "YellowPin";

    QImage image = view.grab().toImage();
    const QPointF a = scene.viewPoint(line->points()[0]);
    const QPointF b = scene.viewPoint(line->points()[1]);
    const QPointF mid = (a + b) / 2;
    EXPECT_EQ(image.pixelColor(mid.toPoint()), QColor(0, 255, 0));
    // The pin's head, a few points above its tip.
    const QPointF tip = scene.viewPoint(pin->coordinate());
    const QColor head = image.pixelColor((tip + QPointF(0, -30)).toPoint());
    EXPECT_GT(head.red(), 200);
    EXPECT_GT(head.green(), 180);
    EXPECT_LT(head.blue(), 80);

    // Dashes, in points: 10 on, 10 off along the line.
    delegate.renderer.lineDashPattern = {10, 10};
    scene.addOverlay(area);
    delegate.renderer.fillColor = RgbColor{1, 0, 1};
    image = view.grab().toImage();
    const QPointF direction = (b - a) / std::hypot(b.x() - a.x(), b.y() - a.y());
    int on = 0, gaps = 0;
    for (double s = 0; s < 200; s += 1)
        ++(image.pixelColor((a + direction * s).toPoint()) == QColor(0, 255, 0) ? on : gaps);
    EXPECT_GT(on, 60);
    EXPECT_GT(gaps, 60);
    const auto& corners = area->points();
    const QPointF centroid =
        (scene.viewPoint(corners[0]) + scene.viewPoint(corners[1]) + scene.viewPoint(corners[2])) / 3;
    EXPECT_EQ(image.pixelColor(centroid.toPoint()), QColor(255, 0, 255));
    image.save(QDir::temp().filePath("wakeline-mapview-shapes.png"));
}

TEST(MapViewTest, UserGesturesMoveTheScenesCameraAndAnimationsOnlyTheScreen) {
    MapScene scene;
    MapView view;
    view.resize(400, 300);
    view.setScene(&scene);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    scene.setRegion({43.3, 5.3}, 2000, 2000, false);
    scene.setCameraHeading(30, false);

    // A drag carries the map along under the pointer, turned map or not.
    const MapCoordinate grabbed = scene.coordinateAt({100, 100});
    QTest::mousePress(&view, Qt::LeftButton, {}, QPoint(100, 100));
    QTest::mouseMove(&view, QPoint(160, 140));
    QTest::mouseMove(&view, QPoint(220, 180));
    QTest::mouseRelease(&view, Qt::LeftButton, {}, QPoint(220, 180));
    const QPointF now = scene.viewPoint(grabbed);
    EXPECT_NEAR(now.x(), 220, 0.5);
    EXPECT_NEAR(now.y(), 180, 0.5);

    // The wheel zooms about the pointer; keys by whole levels; 0 asks for the map's own camera.
    const int level = scene.zoomLevel();
    const MapCoordinate underPointer = scene.coordinateAt({300, 80});
    QWheelEvent wheel(QPointF(300, 80), view.mapToGlobal(QPointF(300, 80)), {}, QPoint(0, 240), Qt::NoButton,
                      {}, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&view, &wheel);
    EXPECT_EQ(scene.zoomLevel(), level + 1);
    EXPECT_NEAR(scene.viewPoint(underPointer).x(), 300, 0.5);
    EXPECT_NEAR(scene.viewPoint(underPointer).y(), 80, 0.5);
    QTest::keyClick(&view, Qt::Key_Minus);
    EXPECT_EQ(scene.zoomLevel(), level);
    int resets = 0;
    QObject::connect(&view, &MapView::resetRequested, [&] { ++resets; });
    QTest::keyClick(&view, Qt::Key_0);
    QTest::mouseDClick(&view, Qt::LeftButton, {}, QPoint(50, 50));
    EXPECT_EQ(resets, 2);

    // An animated move: the scene is there at once, the screen follows and arrives.
    const MapViewport before = view.viewport();
    const MapCoordinate target = scene.coordinateAt({350, 250});
    scene.setCenter(target, true);
    EXPECT_TRUE(view.isAnimating());
    EXPECT_NEAR(view.viewport().center().x, before.center().x, 1e-6);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view.isAnimating(); }, 5000));
    EXPECT_NEAR(view.viewport().center().x, mapPoint(target).x, 1e-6);
    EXPECT_NEAR(view.viewport().center().y, mapPoint(target).y, 1e-6);
}

TEST(MapViewTest, OfflineChartLabelsAndScale) {
    EXPECT_EQ(OfflineBackground::latitudeLabel(54.5, 0.5), QString("54°30′N"));
    EXPECT_EQ(OfflineBackground::longitudeLabel(-3.2583333333, 10.0 / 3600), QString("3°15′30″W"));
    EXPECT_EQ(OfflineBackground::longitudeLabel(190.0, 1.0), QString("170°W"));
    EXPECT_EQ(OfflineBackground::latitudeLabel(0, 1.0), QString("0°"));
    // Steps come at least 100 points apart: 1′ lines at 0.5″ per point, 1° at 0.005° per point.
    EXPECT_DOUBLE_EQ(OfflineBackground::graticuleStep(1.0 / 7200), 1.0 / 60);
    EXPECT_DOUBLE_EQ(OfflineBackground::graticuleStep(0.006), 1.0);
    EXPECT_DOUBLE_EQ(OfflineBackground::scaleBarMetres(3.0, 120), 200.0);
    EXPECT_DOUBLE_EQ(OfflineBackground::scaleBarMetres(100.0, 120), 10000.0);
    EXPECT_DOUBLE_EQ(OfflineBackground::scaleBarMetres(0.0, 120), 0.0);
}
