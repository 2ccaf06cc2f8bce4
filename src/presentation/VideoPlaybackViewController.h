#pragma once

#include "document/MetricsOverlayContent.h"
#include "media/VideoFrame.h"
#include "presentation/AssetShiftViewController.h"
#include "presentation/DocumentObservingViewController.h"

#include <QImage>
#include <QPointer>
#include <QStringList>
#include <cstdint>
#include <functional>
#include <memory>

class MediaAsset;
class MediaExporter;
class MediaGroup;
class MetricsOverlayView;
class ScreenCapture;
class QLabel;
class QToolButton;
class VideoDecoderThread;
class VideoSound;
class VideoFrameView;

// The media view: shows the photo or video of its media group that is visible at the playback
// position. Photos are decoded off the main thread; video frames are decoded on a thread of the
// video's own, and the view shows the newest frame it has until the exact one arrives, so the
// clock never waits for a decode. While playing, the clock is the master: late frames are dropped.
class VideoPlaybackViewController : public DocumentObservingViewController {
    Q_OBJECT
public:
    explicit VideoPlaybackViewController(QWidget* parent = nullptr);
    ~VideoPlaybackViewController() override;

    static const QString noAssetsText;
    static const QString nothingVisibleText;

    // The group shown: the one set, else the document's first group, so that a window without a
    // chosen group still shows something.
    std::shared_ptr<MediaGroup> mediaGroup() const;
    void setMediaGroup(std::shared_ptr<MediaGroup> group);

    // Metric keys for the overlays, after and before the gun; the overlay defaults until set.
    void setDisplayedMetrics(const QStringList& metrics, const QStringList& beforeGun);
    const QStringList& displayedMetrics() const { return displayedMetrics_; }
    const QStringList& displayedMetricsBeforeGun() const { return displayedMetricsBeforeGun_; }

    bool muteAudio() const { return muteAudio_; }
    void setMuteAudio(bool mute);
    // The sound of the displayed video, once it has played; none otherwise.
    VideoSound* sound() const { return sound_.get(); }

    const std::shared_ptr<MediaAsset>& currentAsset() const { return currentAsset_; }
    // Chooses the asset for the current position anew.
    void refresh();

    QWidget* backgroundView() const { return backgroundView_; }
    QLabel* imageView() const { return imageView_; }
    QLabel* noContentInfoLabel() const { return noContentInfoLabel_; }
    VideoFrameView* videoPlayer() const { return videoPlayer_; }
    QToolButton* shiftButton() const { return shiftButton_; }
    QToolButton* configButton() const { return configButton_; }
    // The overlays over the picture: the right one and the left one.
    MetricsOverlayView* metricsView() const { return metricsView_; }
    MetricsOverlayView* metricsViewLeft() const { return metricsViewLeft_; }
    // What the overlays show at the playback position.
    MetricsOverlayContent::Content overlayContent() const;
    // Where the picture lies in the view; empty when none is shown.
    QRectF pictureRect() const;
    // The overlay configuration of this view; opens it, or brings it forward when open.
    void openMetricsConfig();
    QWidget* metricsWindowController() const { return metricsWindowController_; }
    // The photo on screen as decoded, before scaling to the view; null when none is shown.
    const QImage& displayedImage() const { return displayedImage_; }

    // Runs photo decoding; the global thread pool unless replaced. Tests hold work back with it.
    using Executor = std::function<void(std::function<void()>)>;
    void setPhotoDecodingExecutor(Executor executor) { photoDecodingExecutor_ = std::move(executor); }

    // The longest side a photo is decoded at: enough for a 4K screen, without holding a whole
    // camera frame in memory.
    static constexpr int maximumPhotoSide = 4096;

    // The file time of the video on screen at the playback position; none without a video.
    std::optional<double> videoSeconds() const;
    // The playback position one frame of the displayed video later (or earlier); none when no
    // video is displayed. Lands inside the frame's display interval, so the frame shown is exact.
    std::optional<Instant> frameStepPosition(int direction) const;
    // One frame of the displayed video, for stepping and shifting; none without a video.
    std::optional<double> frameDuration() const;
    // Why the displayed video cannot be played; empty when it can.
    const QString& videoFailure() const { return videoFailure_; }
    // The picture on screen at full resolution: the photo, or the exact video frame at the
    // video's own size. Null when neither is ready.
    QImage currentPicture() const;
    // Nothing is on its way: the photo or the exact video frame is shown, or the reason it
    // cannot be, or there is nothing to show.
    bool isSettled() const;

    // The asset time shift panel: closes it when open; otherwise opens it for the displayed asset,
    // or says there is none.
    void toggleAssetShift();
    AssetShiftViewController* shiftAssetPopover() const { return shiftAssetPopover_; }
    // Moves the displayed asset by `seconds` as the shift panel would, without opening it.
    void shiftAsset(double seconds);

