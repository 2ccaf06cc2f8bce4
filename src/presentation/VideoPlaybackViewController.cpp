#include "presentation/VideoPlaybackViewController.h"

#include "config/MetricsConfigViewController.h"
#include "core/Diagnostics.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/ShiftAssets.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "media/VideoDecoderThread.h"
#include "media/VideoProxyPolicy.h"
#include "media/VideoProxyStore.h"
#include "media/VisibleAssets.h"
#include "presentation/AssetShiftViewController.h"
#include "presentation/EditPerformer.h"
#include "presentation/MediaExporter.h"
#include "presentation/MetricsOverlayView.h"
#include "presentation/ScreenCapture.h"
#include "presentation/VideoFrameView.h"
#include "presentation/VideoProxyMaker.h"
#include "presentation/VideoSound.h"
#include "presentation/WarningAlert.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QEvent>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QPointer>
#include <QResizeEvent>
#include <QThread>
#include <QThreadPool>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <utility>

const QString VideoPlaybackViewController::noAssetsText =
    QStringLiteral("No video or photo content available.\nAdd assets in the assets panel.");
const QString VideoPlaybackViewController::nothingVisibleText =
    QStringLiteral("No video or photo content at the current playback position.\nSelect another playback "
                   "position in the timeline, or change this window's media group.");
const QString VideoPlaybackViewController::cannotPlayPrefix = QStringLiteral("This video cannot be played: ");

namespace {

QLabel* makeCentredLabel(QWidget* parent, const char* name) {
    auto* label = new QLabel(parent);
    label->setObjectName(name);
    label->setAlignment(Qt::AlignCenter);
    // A label's size hint would otherwise follow its pixmap and grow the window.
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    label->setWordWrap(true);
    label->hide();
    return label;
}

// More than the rounding of the difference of two instants; less than any frame.
constexpr double instantRounding = 1e-6;

// The step used when no video is displayed: one tick of the playback clock.
constexpr double defaultFrameStep = 0.04;

// Lands inside a frame's display interval, clear of rounding at its edges.
double insideFrame(double duration) {
    return std::min(0.001, duration / 4.0);
}

} // namespace

