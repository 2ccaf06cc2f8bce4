// One playback tick of a document window in the video, map and timeline layout, with 20 boats and a
// 1080p25 H.264 video playing, at 1920 × 1080 offscreen: from the clock's tick until every view has
// repainted. The ticks come at the clock's pace, 25 a second, so that the video decodes ahead as it
// does when playing. Next to it, from the same run: the repaint alone (no new position), and the
// map's share (its view repainted after the position change, nothing else).
//   tick_repaint [TICKS] [--color-by KEY]   KEY: the metric the map colours the past tracks by

#include "BenchVideo.h"
#include "FleetFixture.h"
#include "TimingStats.h"
#include "app/AppDelegate.h"
#include "app/StandardViews.h"
#include "core/UserDefaults.h"
#include "media/MediaGroup.h"
#include "media/VideoAsset.h"
#include "presentation/DocumentObservingViewController.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoFrameView.h"
#include "presentation/VideoPlaybackViewController.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace TimingStats;

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    UserDefaults::useFile(QDir::temp().filePath("wakeline-tick-bench-settings.ini"));
    AppDelegate::registerDefaults();
    StandardViews::registerAll();
    const int ticks = argc > 1 && argv[1][0] != '-' ? std::max(50, std::atoi(argv[1])) : 500;
    QString colorBy;
    for (int i = 1; i + 1 < argc; ++i)
        if (QByteArray(argv[i]) == "--color-by")
            colorBy = QString::fromLocal8Bit(argv[i + 1]);
    const QString clip = BenchVideo::clip(QStringLiteral(WAKELINE_BENCH_DATA));
    if (clip.isEmpty())
        return 1;

    FleetFixture fleet;
    auto group = std::make_shared<MediaGroup>("Boat");
    fleet.document.setMediaGroups({group});
    fleet.document.addAsset(std::make_shared<VideoAsset>(QUrl::fromLocalFile(clip), FleetFixture::tick(0),
                                                         double(BenchVideo::clipSeconds), 0.0,
                                                         TimeZone::utc(), group),
                            group);
    // The clock plays on a wall clock of the benchmark's own, so each tick lands where it should.
    Instant now = Instant::fromUnix(0);
    fleet.document.setWallClock([&now] { return now; });
    PresentationWindowController window;
    window.setCurrentDocument(&fleet.document);
    window.setLayout(PresentationLayout::videoMapTimeline);
    window.setTrackColorMetric(colorBy);
    window.applyLayout();
    window.resize(1920, 1080);
    window.show();
    fleet.document.setPlaybackPosition(FleetFixture::tick(0), true);
    auto* video = window.videoViewController();
    QElapsedTimer opening;
    opening.start();
    while (!video->isSettled() && opening.elapsed() < 20000)
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    if (video->videoPlayer()->frame().isNull()) {
        std::fprintf(stderr, "the video did not open: %s\n", qPrintable(video->videoFailure()));
        return 1;
    }
    QApplication::processEvents();
    window.repaint();
    fleet.document.play();

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
    int exactFrames = 0;
    auto pace = Clock::now();
    for (int i = 1; i <= ticks; ++i) {
        // Real time between ticks, as when playing: the decoding threads work meanwhile.
        pace += std::chrono::milliseconds(Document::tickMilliseconds);
        while (Clock::now() < pace)
            QApplication::processEvents(QEventLoop::AllEvents, 2);
        now = now + Document::tickMilliseconds / 1000.0;
        auto begin = Clock::now();
        fleet.document.tick();
        repaint(window);
        tick.push_back(milliseconds(begin, Clock::now()));
        if (video->isSettled())
            ++exactFrames;

        begin = Clock::now();
        repaint(window);
        repaintOnly.push_back(milliseconds(begin, Clock::now()));

        if (map) {
            begin = Clock::now();
            fleet.document.setPlaybackPosition(*fleet.document.eventPlaybackPosition() + 0.001, false);
            repaint(*map);
            mapShare.push_back(milliseconds(begin, Clock::now()));
        }
    }
    fleet.document.pause();
    std::printf(
        "ticks: %d, 20 boats, a 1080p25 H.264 video playing, videoMapTimeline at 1920x1080 offscreen, "
        "%d cores, tracks in %s\n",
        ticks, QThread::idealThreadCount(),
        colorBy.isEmpty() ? "the boats' colours" : qPrintable("colours by " + colorBy));
    std::printf("video frame of the tick on screen at the tick: %d of %d ticks\n", exactFrames, ticks);
    std::printf(
        "tick (position signal -> all views repainted): median %.2f ms, p90 %.2f ms (goal: median <= 8 ms)\n",
        median(tick), percentile(tick, 0.9));
    std::printf("baseline, repaint without a new position:      median %.2f ms\n", median(repaintOnly));
    if (map)
        std::printf(
            "map's share (position signal -> map repainted, the other views only updated): median %.2f ms\n",
            median(mapShare));
    std::printf("tick / repaint-only: %.2f\n", median(tick) / median(repaintOnly));
    return 0;
}
