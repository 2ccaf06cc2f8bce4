#include "app/RenderCommand.h"

#include "app/PackageOpening.h"
#include "app/TimeArgument.h"
#include "app/VerbArguments.h"
#include "document/Document.h"
#include "presentation/MetricsOverlayView.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoPlaybackViewController.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QImage>
#include <QPainter>
#include <QTimer>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace {
int usage(const char* problem) {
    std::fprintf(stderr, "wakeline render: %s\n", problem);
    std::fprintf(stderr, "usage: wakeline render DOC --at TIME --layout LAYOUT --size WxH -o OUT.png\n"
                         "                       [--metrics KEY,...] [--metrics-before-gun KEY,...]\n"
                         "  LAYOUT: video, metrics, videoTimeline, videoMapTimeline, mapTimeline,\n"
                         "          videoGraphTimeline, mapGraphTimeline\n");
    return 2;
}

constexpr qint64 frameWaitMilliseconds = 30000;

// Lets queued announcements (races, display boat, photos decoded on the pool) arrive.
void settle(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}
} // namespace

int RenderCommand::run(const QStringList& arguments) {
    QString packagePath, output, layoutText = QStringLiteral("videoMapTimeline"),
                                 sizeText = QStringLiteral("1920x1080");
    std::optional<Instant> at;
    std::optional<QStringList> metrics, metricsBeforeGun;
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        auto next = [&]() -> std::optional<QString> {
            if (i + 1 >= arguments.size())
                return std::nullopt;
            return arguments[++i];
        };
        if (argument == QLatin1String("--at")) {
            auto text = next();
            if (!text)
                return usage("--at needs a time");
            at = parseTimeArgument(text->toStdString());
            if (!at)
                return usage("--at: not a time (ISO 8601 or Unix seconds)");
        } else if (argument == QLatin1String("--metrics") ||
                   argument == QLatin1String("--metrics-before-gun")) {
            auto text = next();
            if (!text)
                return usage("--metrics and --metrics-before-gun need metric keys, e.g. BoatSpeed,TWA");
            (argument == QLatin1String("--metrics") ? metrics : metricsBeforeGun) =
                VerbArguments::metricKeys(*text);
        } else if (argument == QLatin1String("--layout")) {
            auto text = next();
            if (!text)
                return usage("--layout needs a layout");
            layoutText = *text;
        } else if (argument == QLatin1String("--size")) {
            auto text = next();
            if (!text)
                return usage("--size needs WxH");
            sizeText = *text;
        } else if (argument == QLatin1String("-o") || argument == QLatin1String("--output")) {
            auto text = next();
            if (!text)
                return usage("-o needs a file");
            output = *text;
        } else if (argument.startsWith(QLatin1Char('-'))) {
            return usage(qPrintable(QStringLiteral("unknown option %1").arg(argument)));
        } else if (packagePath.isEmpty()) {
            packagePath = argument;
        } else {
            return usage("only one document");
        }
    }
    if (packagePath.isEmpty())
        return usage("no document given");
    if (output.isEmpty())
        return usage("no output file given (-o OUT.png)");
    auto layout = presentationLayoutFromText(layoutText);
    if (!layout)
        return usage(qPrintable(QStringLiteral("unknown layout \"%1\"").arg(layoutText)));
    const std::optional<QSize> chosenSize = VerbArguments::size(sizeText);
    if (!chosenSize)
        return usage("--size: WxH in pixels, e.g. 1920x1080");
    const QSize size = *chosenSize;

    Document document;
    if (QString why; !openPackage(packagePath, document, &why)) {
        std::fprintf(stderr, "wakeline render: %s: %s\n", qPrintable(packagePath),
                     qPrintable(why.isEmpty() ? QStringLiteral("the document could not be opened") : why));
        return 1;
    }

    PresentationWindowController window;
    window.setCurrentDocument(&document);
    window.setLayout(*layout);
    window.applyLayout();
    if (metrics || metricsBeforeGun)
        window.setDisplayedMetrics(metrics.value_or(window.displayedMetrics()),
                                   metricsBeforeGun.value_or(window.displayedMetricsBeforeGun()));
    if (auto* video = window.videoViewController()) {
        video->setShowsControls(false);
        video->setUsesProxies(false);
    }
    window.resize(size);
    window.show();
    settle(50);
    if (auto position = at ? at : document.eventStartTime())
        document.setPlaybackPosition(*position, true);
    settle(300);
    // The exact frame of a video can take a while to decode (a long way from a keyframe, 4K).
    if (auto* video = window.videoViewController()) {
        QElapsedTimer waited;
        waited.start();
        while (!video->isSettled() && waited.elapsed() < frameWaitMilliseconds)
            settle(20);
        if (!video->isSettled())
            std::fprintf(stderr, "wakeline render: the video frame was not ready in time\n");
    }

    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::black);
    {
        QPainter painter(&image);
        window.render(&painter);
    }
    if (!image.save(output, "PNG")) {
        std::fprintf(stderr, "wakeline render: could not write %s\n", qPrintable(output));
        return 1;
    }
    nlohmann::ordered_json json{{"output", output.toStdString()},
                                {"width", size.width()},
                                {"height", size.height()},
                                {"layout", layoutText.toStdString()}};
    if (auto position = document.eventPlaybackPosition())
        json["atUnix"] = position->unixSeconds();
    if (auto* video = window.videoViewController(); video && video->metricsView()->isVisible()) {
        // What the overlays say, for scripts that check a rendering without reading pixels.
        MetricsOverlayContent::Content content = video->overlayContent();
        nlohmann::ordered_json rows = nlohmann::ordered_json::array();
        for (const auto& row : content.rows) {
            nlohmann::ordered_json item{{"name", row.name.toStdString()},
                                        {"value", row.value.toStdString()},
                                        {"unit", row.unit.toStdString()}};
            if (content.secondaryBoat)
                item["secondaryValue"] = row.secondaryValue.toStdString();
            rows.push_back(std::move(item));
        }
        json["overlay"] = {{"beforeGun", content.beforeGun}, {"rows", std::move(rows)}};
    }
    std::printf("%s\n", json.dump(2).c_str());
    return 0;
}
