#pragma once

#include "core/Instant.h"
#include "presentation/ExportFolder.h"
#include "presentation/RegionGrabOverlay.h"

#include <QObject>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <functional>

class TimeZone;
class QWidget;

// "Capture Screen…": the user picks a region of the screen, which is saved as a JPEG in the export
// folder. The desktop's own capture tool does the picking where one is installed, so that it works
// the way the user knows (and on Wayland, where a program may not read the screen itself); without
// one, Wakeline grabs the screen and shows it for the user to drag a rectangle on.
class ScreenCapture : public QObject {
    Q_OBJECT
public:
    using AlertPresenter = std::function<void(const QString& title, const QString& informativeText)>;
    // The full path of an installed program, or empty. Searches PATH unless replaced.
    using ToolLookup = std::function<QString(const QString& program)>;

    enum class Tool { gnomeScreenshot, spectacle, grimAndSlurp, imageMagickImport, regionGrab };
    struct ToolChoice {
        Tool tool = Tool::regionGrab;
        // The programs to run, in order, as found by the lookup.
        QStringList programs;
    };
    // The desktop's own tool first (`desktop` as in XDG_CURRENT_DESKTOP), then any other that
    // works in that kind of session; the region grab when none is installed.
    static ToolChoice chooseTool(const QString& desktop, bool wayland, const ToolLookup& lookup);

    explicit ScreenCapture(QWidget* window = nullptr);
    ~ScreenCapture() override;

    ExportFolder& exportFolder() { return exportFolder_; }
    void setAlertPresenter(AlertPresenter presenter) { presentAlert_ = std::move(presenter); }
    void setToolLookup(ToolLookup lookup) { lookup_ = std::move(lookup); }

    // Starts a capture saved under `time` in `zone` (the view passes the playback position); it
    // ends with `finished`. False when nothing was started: a capture is already running, or the
    // user cancelled the folder choice.
    bool capture(Instant time, const TimeZone& zone);
    bool isCapturing() const { return capturing_; }
    // The overlay of the region grab while it is up.
    RegionGrabOverlay* regionGrabOverlay() const { return overlay_; }

signals:
    // The JPEG written; empty when the user cancelled or the capture failed (and was told why).
    void finished(const QString& path);

private:
    using ProcessDone = std::function<void(int exitCode, const QByteArray& output, const QByteArray& errors)>;
    // Runs `program` without waiting for it. Output and errors come merged unless `separate`.
    void run(const QString& program, const QStringList& arguments, bool separate, ProcessDone done);
    void toolFinished(int exitCode, const QByteArray& output);
    void startRegionGrab();
    void regionChosen(const QImage& image);
    void fail(const QString& diagnostic);
    void end(const QString& path);

    QWidget* window_;
    ExportFolder exportFolder_;
    AlertPresenter presentAlert_;
    ToolLookup lookup_;

    bool capturing_ = false;
    QString target_;
    QPointer<QProcess> process_;
    QPointer<RegionGrabOverlay> overlay_;
};