    // Exports into the export folder (chosen once, then remembered): the picture on screen as a
    // PNG at its own resolution, every photo of the media group, a region of the screen.
    void exportCurrentView();
    void exportAllPhotos();
    void captureScreen();
    void chooseExportFolder();
    MediaExporter* exporter() const { return exporter_; }
    ScreenCapture* screenCapture() const { return capture_; }

    // Plays videos too heavy for this machine from a lighter copy, made when first needed. Stills
    // and exports always come from the original; so do the command line's renderings, which do
    // without proxies.
    void setUsesProxies(bool uses) { usesProxies_ = uses; }
    // Decodes the frames after the position even while paused: an export walks forward through the
    // video one picture at a time and would otherwise wait for every frame.
    void setDecodesAhead(bool decodes) { decodesAhead_ = decodes; }
    // Videos opened from now on are decoded at most this large (none: at their own size). An export
    // draws the picture at one size throughout, and scaling while decoding is the cheapest scaling.
    void setFrameSizeLimit(QSize size) { frameSizeLimit_ = size; }
    // The file the displayed video plays from: its own, or its proxy.
    const QString& playbackPath() const { return playbackPath_; }

    // The buttons over the picture, shown while the pointer is over the view; stills drawn for the
    // command line go without them.
    void setShowsControls(bool shows);

    // Alerts go through here: a message box unless replaced (tests read them).
    using AlertPresenter = std::function<void(const QString& message, const QString& informativeText)>;
    void setAlertPresenter(AlertPresenter presenter) { alert_ = std::move(presenter); }

    static const QString cannotPlayPrefix;

    // A copy of the picture with the overlays drawn over it, laid out as on screen.
    static QImage withOverlays(QImage picture, const MetricsOverlayContent::Content& content);

signals:
    void currentAssetChanged();
    // The overlay lists, the media group or the mute choice were changed in this view's
    // configuration; the window keeps them in its saved state.
    void overlaySettingsEdited();
    // The chosen photo is on screen, or the message that it could not be read.
    void photoShown();
    // A video frame went on screen; `exact` when it is the frame of the playback position.
    void videoFrameShown(bool exact);
    // The displayed video cannot be played.
    void videoFailed(const QString& reason);

protected:
    void viewDidAppear() override;
    void viewWillDisappear() override;
    void documentDidChange() override;
    void didUpdateAssets() override;
    void didUpdatePlaybackPosition(std::optional<Instant> position, bool seeked) override;
    void didUpdateBoats() override;
    void didUpdateRaces() override;
    void didPause() override;
    void didPlay() override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void chooseAsset();
    void changeAsset(std::shared_ptr<MediaAsset> asset);
    void loadPhoto(const MediaAsset& asset);
    void photoDidLoad(std::uint64_t request, const QString& path, const QImage& image, const QString& error);
    void showMessage(const QString& text);
    void updateScaledImage();
    void openVideo(const MediaAsset& asset);
    void considerProxy();
    void writeOriginalFrame(const QString& original, double seconds, Instant time,
                            const MetricsOverlayContent::Content& overlays);
    void syncVideo();
    void syncSound(bool playing, double seconds);
    void showVideoFrame(const VideoFrame& frame, bool exact);
    void videoDidFail(const QString& reason);
    void placeButtons();
    void placeOverlays();
    void updateOverlays();

    QWidget* backgroundView_;
    QLabel* imageView_;
    VideoFrameView* videoPlayer_;
    QLabel* noContentInfoLabel_;
    QWidget* buttonBar_;
    QToolButton* shiftButton_;
    QToolButton* saveButton_;
    QToolButton* saveAllButton_;
    QToolButton* configButton_;
    MetricsOverlayView* metricsView_;
    MetricsOverlayView* metricsViewLeft_;
    MetricsOverlayContent overlayContent_;
    QPointer<QWidget> metricsWindowController_;
    MediaExporter* exporter_;
    ScreenCapture* capture_;

    std::shared_ptr<MediaAsset> currentAsset_;
    std::shared_ptr<MediaGroup> mediaGroup_;
    bool muteAudio_ = false;
    QStringList displayedMetrics_ = MetricsOverlayContent::defaultMetrics();
    QStringList displayedMetricsBeforeGun_ = MetricsOverlayContent::defaultMetricsBeforeGun();

    QImage displayedImage_;
    // Counts photo requests; a decoded photo whose request is not the latest is dropped.
    std::uint64_t photoRequest_ = 0;
    Executor photoDecodingExecutor_;

    std::unique_ptr<VideoDecoderThread> decoder_;
    // Made when the video first plays; its own thread decodes the sound.
    std::unique_ptr<VideoSound> sound_;
    bool soundPlaying_ = false;
    QString videoFailure_;
    QPointer<AssetShiftViewController> shiftAssetPopover_;
    AlertPresenter alert_;
    bool showsControls_ = true;
    bool usesProxies_ = true;
    bool decodesAhead_ = false;
    QSize frameSizeLimit_;
    QString playbackPath_;
};
