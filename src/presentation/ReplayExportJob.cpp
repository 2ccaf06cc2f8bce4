#include "presentation/ReplayExportJob.h"

#include "document/Document.h"
#include "document/DocumentSnapshot.h"
#include "document/MetricsOverlayContent.h"
#include "media/MediaAsset.h"
#include "media/ReplayEncodingThread.h"
#include "presentation/MetricsOverlayView.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoPlaybackViewController.h"

#include <QFileInfo>
#include <QPainter>
#include <QTimer>
#include <cmath>

namespace {

// Pictures drawn ahead of the encoder: two keep both busy, more only hold memory.
constexpr std::size_t queuedPictures = 3;
// How long a picture waits for the exact video frame (far from a keyframe in 4K, a slow disk)
// before it is drawn with the newest frame there is.
constexpr int frameWaitMilliseconds = 30000;
constexpr int largestSide = 8192;

std::int64_t soundFramesBefore(int picture, int framesPerSecond) {
    return std::llround(double(picture) * ReplaySoundTrack::sampleRate / framesPerSecond);
}

} // namespace

ReplayExportJob::ReplayExportJob(const Document& document, const Settings& settings, QObject* parent)
    : QObject(parent), settings_(settings), document_(std::make_unique<Document>()) {
    copyDocumentContent(document, *document_);
    total_ = frameCount(settings_.to - settings_.from, settings_.framesPerSecond, settings_.speed);
    frameTimeout_ = new QTimer(this);
    frameTimeout_->setSingleShot(true);
    frameTimeout_->setInterval(frameWaitMilliseconds);
    connect(frameTimeout_, &QTimer::timeout, this, [this] {
        timedOut_ = true;
        step();
    });
}

ReplayExportJob::~ReplayExportJob() {
    // The encoder first: it may still hold pictures, and its partial film goes with it.
    encoder_.reset();
}

int ReplayExportJob::frameCount(double eventSeconds, int framesPerSecond, double speed) {
    if (!(eventSeconds > 0.0) || framesPerSecond <= 0 || !(speed > 0.0))
        return 0;
    // Times given to the millisecond land a little off in doubles: a thousandth of a frame more is no
    // frame more.
    return int(std::ceil(eventSeconds / speed * framesPerSecond - 1e-3));
}

QString ReplayExportJob::problem(const Settings& settings) {
    if (!(settings.to > settings.from))
        return tr("The end of the range must come after its start.");
    const QSize size = settings.size;
    if (size.width() < 16 || size.height() < 16 || size.width() > largestSide ||
        size.height() > largestSide || size.width() % 2 || size.height() % 2)
        return tr("The size must be even on both sides, from 16 to %1 pixels.").arg(largestSide);
    if (settings.framesPerSecond < 1 || settings.framesPerSecond > 120)
        return tr("The frame rate must be from 1 to 120 frames per second.");
    if (!(settings.speed > 0.0) || settings.speed > 100.0)
        return tr("The speed must be more than 0 and at most 100 times real time.");
    if (frameCount(settings.to - settings.from, settings.framesPerSecond, settings.speed) < 1)
        return tr("The range is too short for a single frame.");
    const QString suffix = QFileInfo(settings.output).suffix().toLower();
    if (settings.output.isEmpty())
        return tr("No file was chosen for the film.");
    if (!settings.layout && suffix != QLatin1String("mov"))
        return tr("Overlays alone are written as QuickTime (ProRes 4444 with transparency): the file "
                  "name must end in .mov.");
    if (settings.layout && suffix != QLatin1String("mp4") && suffix != QLatin1String("m4v") &&
        suffix != QLatin1String("mov"))
        return tr("The film is written as MP4 (H.264 and AAC): the file name must end in .mp4.");
    return {};
}