VideoPlaybackViewController::VideoPlaybackViewController(QWidget* parent)
    : DocumentObservingViewController(parent), backgroundView_(new QWidget(this)),
      imageView_(makeCentredLabel(backgroundView_, "imageView")),
      videoPlayer_(new VideoFrameView(backgroundView_)),
      noContentInfoLabel_(makeCentredLabel(backgroundView_, "noContentInfoLabel")),
      buttonBar_(new QWidget(this)), shiftButton_(new QToolButton(buttonBar_)),
      saveButton_(new QToolButton(buttonBar_)), saveAllButton_(new QToolButton(buttonBar_)),
      configButton_(new QToolButton(buttonBar_)),
      metricsView_(new MetricsOverlayView(MetricsOverlayView::Side::right, backgroundView_)),
      metricsViewLeft_(new MetricsOverlayView(MetricsOverlayView::Side::left, backgroundView_)),
      exporter_(new MediaExporter(this)), capture_(new ScreenCapture(this)),
      photoDecodingExecutor_(
          [](std::function<void()> work) { QThreadPool::globalInstance()->start(std::move(work)); }) {
    setObjectName("VideoPlayback");
    backgroundView_->setObjectName("backgroundView");
    backgroundView_->setAutoFillBackground(true);
    QPalette palette = backgroundView_->palette();
    palette.setColor(QPalette::Window, Qt::black);
    palette.setColor(QPalette::WindowText, QColor(0xd0, 0xd0, 0xd0));
    backgroundView_->setPalette(palette);

    videoPlayer_->hide();

    // The media views lie on top of each other; one at a time is visible.
    auto* stack = new QGridLayout(backgroundView_);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->addWidget(imageView_, 0, 0);
    stack->addWidget(videoPlayer_, 0, 0);
    stack->addWidget(noContentInfoLabel_, 0, 0);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(backgroundView_);
    imageView_->installEventFilter(this);
    backgroundView_->installEventFilter(this);
    videoPlayer_->installEventFilter(this);
    metricsView_->hide();
    metricsViewLeft_->hide();

    // The view's own commands float over its top right corner.
    buttonBar_->setObjectName("mediaButtons");
    auto* buttons = new QHBoxLayout(buttonBar_);
    buttons->setContentsMargins(4, 4, 4, 4);
    buttons->setSpacing(2);
    shiftButton_->setObjectName("shiftButton");
    shiftButton_->setText(tr("Shift"));
    shiftButton_->setToolTip(tr("Adjust the time of this photo or video (Ctrl+T)"));
    shiftButton_->setCheckable(true);
    connect(shiftButton_, &QToolButton::clicked, this, [this] { toggleAssetShift(); });
    buttons->addWidget(shiftButton_);
    saveButton_->setObjectName("saveButton");
    saveButton_->setText(tr("Snapshot"));
    saveButton_->setToolTip(tr("Save the picture on screen at its own resolution (Ctrl+E)"));
    connect(saveButton_, &QToolButton::clicked, this, [this] { exportCurrentView(); });
    buttons->addWidget(saveButton_);
    saveAllButton_->setObjectName("saveAllButton");
    saveAllButton_->setText(tr("Export Photos"));
    saveAllButton_->setToolTip(tr("Copy every photo of this media group into the export folder"));
    connect(saveAllButton_, &QToolButton::clicked, this, [this] { exportAllPhotos(); });
    buttons->addWidget(saveAllButton_);
    configButton_->setObjectName("configButton");
    configButton_->setText(tr("Overlays"));
    configButton_->setToolTip(tr("Choose the numbers shown over the picture, the media group and the sound"));
    connect(configButton_, &QToolButton::clicked, this, [this] { openMetricsConfig(); });
    buttons->addWidget(configButton_);
    // Shown while the pointer is over the view, as in a video player: the picture stays clean for
    // watching and for stills.
    buttonBar_->hide();

    alert_ = [this](const QString& message, const QString& informativeText) {
        showWarningAlert(this, message, informativeText);
    };
    auto forwardAlert = [this](const QString& message, const QString& informativeText) {
        alert_(message, informativeText);
    };
    exporter_->setAlertPresenter(forwardAlert);
    connect(&VideoProxyMaker::shared(), &VideoProxyMaker::proxyReady, this, [this](const QString& original) {
        // Moves over to the lighter copy of the video on screen, at the same frame.
        if (currentAsset_ && !currentAsset_->isPhoto() && currentAsset_->url().toLocalFile() == original &&
            playbackPath_ == original) {
            openVideo(*currentAsset_);
        }
    });
    capture_->setAlertPresenter(forwardAlert);
    showMessage(noAssetsText);
}

VideoPlaybackViewController::~VideoPlaybackViewController() {
    if (shiftAssetPopover_)
        shiftAssetPopover_->close();
    // Its opener is gone; a configuration left open would edit nothing.
    if (metricsWindowController_)
        metricsWindowController_->close();
}

std::shared_ptr<MediaGroup> VideoPlaybackViewController::mediaGroup() const {
    if (mediaGroup_)
        return mediaGroup_;
    if (Document* d = document(); d && !d->mediaGroups().empty())
        return d->mediaGroups().front();
    return nullptr;
}

void VideoPlaybackViewController::setMediaGroup(std::shared_ptr<MediaGroup> group) {
    mediaGroup_ = std::move(group);
    chooseAsset();
}

void VideoPlaybackViewController::setDisplayedMetrics(const QStringList& metrics,
                                                      const QStringList& beforeGun) {
    displayedMetrics_ = metrics;
    displayedMetricsBeforeGun_ = beforeGun;
    overlayContent_.setMetrics(metrics, beforeGun);
    updateOverlays();
}

void VideoPlaybackViewController::refresh() {
    chooseAsset();
}

void VideoPlaybackViewController::viewDidAppear() {
    DocumentObservingViewController::viewDidAppear();
    // Nothing was heard while hidden.
    chooseAsset();
    updateOverlays();
}

