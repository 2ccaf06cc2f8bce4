// One playback tick of a document window in the video, map and timeline layout, with 20 boats at
// 1920 × 1080 offscreen: from the position announcement until every view has repainted. Next to
// it, from the same run: the repaint alone (no new position), and the map's share (its view
// repainted after the position change, nothing else).

#include "FleetFixture.h"
#include "app/AppDelegate.h"
#include "app/StandardViews.h"
#include "core/UserDefaults.h"
#include "media/MediaGroup.h"
#include "presentation/DocumentObservingViewController.h"
#include "presentation/PresentationWindowController.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(p * static_cast<double>(values.size() - 1))];
}

double milliseconds(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    UserDefaults::useFile(QDir::temp().filePath("wakeline-tick-bench-settings.ini"));
    AppDelegate::registerDefaults();
    StandardViews::registerAll();
    const int ticks = argc > 1 ? std::max(50, std::atoi(argv[1])) : 500;

    FleetFixture fleet;
    fleet.document.setMediaGroups({std::make_shared<MediaGroup>("Boat")});
    PresentationWindowController window;
    window.setCurrentDocument(&fleet.document);
    window.setLayout(PresentationLayout::videoMapTimeline);
    window.applyLayout();
    window.resize(1920, 1080);
    window.show();
    fleet.document.setPlaybackPosition(FleetFixture::tick(0), true);
    QApplication::processEvents();
    window.repaint();

    QWidget* map = nullptr;
    for (auto* view : window.rootViews())
        if (QString(view->metaObject()->className()) == "RaceMapViewController")
            map = view;

    // Drawn into an image like the screen's backing store, every view painted in full: what the
    // screen would show, without depending on how a platform batches updates.
    QImage frame(1920, 1080, QImage::Format_ARGB32_Premultiplied);
    auto repaint = [&frame](QWidget& widget) {
        QPainter painter(&frame);
        widget.render(&painter);
    };
    std::vector<double> tick, repaintOnly, mapShare;
    for (int i = 1; i <= ticks; ++i) {
        auto begin = Clock::now();
        fleet.document.setPlaybackPosition(FleetFixture::tick(static_cast<std::size_t>(i)), false);
        repaint(window);
        tick.push_back(milliseconds(begin, Clock::now()));

        begin = Clock::now();
        repaint(window);
        repaintOnly.push_back(milliseconds(begin, Clock::now()));

        if (map) {
            begin = Clock::now();
            fleet.document.setPlaybackPosition(FleetFixture::tick(static_cast<std::size_t>(i)) + 0.02, false);
            repaint(*map);
            mapShare.push_back(milliseconds(begin, Clock::now()));
        }
        QApplication::processEvents();
    }
    std::printf("ticks: %d, 20 boats, videoMapTimeline at 1920x1080 offscreen\n", ticks);
    std::printf(
        "tick (position signal -> all views repainted): median %.2f ms, p90 %.2f ms (goal: median <= 8 ms)\n",
        median(tick), percentile(tick, 0.9));
    std::printf("peer, repaint without a new position:          median %.2f ms\n", median(repaintOnly));
    if (map)
        std::printf(
            "map's share (position signal -> map repainted, the other views only updated): median %.2f ms\n",
            median(mapShare));
    std::printf("tick / repaint-only: %.2f\n", median(tick) / median(repaintOnly));
    return 0;
}