bool ReplayExportJob::start() {
    if (outcome_ != Outcome::pending || encoder_) {
        failure_ = tr("This export has already run.");
        return false;
    }
    if (QString reason = problem(settings_); !reason.isEmpty()) {
        failure_ = reason;
        outcome_ = Outcome::failed;
        return false;
    }
    if (settings_.layout) {
        window_ = std::make_unique<PresentationWindowController>();
        window_->setAttribute(Qt::WA_DontShowOnScreen);
        window_->setCurrentDocument(document_.get());
        // The user's window as it is, in the export's layout and at the film's size.
        QVariantMap state = settings_.windowState;
        state.remove(QStringLiteral("frame"));
        state.insert(QStringLiteral("layout"), presentationLayoutText(*settings_.layout));
        window_->restoreState(state);
        if (auto* video = window_->videoViewController()) {
            video->setShowsControls(false);
            video->setUsesProxies(false);
            video->setDecodesAhead(true);
            connect(
                video, &VideoPlaybackViewController::videoFrameShown, this, [this] { step(); },
                Qt::QueuedConnection);
            connect(
                video, &VideoPlaybackViewController::photoShown, this, [this] { step(); },
                Qt::QueuedConnection);
            connect(
                video, &VideoPlaybackViewController::videoFailed, this, [this] { step(); },
                Qt::QueuedConnection);
        }
        window_->resize(settings_.size);
        window_->show();
        // Laid out now: the picture is decoded at the size it is drawn.
        if (auto* video = window_->videoViewController())
            video->setFrameSizeLimit(video->size());
    } else {
        overlays_ = std::make_unique<MetricsOverlayContent>();
        QStringList metrics = MetricsOverlayContent::defaultMetrics();
        QStringList beforeGun = MetricsOverlayContent::defaultMetricsBeforeGun();
        const QVariant after = settings_.windowState.value(QStringLiteral("initialDisplayedMetrics"));
        const QVariant before =
            settings_.windowState.value(QStringLiteral("initialDisplayedMetricsBeforeGun"));
        if (after.canConvert<QStringList>() && after.isValid())
            metrics = after.toStringList();
        if (before.canConvert<QStringList>() && before.isValid())
            beforeGun = before.toStringList();
        overlays_->setMetrics(metrics, beforeGun);
    }

    VideoEncoder::Settings encoding;
    encoding.codec = settings_.layout ? VideoEncoder::Codec::h264 : VideoEncoder::Codec::proRes4444;
    encoding.width = settings_.size.width();
    encoding.height = settings_.size.height();
    encoding.framesPerSecond = settings_.framesPerSecond;
    encoding.sound = settings_.sound && settings_.speed == 1.0 && window_ && window_->videoViewController();
    QString reason;
    auto encoder = VideoEncoder::open(settings_.output, encoding, &reason);
    if (!encoder) {
        failure_ = reason;
        outcome_ = Outcome::failed;
        window_.reset();
        return false;
    }
    encoder_ = std::make_unique<ReplayEncodingThread>(std::move(encoder), queuedPictures, [this] {
        QMetaObject::invokeMethod(this, &ReplayExportJob::pictureEncoded, Qt::QueuedConnection);
    });
    clock_.start();
    // After the views have taken in the copy (races and boats are announced once events run).
    QMetaObject::invokeMethod(this, &ReplayExportJob::step, Qt::QueuedConnection);
    return true;
}

void ReplayExportJob::cancel() {
    if (outcome_ != Outcome::pending)
        return;
    if (encoder_)
        encoder_->cancel();
    else
        end(Outcome::cancelled);
}

int ReplayExportJob::framesEncoded() const {
    return encoder_ ? encoder_->picturesEncoded() : 0;
}

double ReplayExportJob::elapsedSeconds() const {
    return clock_.isValid() ? double(clock_.nsecsElapsed()) / 1e9 : 0.0;
}

double ReplayExportJob::speedAgainstRealTime() const {
    const double elapsed = elapsedSeconds();
    if (elapsed <= 0.0 || framesEncoded() == 0)
        return 0.0;
    return double(framesEncoded()) / settings_.framesPerSecond / elapsed;
}

std::optional<double> ReplayExportJob::secondsLeft() const {
    const int done = framesEncoded();
    if (done < 5)
        return std::nullopt;
    return elapsedSeconds() / done * (total_ - done);
}