void VideoPlaybackViewController::viewWillDisappear() {
    // Hidden, the view hears no more ticks: its sound and its decoding ahead stop with it.
    syncSound(false, 0.0);
    if (decoder_)
        decoder_->setPlaying(false);
    DocumentObservingViewController::viewWillDisappear();
}

void VideoPlaybackViewController::documentDidChange() {
    // A group of another document shows nothing here; its namesake in this document stands in.
    Document* d = document();
    if (d && mediaGroup_) {
        const auto& groups = d->mediaGroups();
        if (std::find(groups.begin(), groups.end(), mediaGroup_) == groups.end())
            if (auto namesake = d->mediaGroupNamed(mediaGroup_->name))
                mediaGroup_ = namesake;
    }
    chooseAsset();
    updateOverlays();
}

void VideoPlaybackViewController::didUpdateAssets() {
    chooseAsset();
    // Log time zones and offsets may have changed.
    updateOverlays();
}

void VideoPlaybackViewController::didUpdatePlaybackPosition(std::optional<Instant>, bool) {
    chooseAsset();
    updateOverlays();
}

void VideoPlaybackViewController::didUpdateBoats() {
    updateOverlays();
}

void VideoPlaybackViewController::didUpdateRaces() {
    updateOverlays();
}

void VideoPlaybackViewController::didPause() {
    syncVideo();
}

void VideoPlaybackViewController::didPlay() {
    syncVideo();
}

void VideoPlaybackViewController::chooseAsset() {
    Document* d = document();
    std::shared_ptr<MediaGroup> group = mediaGroup();
    std::shared_ptr<MediaAsset> chosen;
    std::optional<Instant> position = d ? d->eventPlaybackPosition() : std::nullopt;
    if (d && group && position) {
        auto visible = visibleAssets(d->assets(), group, *position);
        if (!visible.empty())
            chosen = visible.front();
    }
    if (chosen != currentAsset_)
        changeAsset(chosen);
    if (currentAsset_) {
        if (!currentAsset_->isPhoto())
            syncVideo();
        return;
    }
    bool groupHasAssets = d && group &&
                          std::any_of(d->assets().begin(), d->assets().end(),
                                      [&](const auto& a) { return a->mediaGroup() == group; });
    showMessage(groupHasAssets ? nothingVisibleText : noAssetsText);
}

void VideoPlaybackViewController::changeAsset(std::shared_ptr<MediaAsset> asset) {
    currentAsset_ = std::move(asset);
    // Whatever is still decoding belongs to the asset before.
    ++photoRequest_;
    displayedImage_ = QImage();
    imageView_->clear();
    imageView_->hide();
    decoder_.reset();
    sound_.reset();
    soundPlaying_ = false;
    playbackPath_.clear();
    videoFailure_.clear();
    videoPlayer_->clear();
    videoPlayer_->hide();
    placeOverlays();
    if (currentAsset_) {
        noContentInfoLabel_->hide();
        if (currentAsset_->isPhoto())
            loadPhoto(*currentAsset_);
        else
            openVideo(*currentAsset_);
    }
    if (shiftAssetPopover_) {
        shiftAssetPopover_->setAsset(currentAsset_);
        shiftAssetPopover_->setFrameDuration(frameDuration().value_or(defaultFrameStep));
    }
    emit currentAssetChanged();
}

void VideoPlaybackViewController::loadPhoto(const MediaAsset& asset) {
    std::uint64_t request = photoRequest_;
    QString path = asset.url().toLocalFile();
    QPointer<VideoPlaybackViewController> self(this);
    photoDecodingExecutor_([self, request, path] {
        QImageReader reader(path);
        // Cameras store portrait photos sideways with an orientation tag.
        reader.setAutoTransform(true);
        QSize size = reader.size();
        if (size.isValid() && std::max(size.width(), size.height()) > maximumPhotoSide)
            reader.setScaledSize(size.scaled(maximumPhotoSide, maximumPhotoSide, Qt::KeepAspectRatio));
        QImage image = reader.read();
        QString error = image.isNull() ? reader.errorString() : QString();
        // The application object lives as long as the main thread; the view may not.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, request, path, image = std::move(image), error] {
                if (self)
                    self->photoDidLoad(request, path, image, error);
            },
            Qt::QueuedConnection);
    });
}

