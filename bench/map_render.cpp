// One playback tick of the race map as the screen sees it: the update of 20 boats at 10 Hz with
// 300 s past and 60 s future tracks, laylines, start and burn lines, then a repaint at 1920 × 1080
// into an offscreen image. Prints the median and 90th percentile of each case as JSON:
//   update+repaint  the whole tick
//   repaint         the drawing alone, of the same scene
//   repaint, camera moving  the same while the camera moves, so the chart is drawn anew each time
//   peer            a bare QPainter drawing the same number of antialiased line segments, from
//                   points already in view coordinates: the floor for the drawing
// With --color-by, the past tracks are coloured by that metric (a raw key, "BoatSpeed" say),
// with the legend in the saved picture.
//   map_render [--frames N] [--color-by KEY]

#include "FleetFixture.h"
#include "boatlog/LogFileAsset.h"
#include "core/Diagnostics.h"
#include "core/TimeZone.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "map/Geodesy.h"
#include "map/MapScene.h"
#include "map/MapView.h"
#include "map/RaceMap.h"
#include "map/TrackColorLegend.h"
#include "race/Race.h"

#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QTemporaryDir>
#include <QUuid>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr int boatCount = 20;
constexpr double rate = 10.0; // Hz
constexpr double logSeconds = 1800.0;
constexpr double startUnix = 1686052800.0;
constexpr double gunSeconds = 900.0;
constexpr double pastInterval = 300.0;
constexpr double futureInterval = 60.0;
const MapCoordinate pin{54.5, 10.2};
const QSize frameSize(1920, 1080);

const std::vector<std::string> columns = {"Lat",        "Lon",       "Heading",   "COG",       "TWD",
                                          "TWS",        "TargetTWA", "TimeToGun", "BelowLine", "TimeToLine",
                                          "TimeToBurn", "MkLat",     "MkLon",     "BoatSpeed"};

// Each boat tacks its way about the start area on its own zigzag, so the tracks cross the view.
void writeLog(const QString& path, int boat) {
    const std::size_t records = static_cast<std::size_t>(logSeconds * rate);
    std::vector<double> times(records);
    std::vector<double> values(records * columns.size());
    const MapCoordinate origin = Geodesy::destination(pin, boat * 18.0, 150.0 + boat * 15.0);
    for (std::size_t r = 0; r < records; ++r) {
        const double s = static_cast<double>(r) / rate;
        times[r] = startUnix + s;
        const double leg = std::fmod(s, 120.0);
        const double course = std::fmod(s, 240.0) < 120.0 ? 315.0 : 45.0;
        const double along = 3.0 * (std::fmod(s, 240.0) < 120.0 ? leg : 120.0 - leg);
        const MapCoordinate p = Geodesy::destination(
            Geodesy::destination(origin, 0, std::fmod(s, 600.0) * 0.5), 270.0, along * 0.7);
        const double row[] = {p.latitude, p.longitude, course, course, 10.0, 14.0, 42.0, gunSeconds - s,
                              100.0, 50.0, 10.0, pin.latitude + 0.005, pin.longitude + 0.002,
                              // Gusts and lulls, and the wobble of a speedo in waves.
                              6.0 + std::sin(s * 0.07 + boat) + 0.3 * std::sin(s * 1.3 + 2.0 * boat)};
        std::copy(std::begin(row), std::end(row),
                  values.begin() + static_cast<std::ptrdiff_t>(r * columns.size()));
    }
    writeBoatLog(path, columns, times, values);
}

// Ticks in the last five minutes before the gun, where every line shows.
Instant tick(std::size_t i) {
    return Instant::fromUnix(startUnix + gunSeconds - 280.0 + static_cast<double>(i % 5000) * 0.04);
}

struct Fleet {
    QTemporaryDir dir;
    Document document;
    MapScene scene;
    std::unique_ptr<RaceMap> raceMap;
    MapView view;

    Fleet() {
        std::vector<Document::BoatPtr> boats;
        for (int b = 0; b < boatCount; ++b)
            boats.push_back(Boat::create(QString("Boat %1").arg(b), QString("B%1").arg(b),
                                         {0.05 * b, 0.3, 1.0 - 0.04 * b},
                                         b == 0 ? Boat::DisplayMode::Main : Boat::DisplayMode::Other));
        for (auto& boat : boats)
            boat->setBoatLength(12);
        document.setBoats(boats);
        for (int b = 0; b < boatCount; ++b) {
            const QString path = dir.filePath(QString("boat%1.hdf5").arg(b));
            writeLog(path, b);
            document.addLogAsset(
                boats[std::size_t(b)],
                LogFileAsset::open(path, boats[std::size_t(b)], QUuid::createUuid(), 0, TimeZone::utc()));
        }
        setStartRace(document, pin, Instant::fromUnix(startUnix + gunSeconds));
        view.resize(frameSize);
        view.setScene(&scene);
        raceMap = std::make_unique<RaceMap>(scene);
        view.setDelegate(raceMap.get());
        raceMap->setTrackIntervals({pastInterval, futureInterval, pastInterval, futureInterval});
        raceMap->setDocument(&document);
        // A seek frames the main boat; then the user zooms out until the whole fleet is on screen,
        // the heaviest picture: every track segment is drawn.
        raceMap->playbackPositionChanged(tick(0), true);
        scene.setRegion(Geodesy::destination(pin, 0, 250), 1400, 1400, false);
    }
};

