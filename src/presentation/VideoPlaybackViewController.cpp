#include "presentation/VideoPlaybackViewController.h"

#include "core/Diagnostics.h"
#include "document/Document.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "media/VisibleAssets.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFileInfo>
#include <QGridLayout>
#include <QImageReader>
#include <QLabel>
#include <QPixmap>
#include <QPointer>
#include <QThreadPool>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

const QString VideoPlaybackViewController::noAssetsText =
    QStringLiteral("No video or photo content available.\nAdd assets in the assets panel.");
const QString VideoPlaybackViewController::nothingVisibleText =
    QStringLiteral("No video or photo content at the current playback position.\nSelect another playback "
                   "position in the timeline, or change this window's media group.");

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

// "1:02:03.4" or "02:03.4": where in the recording the playback position lies.
QString offsetText(double seconds) {
    seconds = std::max(0.0, seconds);
    long tenths = std::lround(seconds * 10.0);
    long hours = tenths / 36000;
    long minutes = tenths / 600 % 60;
    double secs = static_cast<double>(tenths % 600) / 10.0;
    if (hours > 0)
        return QString::asprintf("%ld:%02ld:%04.1f", hours, minutes, secs);
    return QString::asprintf("%02ld:%04.1f", minutes, secs);
}

} // namespace

VideoPlaybackViewController::VideoPlaybackViewController(QWidget* parent)
    : DocumentObservingViewController(parent), backgroundView_(new QWidget(this)),
      imageView_(makeCentredLabel(backgroundView_, "imageView")),
      videoPlaceholderLabel_(makeCentredLabel(backgroundView_, "videoPlaceholderLabel")),
      noContentInfoLabel_(makeCentredLabel(backgroundView_, "noContentInfoLabel")),
      photoDecodingExecutor_(
          [](std::function<void()> work) { QThreadPool::globalInstance()->start(std::move(work)); }) {
    setObjectName("VideoPlayback");
    backgroundView_->setObjectName("backgroundView");
    backgroundView_->setAutoFillBackground(true);
    QPalette palette = backgroundView_->palette();
    palette.setColor(QPalette::Window, Qt::black);
    palette.setColor(QPalette::WindowText, QColor(0xd0, 0xd0, 0xd0));
    backgroundView_->setPalette(palette);

    QFont font = videoPlaceholderLabel_->font();
    font.setPointSizeF(font.pointSizeF() * 1.3);
    videoPlaceholderLabel_->setFont(font);

    // The media views lie on top of each other; one at a time is visible.
    auto* stack = new QGridLayout(backgroundView_);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->addWidget(imageView_, 0, 0);
    stack->addWidget(videoPlaceholderLabel_, 0, 0);
    stack->addWidget(noContentInfoLabel_, 0, 0);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(backgroundView_);
    imageView_->installEventFilter(this);
    showMessage(noAssetsText);
}

VideoPlaybackViewController::~VideoPlaybackViewController() = default;

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
}

void VideoPlaybackViewController::refresh() {
    chooseAsset();
}

void VideoPlaybackViewController::viewDidAppear() {
    DocumentObservingViewController::viewDidAppear();
    // Nothing was heard while hidden.
    chooseAsset();
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
}

void VideoPlaybackViewController::didUpdateAssets() {
    chooseAsset();
}

void VideoPlaybackViewController::didUpdatePlaybackPosition(std::optional<Instant>, bool) {
    chooseAsset();
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
            updateVideoPlaceholder();
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
    videoPlaceholderLabel_->hide();
    if (currentAsset_) {
        noContentInfoLabel_->hide();
        if (currentAsset_->isPhoto()) {
            loadPhoto(*currentAsset_);
        } else {
            // Video frames are not decoded yet; until they are, the file and the offset into it
            // say what would be shown.
            videoPlaceholderLabel_->show();
        }
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
    emit photoShown();
}

void VideoPlaybackViewController::showMessage(const QString& text) {
    if (noContentInfoLabel_->text() != text)
        noContentInfoLabel_->setText(text);
    noContentInfoLabel_->show();
}

void VideoPlaybackViewController::updateVideoPlaceholder() {
    Document* d = document();
    std::optional<Instant> position = d ? d->eventPlaybackPosition() : std::nullopt;
    QString text = currentAsset_->url().fileName();
    if (position)
        text += "\n" + offsetText(*position - currentAsset_->startTime());
    if (videoPlaceholderLabel_->text() != text)
        videoPlaceholderLabel_->setText(text);
}

bool VideoPlaybackViewController::eventFilter(QObject* watched, QEvent* event) {
    // The image view learns its size last, after the layouts below this view have run.
    if (watched == imageView_ && event->type() == QEvent::Resize)
        updateScaledImage();
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