void VideoPlaybackViewController::photoDidLoad(std::uint64_t request, const QString& path,
                                               const QImage& image, const QString& error) {
    if (request != photoRequest_)
        return;
    if (image.isNull()) {
        Diagnostics::printLine(("Warning: could not read photo " + path + ": " + error).toStdString());
        showMessage(tr("The photo %1 could not be read.\n%2").arg(QFileInfo(path).fileName(), error));
    } else {
        displayedImage_ = image;
        noContentInfoLabel_->hide();
        imageView_->show();
        updateScaledImage();
    }
    placeOverlays();
    emit photoShown();
}

void VideoPlaybackViewController::showMessage(const QString& text) {
    if (noContentInfoLabel_->text() != text)
        noContentInfoLabel_->setText(text);
    noContentInfoLabel_->show();
    placeOverlays();
}

bool VideoPlaybackViewController::eventFilter(QObject* watched, QEvent* event) {
    // The image view learns its size last, after the layouts below this view have run.
    if (watched == imageView_ && event->type() == QEvent::Resize)
        updateScaledImage();
    if ((watched == backgroundView_ || watched == videoPlayer_ || watched == imageView_) &&
        event->type() == QEvent::Resize)
        placeOverlays();
    return DocumentObservingViewController::eventFilter(watched, event);
}