struct Timing {
    double median = 0;
    double p90 = 0;
};

Timing measure(int frames, const std::function<void(std::size_t)>& work) {
    for (std::size_t i = 0; i < 20; ++i)
        work(i);
    std::vector<double> times;
    times.reserve(std::size_t(frames));
    for (int i = 0; i < frames; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work(std::size_t(i) + 20);
        times.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() * 9 / 10]};
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    UserDefaults::useFile(QDir::temp().filePath("wakeline-map-render-bench-settings.ini"));
    Diagnostics::setStream(stderr);
    int frames = 400;
    const char* colorBy = "";
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--frames") == 0)
            frames = std::max(1, std::atoi(argv[i + 1]));
        if (std::strcmp(argv[i], "--color-by") == 0)
            colorBy = argv[i + 1];
    }

    Fleet fleet;
    TrackColorLegend legend(&fleet.view);
    if (*colorBy) {
        fleet.raceMap->setTrackColorMetric(BoatMetric(colorBy));
        fleet.raceMap->update(tick(0), false);
        legend.move(10, 10);
        legend.setContent(fleet.raceMap->trackColorMetric(), fleet.raceMap->trackColorScale());
    }
    QImage image(frameSize, QImage::Format_ARGB32_Premultiplied);
    auto repaint = [&] {
        QPainter painter(&image);
        fleet.view.paintMap(painter);
    };

    const Timing whole = measure(frames, [&](std::size_t i) {
        fleet.raceMap->update(tick(i), false);
        fleet.view.finishAnimation();
        repaint();
    });
    {
        // The picture with the views over the map (the legend), as the screen shows it.
        QImage picture(frameSize, QImage::Format_ARGB32_Premultiplied);
        fleet.view.render(&picture);
        picture.save(
            QDir::temp().filePath(*colorBy ? "wakeline-map-render-colored.png" : "wakeline-map-render.png"));
    }
    const Timing paintOnly = measure(frames, [&](std::size_t) { repaint(); });
    // While the camera moves (a user's drag, a glide) the chart under the boats is drawn anew.
    const MapCoordinate center = fleet.scene.center();
    const Timing moving = measure(frames, [&](std::size_t i) {
        fleet.scene.setCenter(Geodesy::destination(center, 90, double(i % 100)), false);
        repaint();
    });

    // The peer: the scene's line segments as view points, drawn by a bare antialiased QPainter.
    std::vector<std::vector<QPointF>> lines;
    std::size_t segments = 0;
    for (const auto& overlay : fleet.scene.overlays()) {
        std::vector<QPointF> points;
        for (const MapCoordinate& c : overlay->points())
            points.push_back(fleet.scene.viewPoint(c));
        segments += points.empty() ? 0 : points.size() - 1;
        lines.push_back(std::move(points));
    }
    const Timing peer = measure(frames, [&](std::size_t) {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillRect(image.rect(), QColor(170, 211, 223));
        painter.setPen(QPen(QColor(20, 60, 200), 1.0));
        for (const auto& points : lines)
            painter.drawPolyline(points.data(), int(points.size()));
    });

    std::printf("{\"frame\": \"%dx%d\", \"boats\": %d, \"overlays\": %zu, \"annotations\": %zu, "
                "\"segments\": %zu, \"frames\": %d, \"track_color\": \"%s\",\n"
                " \"update_repaint_ms\": {\"median\": %.3f, \"p90\": %.3f},\n"
                " \"repaint_ms\": {\"median\": %.3f, \"p90\": %.3f},\n"
                " \"repaint_camera_moving_ms\": {\"median\": %.3f, \"p90\": %.3f},\n"
                " \"peer_bare_qpainter_ms\": {\"median\": %.3f, \"p90\": %.3f}}\n",
                frameSize.width(), frameSize.height(), boatCount, fleet.scene.overlayCount(),
                fleet.scene.annotations().size(), segments, frames, *colorBy ? colorBy : "boat", whole.median,
                whole.p90, paintOnly.median, paintOnly.p90, moving.median, moving.p90, peer.median, peer.p90);
    if (!fleet.raceMap->burnLine() || !fleet.raceMap->startLine()) {
        std::fprintf(stderr, "the scene lacks its lines\n");
        return 1;
    }
    return 0;
}