bool ReplayExportJob::waitingForVideo() {
    auto* video = window_ ? window_->videoViewController() : nullptr;
    if (!video || video->isSettled())
        return false;
    if (!timedOut_)
        return true;
    ++framesNotReady_;
    return false;
}

void ReplayExportJob::step() {
    if (outcome_ != Outcome::pending || finishing_ || !encoder_)
        return;
    if (next_ >= total_) {
        finishing_ = true;
        encoder_->finish();
        return;
    }
    // The encoder calls back once it has taken a picture.
    if (!encoder_->hasRoom())
        return;
    const Instant position = settings_.from + double(next_) * settings_.speed / settings_.framesPerSecond;
    if (!positioned_) {
        document_->setPlaybackPosition(position, next_ == 0);
        positioned_ = true;
        timedOut_ = false;
        frameTimeout_->start();
    }
    // The view announces the exact frame; this runs again then.
    if (waitingForVideo())
        return;
    frameTimeout_->stop();

    ReplayEncodingThread::Picture picture;
    std::shared_ptr<const QImage> image = drawPicture(position);
    picture.pixels = image->constBits();
    picture.stride = int(image->bytesPerLine());
    picture.keeper = image;
    picture.soundFrames = soundFramesBefore(next_ + 1, settings_.framesPerSecond) -
                          soundFramesBefore(next_, settings_.framesPerSecond);
    if (auto* video = window_ ? window_->videoViewController() : nullptr) {
        const auto& asset = video->currentAsset();
        if (auto seconds = video->videoSeconds(); asset && seconds && video->videoFailure().isEmpty())
            picture.sound = ReplaySoundTrack::Source{asset->url().toLocalFile(), *seconds};
    }
    encoder_->push(std::move(picture));
    ++next_;
    positioned_ = false;
    QMetaObject::invokeMethod(this, &ReplayExportJob::step, Qt::QueuedConnection);
}

std::shared_ptr<QImage> ReplayExportJob::freePicture() {
    // The encoding thread lets go of a picture once encoded; one held here alone is free.
    for (const auto& picture : pictures_)
        if (picture.use_count() == 1)
            return picture;
    pictures_.push_back(std::make_shared<QImage>(settings_.size, QImage::Format_RGB32));
    return pictures_.back();
}

std::shared_ptr<const QImage> ReplayExportJob::drawPicture(Instant position) {
    if (!window_) {
        QImage image(settings_.size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        {
            QPainter painter(&image);
            MetricsOverlayView::paintOverlays(painter, QRectF(image.rect()),
                                              overlays_->at(*document_, position));
        }
        // The encoder takes straight alpha.
        return std::make_shared<const QImage>(image.convertToFormat(QImage::Format_ARGB32));
    }
    std::shared_ptr<QImage> image = freePicture();
    image->fill(Qt::black);
    QPainter painter(image.get());
    window_->render(&painter);
    return image;
}

void ReplayExportJob::pictureEncoded() {
    if (outcome_ != Outcome::pending || !encoder_)
        return;
    switch (encoder_->state()) {
    case ReplayEncodingThread::State::running:
        emit progressed();
        step();
        return;
    case ReplayEncodingThread::State::finished:
        emit progressed();
        end(Outcome::finished);
        return;
    case ReplayEncodingThread::State::failed:
        failure_ = encoder_->failure();
        end(Outcome::failed);
        return;
    case ReplayEncodingThread::State::cancelled:
        end(Outcome::cancelled);
        return;
    }
}

void ReplayExportJob::end(Outcome outcome) {
    outcome_ = outcome;
    frameTimeout_->stop();
    if (encoder_)
        for (const QString& problem : encoder_->soundProblems())
            warnings_ << tr("No sound from %1").arg(problem);
    if (framesNotReady_ > 0)
        warnings_ << tr("%n picture(s) show the video frame before the exact one, which took too long "
                        "to decode.",
                        nullptr, framesNotReady_);
    // The window goes now: its decoder threads have nothing more to do.
    window_.reset();
    emit finished();
}