void VideoPlaybackViewController::updateScaledImage() {
    if (displayedImage_.isNull())
        return;
    QSize target = imageView_->size() * imageView_->devicePixelRatioF();
    if (target.isEmpty())
        return;
    QPixmap pixmap =
        QPixmap::fromImage(displayedImage_.scaled(target, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    pixmap.setDevicePixelRatio(imageView_->devicePixelRatioF());
    imageView_->setPixmap(pixmap);
}

void VideoPlaybackViewController::openVideo(const MediaAsset& asset) {
    const QString original = asset.url().toLocalFile();
    const QString proxy = usesProxies_ ? VideoProxyStore().find(original) : QString();
    playbackPath_ = proxy.isEmpty() ? original : proxy;
    VideoDecoder::Options options;
    options.maximumWidth = frameSizeLimit_.width();
    options.maximumHeight = frameSizeLimit_.height();
    decoder_ = std::make_unique<VideoDecoderThread>(playbackPath_, options);
    connect(decoder_.get(), &VideoDecoderThread::opened, this, [this] {
        if (shiftAssetPopover_)
            shiftAssetPopover_->setFrameDuration(frameDuration().value_or(defaultFrameStep));
        considerProxy();
        syncVideo();
    });
    connect(decoder_.get(), &VideoDecoderThread::failed, this, &VideoPlaybackViewController::videoDidFail);
    connect(decoder_.get(), &VideoDecoderThread::frameReady, this,
            [this](const VideoFrame& frame) { showVideoFrame(frame, decoder_ && decoder_->isCurrent()); });
    videoPlayer_->show();
    syncVideo();
}

void VideoPlaybackViewController::considerProxy() {
    if (!usesProxies_ || !currentAsset_ || !decoder_ || !decoder_->info())
        return;
    const QString original = currentAsset_->url().toLocalFile();
    if (playbackPath_ != original)
        return;
    VideoProxyPolicy policy =
        VideoProxyPolicy::fromDefaults(UserDefaults::standard(), QThread::idealThreadCount());
    if (!policy.needsProxy(*decoder_->info()))
        return;
    VideoProxyMaker& maker = VideoProxyMaker::shared();
    maker.request(original);
}

std::optional<double> VideoPlaybackViewController::videoSeconds() const {
    Document* d = document();
    if (!d || !currentAsset_ || currentAsset_->isPhoto())
        return std::nullopt;
    std::optional<Instant> position = d->eventPlaybackPosition();
    if (!position)
        return std::nullopt;
    // Instants hold about a tenth of a microsecond near today's dates, so the difference of two can
    // fall just short of a frame's start and show the frame before. A microsecond later is still
    // inside the same frame for any real frame rate.
    return *position - currentAsset_->startTime() + instantRounding;
}

void VideoPlaybackViewController::syncVideo() {
    if (!decoder_ || !videoFailure_.isEmpty())
        return;
    std::optional<double> seconds = videoSeconds();
    if (!seconds)
        return;
    Document* d = document();
    // The thread decodes ahead of the position only while the clock runs.
    const bool playing = d && d->isPlaying();
    decoder_->setPlaying(playing || decodesAhead_);
    videoPlayer_->setFastScaling(playing);
    syncSound(playing, *seconds);
    VideoDecoderThread::Answer answer = decoder_->request(*seconds);
    if (!answer.frame.isNull())
        showVideoFrame(answer.frame, answer.exact);
}

void VideoPlaybackViewController::syncSound(bool playing, double seconds) {
    if (!playing) {
        if (soundPlaying_)
            sound_->pause();
        soundPlaying_ = false;
        return;
    }
    if (!sound_) {
        // From the original: a proxy may have had to leave the sound out.
        sound_ = std::make_unique<VideoSound>(currentAsset_->url().toLocalFile());
        sound_->setMuted(muteAudio_);
    }
    if (soundPlaying_) {
        sound_->sync(seconds);
    } else {
        sound_->play(seconds);
        soundPlaying_ = true;
    }
}

void VideoPlaybackViewController::setMuteAudio(bool mute) {
    muteAudio_ = mute;
    if (sound_)
        sound_->setMuted(mute);
}

void VideoPlaybackViewController::showVideoFrame(const VideoFrame& frame, bool exact) {
    videoPlayer_->setFrame(frame);
    placeOverlays();
    emit videoFrameShown(exact);
}

void VideoPlaybackViewController::videoDidFail(const QString& reason) {
    videoFailure_ = reason;
    Diagnostics::printLine(
        ("Warning: could not play " + currentAsset_->url().toLocalFile() + ": " + reason).toStdString());
    videoPlayer_->hide();
    showMessage(cannotPlayPrefix + reason);
    emit videoFailed(reason);
}

std::optional<double> VideoPlaybackViewController::frameDuration() const {
    if (!decoder_ || !decoder_->info())
        return std::nullopt;
    const VideoFrame& shown = videoPlayer_->frame();
    if (!shown.isNull() && shown.duration() > 0.0)
        return shown.duration();
    double rate = decoder_->info()->frameRate;
    return rate > 0.0 ? 1.0 / rate : defaultFrameStep;
}

std::optional<Instant> VideoPlaybackViewController::frameStepPosition(int direction) const {
    std::optional<double> seconds = videoSeconds();
    if (!seconds || !decoder_ || !videoFailure_.isEmpty())
        return std::nullopt;
    Document* d = document();
    const double t = *seconds;
    const double step = frameDuration().value_or(defaultFrameStep);
    // The frame on screen at t, when it has been decoded: its own times are exact, also for a
    // variable frame rate.
    VideoFrame frame = decoder_->readyFrameAt(t);
    double target = t + direction * step;
    if (!frame.isNull()) {
        const double inside = insideFrame(frame.duration() > 0.0 ? frame.duration() : step);
        target = direction > 0 ? frame.time() + frame.duration() + inside : frame.time() - inside;
    }
    // Past the last frame (or before the first) there is no frame to land on: move by one anyway.
    if (direction > 0 && target <= t + 1e-6)
        target = t + step;
    if (direction < 0 && target >= t - 1e-6)
        target = t - step;
    return *d->eventPlaybackPosition() + (target - t);
}

QImage VideoPlaybackViewController::currentPicture() const {
    if (!currentAsset_)
        return {};
    if (currentAsset_->isPhoto())
        return displayedImage_;
    if (!decoder_)
        return {};
    std::optional<double> seconds = videoSeconds();
    VideoFrame frame = seconds ? decoder_->readyFrameAt(*seconds) : VideoFrame();
    return VideoFrameView::imageOf(frame);
}

bool VideoPlaybackViewController::isSettled() const {
    if (!currentAsset_)
        return true;
    if (currentAsset_->isPhoto())
        return !displayedImage_.isNull() || noContentInfoLabel_->isVisible();
    // The frame on screen answers the latest request: the one of the position.
    return !videoFailure_.isEmpty() || (decoder_ && decoder_->isCurrent());
}

void VideoPlaybackViewController::toggleAssetShift() {
    if (shiftAssetPopover_) {
        // Closing deletes the panel later; it is gone for this view now.
        std::exchange(shiftAssetPopover_, nullptr)->close();
        shiftButton_->setChecked(false);
        return;
    }
    shiftButton_->setChecked(false);
    if (!currentAsset_ || !document()) {
        alert_(tr("No asset displayed"),
               tr("There is no asset visible in this window. Please seek to a different playpack position "
                  "or adjust this window's media group settings."));
        return;
    }
    auto* panel = new AssetShiftViewController(this);
    panel->setDocument(document());
    panel->setAsset(currentAsset_);
    panel->setFrameDuration(frameDuration().value_or(defaultFrameStep));
    shiftAssetPopover_ = panel;
    connect(panel, &QObject::destroyed, this, [this] {
        shiftButton_->setChecked(false);
        if (!underMouse())
            buttonBar_->hide();
    });
    shiftButton_->setChecked(true);
    placeButtons();
    buttonBar_->show();
    panel->popUp(buttonBar_);
}

void VideoPlaybackViewController::shiftAsset(double seconds) {
    Document* d = document();
    if (!d || !currentAsset_)
        return;
    performEdit(*d, ShiftAssets::byUserDefaults(*d, currentAsset_, seconds));
}

void VideoPlaybackViewController::exportCurrentView() {
    Document* d = document();
    std::optional<Instant> position = d ? d->eventPlaybackPosition() : std::nullopt;
    if (position && currentAsset_ && !currentAsset_->isPhoto() && videoFailure_.isEmpty() &&
        playbackPath_ != currentAsset_->url().toLocalFile()) {
        writeOriginalFrame(currentAsset_->url().toLocalFile(), *videoSeconds(), *position, overlayContent());
        return;
    }
    QImage picture = position ? withOverlays(currentPicture(), overlayContent()) : QImage();
    QString written = exporter_->exportView(picture, position.value_or(Instant(0)),
                                            d ? d->eventTimezone() : TimeZone::utc());
    if (!written.isEmpty())
        Diagnostics::printLine(("Exported " + written).toStdString());
}

void VideoPlaybackViewController::writeOriginalFrame(const QString& original, double seconds, Instant time,
                                                     const MetricsOverlayContent::Content& overlays) {
    // The proxy on screen is a lighter copy; the snapshot is the original's frame, decoded off the
    // main thread.
    QPointer<VideoPlaybackViewController> self(this);
    photoDecodingExecutor_([self, original, seconds, time, overlays] {
        QString failure;
        QImage picture;
        if (auto decoder = VideoDecoder::open(original, &failure))
            picture = withOverlays(VideoFrameView::imageOf(decoder->frameAt(seconds)), overlays);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, picture, failure, time] {
                if (!self)
                    return;
                Document* d = self->document();
                if (picture.isNull()) {
                    self->alert_(tr("Could not export the picture"),
                                 tr("The video cannot be read: %1").arg(failure));
                    return;
                }
                QString written =
                    self->exporter_->exportView(picture, time, d ? d->eventTimezone() : TimeZone::utc());
                if (!written.isEmpty())
                    Diagnostics::printLine(("Exported " + written).toStdString());
            },
            Qt::QueuedConnection);
    });
}

