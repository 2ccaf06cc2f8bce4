#pragma once

#include "presentation/DocumentObservingViewController.h"

#include <QImage>
#include <QStringList>
#include <cstdint>
#include <functional>
#include <memory>

class MediaAsset;
class MediaGroup;
class QLabel;

// The media view: shows the photo or video of its media group that is visible at the playback
// position. Photos are decoded off the main thread. Videos show a placeholder with the file name
// and the offset into the recording until frame decoding arrives.
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

    // Metric keys for the overlays, after and before the gun.
    void setDisplayedMetrics(const QStringList& metrics, const QStringList& beforeGun);
    const QStringList& displayedMetrics() const { return displayedMetrics_; }
    const QStringList& displayedMetricsBeforeGun() const { return displayedMetricsBeforeGun_; }

    bool muteAudio() const { return muteAudio_; }
    void setMuteAudio(bool mute) { muteAudio_ = mute; }

    const std::shared_ptr<MediaAsset>& currentAsset() const { return currentAsset_; }
    // Chooses the asset for the current position anew.
    void refresh();

    QWidget* backgroundView() const { return backgroundView_; }
    QLabel* imageView() const { return imageView_; }
    QLabel* noContentInfoLabel() const { return noContentInfoLabel_; }
    QLabel* videoPlaceholderLabel() const { return videoPlaceholderLabel_; }
    // The photo on screen as decoded, before scaling to the view; null when none is shown.
    const QImage& displayedImage() const { return displayedImage_; }

    // Runs photo decoding; the global thread pool unless replaced. Tests hold work back with it.
    using Executor = std::function<void(std::function<void()>)>;
    void setPhotoDecodingExecutor(Executor executor) { photoDecodingExecutor_ = std::move(executor); }

    // The longest side a photo is decoded at: enough for a 4K screen, without holding a whole
    // camera frame in memory.
    static constexpr int maximumPhotoSide = 4096;

signals:
    void currentAssetChanged();
    // The chosen photo is on screen, or the message that it could not be read.
    void photoShown();

protected:
    void viewDidAppear() override;
    void documentDidChange() override;
    void didUpdateAssets() override;
    void didUpdatePlaybackPosition(std::optional<Instant> position, bool seeked) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void chooseAsset();
    void changeAsset(std::shared_ptr<MediaAsset> asset);
    void loadPhoto(const MediaAsset& asset);
    void photoDidLoad(std::uint64_t request, const QString& path, const QImage& image, const QString& error);
    void showMessage(const QString& text);
    void updateVideoPlaceholder();
    void updateScaledImage();

    QWidget* backgroundView_;
    QLabel* imageView_;
    QLabel* videoPlaceholderLabel_;
    QLabel* noContentInfoLabel_;

    std::shared_ptr<MediaAsset> currentAsset_;
    std::shared_ptr<MediaGroup> mediaGroup_;
    bool muteAudio_ = false;
    QStringList displayedMetrics_;
    QStringList displayedMetricsBeforeGun_;

    QImage displayedImage_;
    // Counts photo requests; a decoded photo whose request is not the latest is dropped.
    std::uint64_t photoRequest_ = 0;
    Executor photoDecodingExecutor_;
};
