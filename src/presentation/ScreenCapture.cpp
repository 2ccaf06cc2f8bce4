#include "presentation/ScreenCapture.h"

#include "core/Diagnostics.h"
#include "core/TimeZone.h"
#include "core/UserDefaults.h"
#include "presentation/RegionGrabOverlay.h"
#include "presentation/WarningAlert.h"

#include <QCursor>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QImageWriter>
#include <QSaveFile>
#include <QScreen>
#include <QStandardPaths>
#include <QWidget>
#include <algorithm>

namespace {

constexpr int jpegQuality = 92;

// Writes `image` as a JPEG at `path`; the reason when it could not.
QString writeJpeg(const QImage& image, const QString& path) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    QImageWriter writer(&file, "jpeg");
    writer.setQuality(jpegQuality);
    if (!writer.write(image)) {
        file.cancelWriting();
        return writer.errorString();
    }
    if (!file.commit())
        return file.errorString();
    return {};
}

// Some tools write PNG whatever the file is called; the capture is promised as a JPEG.
void makeJpeg(const QString& path) {
    QImageReader reader(path);
    reader.setDecideFormatFromContent(true);
    if (reader.format() == "jpeg")
        return;
    QImage image = reader.read();
    if (image.isNull())
        return;
    if (QString error = writeJpeg(image, path); !error.isEmpty())
        Diagnostics::printLine(("Warning: the capture stays as it was written: " + error).toStdString());
}

} // namespace

ScreenCapture::ToolChoice ScreenCapture::chooseTool(const QString& desktop, bool wayland,
                                                    const ToolLookup& lookup) {
    const QStringList desktops = desktop.toLower().split(':', Qt::SkipEmptyParts);
    auto on = [&](std::initializer_list<const char*> names) {
        for (const QString& part : desktops)
            for (const char* name : names)
                if (part.contains(QLatin1String(name)))
                    return true;
        return false;
    };
    const bool gnome = on({"gnome", "unity", "cinnamon", "budgie", "pantheon"});
    const bool kde = on({"kde"});

    std::vector<Tool> order;
    if (gnome)
        order.push_back(Tool::gnomeScreenshot);
    else if (kde)
        order.push_back(Tool::spectacle);
    else if (wayland)
        order.push_back(Tool::grimAndSlurp);
    for (Tool tool : {Tool::gnomeScreenshot, Tool::spectacle, Tool::grimAndSlurp, Tool::imageMagickImport})
        if (std::find(order.begin(), order.end(), tool) == order.end())
            order.push_back(tool);

    for (Tool tool : order) {
        QStringList names;
        switch (tool) {
        case Tool::gnomeScreenshot:
            names = {"gnome-screenshot"};
            break;
        case Tool::spectacle:
            names = {"spectacle"};
            break;
        case Tool::grimAndSlurp:
            // grim needs the wlroots capture protocol, which GNOME's and KDE's compositors lack.
            if (!wayland || gnome || kde)
                continue;
            names = {"slurp", "grim"};
            break;
        case Tool::imageMagickImport:
            // An X11 client: in a Wayland session it would see only the X11 windows.
            if (wayland)
                continue;
            names = {"import"};
            break;
        case Tool::regionGrab:
            continue;
        }
        QStringList programs;
        for (const QString& name : names)
            if (QString path = lookup(name); !path.isEmpty())
                programs << path;
        if (programs.size() == names.size())
            return {tool, programs};
    }
    return {};
}

ScreenCapture::ScreenCapture(QWidget* window)
    : QObject(window), window_(window), exportFolder_(UserDefaults::standard()),
      lookup_([](const QString& program) { return QStandardPaths::findExecutable(program); }) {
    presentAlert_ = [this](const QString& title, const QString& informativeText) {
        showWarningAlert(window_, title, informativeText);
    };
}

ScreenCapture::~ScreenCapture() {
    // The tool's window would otherwise stay up with nobody to save what it captures.
    if (process_) {
        process_->disconnect(this);
        process_->kill();
        process_->waitForFinished(1000);
    }
    delete overlay_.data();
}