void VideoPlaybackViewController::exportAllPhotos() {
    Document* d = document();
    if (!d)
        return;
    exporter_->exportAllPhotos(d->assets(), mediaGroup(), d->eventTimezone());
}

void VideoPlaybackViewController::captureScreen() {
    Document* d = document();
    std::optional<Instant> position = d ? d->eventPlaybackPosition() : std::nullopt;
    // Named after the playback position when there is one, so that a capture sorts with the
    // snapshots of the same moment.
    Instant time = position ? *position : Instant::fromUnix(QDateTime::currentSecsSinceEpoch());
    capture_->capture(time, d ? d->eventTimezone() : TimeZone::utc());
}

void VideoPlaybackViewController::chooseExportFolder() {
    exporter_->exportFolder().chooseAgain();
}

void VideoPlaybackViewController::resizeEvent(QResizeEvent* event) {
    DocumentObservingViewController::resizeEvent(event);
    placeButtons();
}

void VideoPlaybackViewController::enterEvent(QEnterEvent* event) {
    DocumentObservingViewController::enterEvent(event);
    placeButtons();
    buttonBar_->setVisible(showsControls_);
}

void VideoPlaybackViewController::leaveEvent(QEvent* event) {
    DocumentObservingViewController::leaveEvent(event);
    if (!shiftAssetPopover_)
        buttonBar_->hide();
}

