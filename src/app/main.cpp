#include "app/AddBoatCommand.h"
#include "app/AddMediaCommand.h"
#include "app/AddRaceCommand.h"
#include "app/AppDelegate.h"
#include "app/DocumentController.h"
#include "app/ExamineCommand.h"
#include "app/ExportVideoCommand.h"
#include "app/ImportLogsCommand.h"
#include "app/NewCommand.h"
#include "app/ProbeMediaCommand.h"
#include "app/RenderCommand.h"
#include "app/SetZoneCommand.h"
#include "app/StandardViews.h"
#include "app/SyncCommand.h"

#include <QApplication>
#include <QCoreApplication>
#include <QIcon>
#include <QPixmap>
#include <QScreen>
#include <QTimer>
#include <cstdio>
#include <cstdlib>

namespace {
void nameApplication() {
    QCoreApplication::setOrganizationName("Wakeline");
    QCoreApplication::setApplicationName("Wakeline");
    QCoreApplication::setApplicationVersion(WAKELINE_VERSION);
}

bool hasDisplay() {
    return std::getenv("DISPLAY") || std::getenv("WAYLAND_DISPLAY") || std::getenv("QT_QPA_PLATFORM");
}

int usage() {
    std::fprintf(
        stderr,
        "usage: wakeline [--screenshot OUT.png] [DOC.wakeline]...\n"
        "       wakeline inspect LOG.hdf5 [--zone ID] [--offset S] [--at TIME [--interpolated]] "
        "[--metric KEY]...\n"
        "       wakeline inspect DOC [--at TIME]\n"
        "       wakeline probe-media [--track] FILE... [--zone ID]\n"
        "       wakeline render DOC --at TIME --layout LAYOUT --size WxH -o OUT.png\n"
        "       wakeline export-video DOC --from TIME --to TIME --layout LAYOUT --size WxH [--fps N] "
        "[--speed X] [--overlay-only] [--no-sound] -o OUT\n"
        "       wakeline new DOC [--zone ID]\n"
        "       wakeline add-boat DOC --name NAME [--short NAME] [--color RRGGBB] [--length M] "
        "[--gps-offset M] [--mode Main|Secondary|Other]\n"
        "       wakeline import-logs DOC --boat NAME FILE...\n"
        "       wakeline add-media DOC --group NAME FILE...\n"
        "       wakeline add-race DOC --name NAME --gun TIME [--finish TIME] [--pin LAT,LON --rc LAT,LON]\n"
        "       wakeline set-zone DOC ID\n"
        "       wakeline sync DOC --group NAME [--boat NAME] [--apply]\n");
    return 2;
}

int runDesktop(int argc, char* argv[]) {
    QApplication application(argc, argv);
    nameApplication();
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/images/Wakeline.svg")));
    QApplication::setDesktopFileName(QStringLiteral("wakeline"));
    StandardViews::registerAll();

    AppDelegate delegate;
    delegate.applicationDidFinishLaunching();
    QObject::connect(&application, &QCoreApplication::aboutToQuit, &delegate, [&delegate] {
        delegate.applicationShouldTerminate();
        delegate.applicationWillTerminate();
    });

    QStringList arguments = QCoreApplication::arguments().mid(1);
    // --screenshot FILE: once the documents are open and drawn, saves a picture of the screen and
    // quits; for checks of a real window and for pictures of the program.
    QString screenshot;
    if (int i = arguments.indexOf(QStringLiteral("--screenshot")); i >= 0 && i + 1 < arguments.size()) {
        screenshot = arguments[i + 1];
        arguments.remove(i, 2);
    }
    int pending = 0;
    auto takeScreenshot = [&delegate, &screenshot] {
        QTimer::singleShot(1500, &delegate, [&delegate, &screenshot] {
            QPixmap picture = QGuiApplication::primaryScreen()->grabWindow(0);
            if (!picture.save(screenshot, "PNG"))
                std::fprintf(stderr, "wakeline: could not write %s\n", qPrintable(screenshot));
            delegate.quit();
        });
    };
    // Documents left with unsaved changes by a crash come first, so that the user decides about
    // them before anything else opens.
    delegate.documentController().offerRecovery();
    for (const QString& path : arguments) {
        if (path.startsWith(QLatin1Char('-')))
            continue;
        if (delegate.documentController().openDocument(path))
            ++pending;
    }
    if (delegate.documentController().documents().empty())
        delegate.documentController().newDocument();
    if (!screenshot.isEmpty()) {
        if (pending == 0)
            takeScreenshot();
        else
            QObject::connect(&delegate.documentController(), &DocumentController::documentOpened, &delegate,
                             [&pending, takeScreenshot] {
                                 if (--pending == 0)
                                     takeScreenshot();
                             });
    }
    return application.exec();
}
} // namespace

int main(int argc, char* argv[]) {
    const QString verb = argc >= 2 ? QString::fromLocal8Bit(argv[1]) : QString();
    if (verb == QLatin1String("render") || verb == QLatin1String("export-video")) {
        // Drawing needs no screen: without one, Qt's offscreen platform draws the same pixels.
        if (!hasDisplay())
            qputenv("QT_QPA_PLATFORM", "offscreen");
        QApplication application(argc, argv);
        nameApplication();
        StandardViews::registerAll();
        AppDelegate::registerDefaults();
        QStringList arguments = QCoreApplication::arguments();
        arguments.removeAt(1);
        return verb == QLatin1String("render") ? RenderCommand::run(arguments)
                                               : ExportVideoCommand::run(arguments);
    }
    // The editing verbs: each changes a package as one edit, without a window.
    const std::pair<const char*, int (*)(const QStringList&)> editingVerbs[] = {
        {"new", &NewCommand::run},
        {"add-boat", &AddBoatCommand::run},
        {"import-logs", &ImportLogsCommand::run},
        {"add-media", &AddMediaCommand::run},
        {"add-race", &AddRaceCommand::run},
        {"set-zone", &SetZoneCommand::run},
        {"sync", &SyncCommand::run},
    };
    for (const auto& [name, run] : editingVerbs) {
        if (verb != QLatin1String(name))
            continue;
        QCoreApplication application(argc, argv);
        nameApplication();
        QStringList arguments = QCoreApplication::arguments();
        arguments.removeAt(1);
        return run(arguments);
    }
    if (verb == QLatin1String("inspect") || verb == QLatin1String("probe-media")) {
        QCoreApplication application(argc, argv);
        nameApplication();
        QStringList arguments = QCoreApplication::arguments();
        arguments.removeAt(1);
        return verb == QLatin1String("inspect") ? ExamineCommand::run(arguments)
                                                : ProbeMediaCommand::run(arguments);
    }
    if (verb == QLatin1String("--version") || verb == QLatin1String("-v")) {
        std::printf("wakeline %s\n", WAKELINE_VERSION);
        return 0;
    }
    if (verb == QLatin1String("--help") || verb == QLatin1String("-h"))
        return usage(), 0;
    if (!hasDisplay()) {
        std::fprintf(stderr, "wakeline: no display. Use a verb to work without one:\n");
        return usage();
    }
    return runDesktop(argc, argv);
}
