#pragma once

#include "core/Instant.h"
#include "presentation/PresentationLayout.h"

#include <QElapsedTimer>
#include <QImage>
#include <QObject>
#include <QSize>
#include <QStringList>
#include <QVariantMap>
#include <memory>
#include <optional>
#include <vector>

class Document;
class MetricsOverlayContent;
class PresentationWindowController;
class QTimer;
class ReplayEncodingThread;

// Exports a stretch of an event as a film: every picture drawn by the same views as the screen, in a
// window of the export's own that nobody sees, at the film's size; each video frame in it the exact
// frame of that instant. The views draw on the main thread, a picture at a time between other
// events; the encoding runs on a thread of its own meanwhile.
//
// The export works on a copy of the document, so the user's windows keep their playback position
// and can be used while it runs.
class ReplayExportJob : public QObject {
    Q_OBJECT
public:
    struct Settings {
        Instant from;
        Instant to;
        // None: the overlays alone, on a transparent picture, for an editor's own cut.
        std::optional<PresentationLayout> layout = PresentationLayout::videoMapTimeline;
        QSize size{1280, 720};
        int framesPerSecond = 25;
        // Event seconds per second of film.
        double speed = 1.0;
        // The sound of the video on screen; at 1× only, and only with a media view.
        bool sound = true;
        QString output;
        // A window's state record: its overlay lists, media group, track colours and graph.
        QVariantMap windowState;
    };
    enum class Outcome { pending, finished, failed, cancelled };

    ReplayExportJob(const Document& document, const Settings& settings, QObject* parent = nullptr);
    ~ReplayExportJob() override;

    // The number of pictures for a stretch, a rate and a speed.
    static int frameCount(double eventSeconds, int framesPerSecond, double speed);
    // What `start` would refuse, for a dialog to say before anything starts; empty when fine.
    static QString problem(const Settings& settings);

    // Starts the work and returns; false, with `failure`, when the film cannot even be begun.
    bool start();
    // Stops soon; the partial film is removed and `finished` follows.
    void cancel();

    const Settings& settings() const { return settings_; }
    int totalFrames() const { return total_; }
    int framesEncoded() const;
    double elapsedSeconds() const;
    // Film seconds encoded per wall-clock second, once a few pictures are done.
    double speedAgainstRealTime() const;
    std::optional<double> secondsLeft() const;
    Outcome outcome() const { return outcome_; }
    const QString& failure() const { return failure_; }
    // Things the user may want to know of a finished film (a frame not ready in time, a video
    // without readable sound).
    const QStringList& warnings() const { return warnings_; }
    // The window the pictures come from; none for overlays alone.
    PresentationWindowController* window() const { return window_.get(); }

signals:
    // After every picture encoded; on the main thread.
    void progressed();
    void finished();

private:
    void step();
    void pictureEncoded();
    bool waitingForVideo();
    std::shared_ptr<const QImage> drawPicture(Instant position);
    // A picture of the film's size that the encoder is done with, or a new one.
    std::shared_ptr<QImage> freePicture();
    void end(Outcome outcome);

    Settings settings_;
    std::unique_ptr<Document> document_;
    std::unique_ptr<PresentationWindowController> window_;
    std::unique_ptr<MetricsOverlayContent> overlays_;
    std::unique_ptr<ReplayEncodingThread> encoder_;
    // Pictures handed to the encoder come back here: large images are costly to allocate anew.
    std::vector<std::shared_ptr<QImage>> pictures_;
    QTimer* frameTimeout_ = nullptr;
    QElapsedTimer clock_;
    int total_ = 0;
    int next_ = 0;
    bool positioned_ = false;
    bool stepQueued_ = false;
    bool finishing_ = false;
    bool timedOut_ = false;
    int framesNotReady_ = 0;
    Outcome outcome_ = Outcome::pending;
    QString failure_;
    QStringList warnings_;
};
