// One playback tick of the metrics graph: 4 metrics of 20 boats logged at 10 Hz in a ±2 min window
// at 1920 × 400, offscreen, from the position signal until the graph has repainted into an image
// like the screen's backing store. The position moves 0.04 s a tick, as when playing, for ten
// minutes of playback, so the span the graph holds follows the window many times: the median says
// what playing costs, the 99th percentile and the worst tick whether it ever stalls.
// Next to it, from the same run:
//   peer     a bare QPainter drawing the same points (the window's reduced series, in pixels) with
//            drawPolyline into an image of the same size: what drawing the lines anew costs
//   redraw   the graph with its data and drawing thrown away first: a zoom or a new choice (the
//            logs read and the window drawn; the rest of the image follows on later ticks)
//   graph_repaint [--ticks N] [--png OUT.png]

#include "FleetFixture.h"
#include "TimingStats.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/MetricSeriesSet.h"
#include "presentation/MetricsGraphView.h"
#include "presentation/MetricsGraphViewController.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

using namespace TimingStats;

namespace {

const QSize frameSize(1920, 400);
const QStringList metricKeys{"BoatSpeed", "Heading", "TWS", "TimeToGun"};

std::vector<MetricPresentation> presentations() {
    std::vector<MetricPresentation> metrics;
    for (const QString& key : metricKeys)
        metrics.emplace_back(BoatMetric(key.toStdString()));
    return metrics;
}

// The points the graph shows in its window, in the view's pixels, one polyline per run.
std::vector<std::vector<QPointF>> peerPolylines(const FleetFixture& fleet, const MetricsGraphView& view) {
    const auto window = view.window();
    MetricSeriesSet set;
    const double columnSeconds = (window->second - window->first) / view.plotRect().width();
    set.update(fleet.document, fleet.document.boats(), presentations(), window->first, window->second,
               columnSeconds, 0.0);
    std::vector<std::vector<QPointF>> lines;
    for (std::size_t lane = 0; lane < set.lanes().size(); ++lane) {
        const QRect data = view.laneDataRect(int(lane));
        const GraphAxis axis = *view.laneAxis(int(lane));
        for (const MetricSeries& series : set.lanes()[lane].series) {
            for (std::size_t r = 0; r < series.runCount(); ++r) {
                auto [first, last] = series.run(r);
                std::vector<QPointF> points;
                for (std::size_t i = first; i < last; ++i)
                    points.emplace_back(view.xAt(Instant(series.times()[i])),
                                        data.bottom() + 1 -
                                            (series.values()[i] - axis.low) / (axis.high - axis.low) *
                                                data.height());
                lines.push_back(std::move(points));
            }
        }
    }
    return lines;
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    UserDefaults::useFile(QDir::temp().filePath("wakeline-graph-bench-settings.ini"));
    int ticks = 15000;
    QString png;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--ticks") == 0)
            ticks = std::max(100, std::atoi(argv[i + 1]));
        else if (std::strcmp(argv[i], "--png") == 0)
            png = QString::fromLocal8Bit(argv[i + 1]);
    }

    FleetFixture fleet;
    MetricsGraphView view;
    view.setDocument(&fleet.document);
    view.setBoats(fleet.document.boats());
    view.setMetrics(presentations());
    view.resize(frameSize);
    QObject::connect(&fleet.document, &Document::playbackPositionUpdated, &view,
                     [&view](std::optional<Instant> position, bool) { view.setPlaybackTime(position); });
    fleet.document.setPlaybackPosition(FleetFixture::tick(0), true);

    QImage frame(frameSize, QImage::Format_ARGB32_Premultiplied);
    auto repaint = [&frame](QWidget& widget) {
        QPainter painter(&frame);
        widget.render(&painter);
    };
    repaint(view);

    std::vector<double> tick;
    Instant position = FleetFixture::tick(0);
    std::size_t worst = 0;
    for (int i = 0; i < ticks; ++i) {
        position += Document::tickMilliseconds / 1000.0;
        const auto begin = Clock::now();
        fleet.document.setPlaybackPosition(position, false);
        repaint(view);
        tick.push_back(milliseconds(begin, Clock::now()));
        if (tick.back() > tick[worst])
            worst = tick.size() - 1;
    }
    // A tick of playback at 25 Hz has 40 ms, shared with the video.
    const auto over = [&tick](double limit) {
        return std::count_if(tick.begin(), tick.end(), [limit](double t) { return t > limit; });
    };

    // The peer draws what the graph shows at the last tick.
    const auto lines = peerPolylines(fleet, view);
    std::size_t pointCount = 0;
    for (const auto& line : lines)
        pointCount += line.size();
    QImage peerImage(frameSize, QImage::Format_ARGB32_Premultiplied);
    std::vector<double> peer;
    const QColor peerColor(0, 102, 204);
    for (int i = 0; i < 200; ++i) {
        const auto begin = Clock::now();
        QPainter painter(&peerImage);
        painter.fillRect(peerImage.rect(), Qt::black);
        painter.setPen(QPen(peerColor, 1));
        for (const auto& line : lines)
            painter.drawPolyline(line.data(), int(line.size()));
        painter.end();
        peer.push_back(milliseconds(begin, Clock::now()));
    }

    std::vector<double> redraw;
    for (int i = 0; i < 30; ++i) {
        const auto begin = Clock::now();
        view.reload();
        repaint(view);
        redraw.push_back(milliseconds(begin, Clock::now()));
    }

    std::printf(
        "metrics graph, %d boats at %.0f Hz, %lld metrics, ±%.0f s window, %dx%d offscreen, %d ticks of "
        "0.04 s\n",
        FleetFixture::boatCount, FleetFixture::rate, static_cast<long long>(metricKeys.size()),
        view.halfWidth(), frameSize.width(), frameSize.height(), ticks);
    std::printf(
        "tick (position signal -> graph repainted): median %.3f ms, p90 %.3f ms, p99 %.3f ms (goal: median "
        "<= 2 ms)\n",
        median(tick), percentile(tick, 0.9), percentile(tick, 0.99));
    std::printf("worst tick: %.2f ms, %.1f s into playback; ticks over 10 ms: %lld, over 40 ms: %lld\n",
                tick[worst], double(worst + 1) * Document::tickMilliseconds / 1000.0,
                static_cast<long long>(over(10.0)), static_cast<long long>(over(40.0)));
    std::printf("peer, bare QPainter drawPolyline of the same %zu points in %zu polylines: median %.3f ms\n",
                pointCount, lines.size(), median(peer));
    std::printf("tick / peer: %.3f\n", median(tick) / median(peer));
    std::printf("redraw from the logs (zoom, new choice): median %.1f ms\n", median(redraw));

    if (!png.isEmpty()) {
        MetricsGraphViewController controller;
        controller.setDocument(&fleet.document);
        QStringList names;
        for (const auto& boat : fleet.document.boats())
            names.append(boat->fullName());
        controller.setGraphBoats(names);
        controller.setGraphMetrics(metricKeys);
        controller.resize(frameSize.width(), frameSize.height() + 30);
        controller.graphView()->setPlaybackTime(position);
        if (!controller.grab().save(png))
            std::fprintf(stderr, "could not write %s\n", qPrintable(png));
    }
    return 0;
}