void VideoPlaybackViewController::setShowsControls(bool shows) {
    showsControls_ = shows;
    if (!shows)
        buttonBar_->hide();
}

void VideoPlaybackViewController::placeButtons() {
    buttonBar_->adjustSize();
    buttonBar_->move(width() - buttonBar_->width(), 0);
    buttonBar_->raise();
}

QRectF VideoPlaybackViewController::pictureRect() const {
    if (!currentAsset_)
        return {};
    if (videoPlayer_->isVisible() && !videoPlayer_->frame().isNull())
        return QRectF(videoPlayer_->pictureRect()).translated(videoPlayer_->pos());
    if (imageView_->isVisible() && !displayedImage_.isNull()) {
        QSizeF size = QSizeF(displayedImage_.size()).scaled(imageView_->size(), Qt::KeepAspectRatio);
        QRectF area = imageView_->geometry();
        return QRectF(area.center().x() - size.width() / 2, area.center().y() - size.height() / 2,
                      size.width(), size.height());
    }
    return {};
}

MetricsOverlayContent::Content VideoPlaybackViewController::overlayContent() const {
    Document* d = document();
    if (!d)
        return {};
    return overlayContent_.at(*d, d->eventPlaybackPosition());
}

void VideoPlaybackViewController::placeOverlays() {
    const QRectF picture = pictureRect();
    for (MetricsOverlayView* overlay : {metricsViewLeft_, metricsView_}) {
        if (picture.isEmpty()) {
            overlay->hide();
            continue;
        }
        overlay->setGeometry(backgroundView_->rect());
        overlay->setPictureRect(picture);
        // Raised once, when it appears: raising on every frame would repaint the panels.
        if (!overlay->isVisible()) {
            overlay->show();
            overlay->raise();
        }
    }
}

void VideoPlaybackViewController::updateOverlays() {
    const MetricsOverlayContent::Content content = overlayContent();
    metricsView_->setContent(content);
    metricsViewLeft_->setContent(content);
    placeOverlays();
}

QImage VideoPlaybackViewController::withOverlays(QImage picture,
                                                 const MetricsOverlayContent::Content& content) {
    if (picture.isNull())
        return picture;
    if (picture.format() != QImage::Format_ARGB32_Premultiplied && picture.format() != QImage::Format_RGB32)
        picture = picture.convertToFormat(QImage::Format_RGB32);
    QPainter painter(&picture);
    MetricsOverlayView::paintOverlays(painter, QRectF(picture.rect()), content);
    return picture;
}

void VideoPlaybackViewController::openMetricsConfig() {
    if (!metricsWindowController_) {
        // A tool window of the view's window: it stays above it and closes with it.
        auto* config = new MetricsConfigViewController(window());
        config->setDelegateController(this);
        metricsWindowController_ = config;
    }
    metricsWindowController_->show();
    metricsWindowController_->raise();
    metricsWindowController_->activateWindow();
}
