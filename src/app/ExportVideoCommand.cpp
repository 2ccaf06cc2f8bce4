#include "app/ExportVideoCommand.h"

#include "app/PackageOpening.h"
#include "app/TimeArgument.h"
#include "app/VerbArguments.h"
#include "document/Document.h"
#include "presentation/ReplayExportJob.h"

#include <QEventLoop>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace {
int usage(const char* problem) {
    std::fprintf(stderr, "wakeline export-video: %s\n", problem);
    std::fprintf(stderr,
                 "usage: wakeline export-video DOC --from TIME --to TIME --layout LAYOUT --size WxH\n"
                 "                             [--fps N] [--speed X] [--overlay-only] [--no-sound]\n"
                 "                             [--metrics KEY,...] [--metrics-before-gun KEY,...] -o OUT\n"
                 "  LAYOUT: video, metrics, videoTimeline, videoMapTimeline, mapTimeline,\n"
                 "          videoGraphTimeline, mapGraphTimeline\n"
                 "  OUT: .mp4 (H.264 and AAC); with --overlay-only .mov (ProRes 4444 with transparency)\n");
    return 2;
}
} // namespace

int ExportVideoCommand::run(const QStringList& arguments) {
    QString packagePath;
    ReplayExportJob::Settings settings;
    std::optional<Instant> from, to;
    bool overlayOnly = false;
    QString layoutText = QStringLiteral("videoMapTimeline");
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        auto next = [&]() -> std::optional<QString> {
            if (i + 1 >= arguments.size())
                return std::nullopt;
            return arguments[++i];
        };
        if (argument == QLatin1String("--from") || argument == QLatin1String("--to")) {
            auto text = next();
            if (!text)
                return usage("--from and --to need a time");
            auto time = parseTimeArgument(text->toStdString());
            if (!time)
                return usage("--from, --to: not a time (ISO 8601 or Unix seconds)");
            (argument == QLatin1String("--from") ? from : to) = time;
        } else if (argument == QLatin1String("--layout")) {
            auto text = next();
            if (!text)
                return usage("--layout needs a layout");
            layoutText = *text;
        } else if (argument == QLatin1String("--size")) {
            const std::optional<QSize> size = VerbArguments::size(next().value_or(QString()));
            if (!size)
                return usage("--size: WxH in pixels, e.g. 1280x720");
            settings.size = *size;
        } else if (argument == QLatin1String("--fps")) {
            bool ok = false;
            settings.framesPerSecond = next().value_or(QString()).toInt(&ok);
            if (!ok)
                return usage("--fps needs a whole number of frames per second, e.g. 25");
        } else if (argument == QLatin1String("--speed")) {
            bool ok = false;
            settings.speed = next().value_or(QString()).toDouble(&ok);
            if (!ok || !std::isfinite(settings.speed))
                return usage("--speed needs a number, e.g. 2 for twice real time");
        } else if (argument == QLatin1String("--metrics") ||
                   argument == QLatin1String("--metrics-before-gun")) {
            auto text = next();
            if (!text)
                return usage("--metrics and --metrics-before-gun need metric keys, e.g. BoatSpeed,TWA");
            // As for render: an empty text shows no numbers on that side of the gun.
            const QStringList keys = VerbArguments::metricKeys(*text);
            settings.windowState.insert(argument == QLatin1String("--metrics")
                                            ? QStringLiteral("initialDisplayedMetrics")
                                            : QStringLiteral("initialDisplayedMetricsBeforeGun"),
                                        keys);
        } else if (argument == QLatin1String("--overlay-only")) {
            overlayOnly = true;
        } else if (argument == QLatin1String("--no-sound")) {
            settings.sound = false;
        } else if (argument == QLatin1String("-o") || argument == QLatin1String("--output")) {
            auto text = next();
            if (!text)
                return usage("-o needs a file");
            settings.output = *text;
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
    if (!from || !to)
        return usage("--from and --to are needed");
    settings.from = *from;
    settings.to = *to;
    if (overlayOnly) {
        settings.layout.reset();
    } else {
        settings.layout = presentationLayoutFromText(layoutText);
        if (!settings.layout)
            return usage(qPrintable(QStringLiteral("unknown layout \"%1\"").arg(layoutText)));
    }
    if (QString problem = ReplayExportJob::problem(settings); !problem.isEmpty())
        return usage(qPrintable(problem));

    Document document;
    if (QString why; !openPackage(packagePath, document, &why)) {
        std::fprintf(stderr, "wakeline export-video: %s: %s\n", qPrintable(packagePath),
                     qPrintable(why.isEmpty() ? QStringLiteral("the document could not be opened") : why));
        return 1;
    }

    ReplayExportJob job(document, settings);
    QEventLoop loop;
    int reportedTenths = 0;
    QObject::connect(&job, &ReplayExportJob::progressed, &job, [&] {
        const int tenths = job.framesEncoded() * 10 / std::max(1, job.totalFrames());
        if (tenths == reportedTenths)
            return;
        reportedTenths = tenths;
        std::fprintf(stderr, "%d of %d frames, %.1fx real time\n", job.framesEncoded(), job.totalFrames(),
                     job.speedAgainstRealTime());
    });
    QObject::connect(&job, &ReplayExportJob::finished, &loop, &QEventLoop::quit);
    if (!job.start()) {
        std::fprintf(stderr, "wakeline export-video: %s\n", qPrintable(job.failure()));
        return 1;
    }
    loop.exec();
    for (const QString& warning : job.warnings())
        std::fprintf(stderr, "wakeline export-video: warning: %s\n", qPrintable(warning));
    if (job.outcome() != ReplayExportJob::Outcome::finished) {
        std::fprintf(
            stderr, "wakeline export-video: %s\n",
            qPrintable(job.failure().isEmpty() ? QStringLiteral("the export stopped") : job.failure()));
        return 1;
    }
    const double seconds = job.elapsedSeconds();
    const double duration = double(job.totalFrames()) / settings.framesPerSecond;
    nlohmann::ordered_json json{
        {"output", settings.output.toStdString()},
        {"layout", overlayOnly ? std::string("overlayOnly") : layoutText.toStdString()},
        {"width", settings.size.width()},
        {"height", settings.size.height()},
        {"fps", settings.framesPerSecond},
        {"speed", settings.speed},
        {"frames", job.framesEncoded()},
        {"duration", duration},
        {"secondsTaken", seconds},
        {"realTimeFactor", seconds > 0.0 ? duration / seconds : 0.0},
        {"fromUnix", settings.from.unixSeconds()},
        {"toUnix", settings.to.unixSeconds()},
    };
    std::printf("%s\n", json.dump(2).c_str());
    return 0;
}