bool ScreenCapture::capture(Instant time, const TimeZone& zone) {
    if (capturing_)
        return false;
    std::optional<QString> folder = exportFolder_.folder();
    if (!folder)
        return false;
    capturing_ = true;
    target_ = ExportFolder::unusedPath(*folder, ExportFolder::timeName(time, zone), "jpg");

    ToolChoice choice = chooseTool(qEnvironmentVariable("XDG_CURRENT_DESKTOP"),
                                   !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"), lookup_);
    auto finishedTool = [this](int exitCode, const QByteArray& output, const QByteArray&) {
        toolFinished(exitCode, output);
    };
    switch (choice.tool) {
    case Tool::gnomeScreenshot:
        run(choice.programs[0], {"-a", "-f", target_}, false, finishedTool);
        break;
    case Tool::spectacle:
        run(choice.programs[0], {"-b", "-r", "-n", "-o", target_}, false, finishedTool);
        break;
    case Tool::imageMagickImport:
        run(choice.programs[0], {target_}, false, finishedTool);
        break;
    case Tool::grimAndSlurp: {
        const QString grim = choice.programs[1];
        // slurp answers the region on its output, so its messages are kept apart from it.
        run(choice.programs[0], {}, true,
            [this, grim, finishedTool](int exitCode, const QByteArray& output, const QByteArray& errors) {
                if (exitCode != 0) {
                    // Esc in slurp ends it with "selection cancelled"; the user meant that.
                    if (errors.contains("cancel"))
                        end({});
                    else
                        toolFinished(exitCode, errors);
                    return;
                }
                run(grim, {"-g", QString::fromUtf8(output).trimmed(), "-t", "jpeg", target_}, false,
                    finishedTool);
            });
        break;
    }
    case Tool::regionGrab:
        startRegionGrab();
        break;
    }
    return true;
}

void ScreenCapture::run(const QString& program, const QStringList& arguments, bool separate,
                        ProcessDone done) {
    auto* process = new QProcess(this);
    process_ = process;
    process->setProcessChannelMode(separate ? QProcess::SeparateChannels : QProcess::MergedChannels);
    connect(process, &QProcess::finished, this,
            [this, process, done](int exitCode, QProcess::ExitStatus status) {
                process->deleteLater();
                // A tool killed by a signal reports the signal's number, never 0.
                if (status == QProcess::CrashExit && exitCode == 0)
                    exitCode = -1;
                QByteArray errors;
                if (process->processChannelMode() == QProcess::SeparateChannels)
                    errors = process->readAllStandardError();
                done(exitCode, process->readAllStandardOutput(), errors);
            });
    connect(process, &QProcess::errorOccurred, this, [this, process, program](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        process->deleteLater();
        fail("Warning: could not run " + program + ": " + process->errorString());
    });
    process->start(program, arguments);
}

void ScreenCapture::toolFinished(int exitCode, const QByteArray& output) {
    if (exitCode != 0) {
        QString diagnostic = "Warning: termination status: " + QString::number(exitCode);
        if (QString text = QString::fromLocal8Bit(output).trimmed(); !text.isEmpty())
            diagnostic += "\n" + text;
        fail(diagnostic);
        return;
    }
    QFileInfo file(target_);
    if (!file.exists() || file.size() == 0) {
        // The tool ended well without a file: the user cancelled its selection.
        QFile::remove(target_);
        end({});
        return;
    }
    makeJpeg(target_);
    end(target_);
}

void ScreenCapture::startRegionGrab() {
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen && window_)
        screen = window_->screen();
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    QPixmap shot = screen ? screen->grabWindow(0) : QPixmap();
    if (shot.isNull()) {
        // Wayland does not let a program read the screen; only a desktop tool could.
        fail("Warning: the screen could not be grabbed, and no screen capture tool (gnome-screenshot, "
             "spectacle, grim and slurp, import) was found");
        return;
    }
    overlay_ = new RegionGrabOverlay(shot);
    connect(overlay_, &RegionGrabOverlay::regionChosen, this, &ScreenCapture::regionChosen);
    connect(overlay_, &RegionGrabOverlay::cancelled, this, [this] { end({}); });
    overlay_->setGeometry(screen->geometry());
    overlay_->showFullScreen();
    overlay_->activateWindow();
    overlay_->setFocus();
}

void ScreenCapture::regionChosen(const QImage& image) {
    if (QString error = writeJpeg(image, target_); !error.isEmpty()) {
        Diagnostics::printLine(
            ("Warning: could not write the screen capture to " + target_ + ": " + error).toStdString());
        presentAlert_(tr("Could not save the screen capture"),
                      tr("The capture could not be written to %1: %2. Check that the folder can be written, "
                         "or choose another with Choose Export Folder…")
                          .arg(target_, error));
        end({});
        return;
    }
    end(target_);
}

void ScreenCapture::fail(const QString& diagnostic) {
    Diagnostics::printLine(diagnostic.toStdString());
    presentAlert_(tr("Could not capture screen"), tr("Something went wrong capturing the screen"));
    end({});
}

void ScreenCapture::end(const QString& path) {
    capturing_ = false;
    emit finished(path);
}
