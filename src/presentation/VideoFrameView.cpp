#include "presentation/VideoFrameView.h"

#include <QPainter>

VideoFrameView::VideoFrameView(QWidget* parent) : QWidget(parent) {
    setObjectName("videoPlayer");
    // Every pixel is painted: black bars and the frame.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
}

void VideoFrameView::setFrame(const VideoFrame& frame) {
    if (frame.bits() == frame_.bits())
        return;
    frame_ = frame;
    update();
}

void VideoFrameView::clear() {
    frame_ = VideoFrame();
    update();
}

void VideoFrameView::setFastScaling(bool fast) {
    if (fast == fastScaling_)
        return;
    fastScaling_ = fast;
    update();
}

QImage VideoFrameView::wrap(const VideoFrame& frame) {
    if (frame.isNull())
        return {};
    return QImage(frame.bits(), frame.width(), frame.height(), frame.stride(), QImage::Format_RGB32);
}

QImage VideoFrameView::imageOf(const VideoFrame& frame) {
    QImage pixels = wrap(frame);
    if (pixels.isNull())
        return {};
    if (frame.displayWidth() == frame.width() && frame.displayHeight() == frame.height())
        return pixels.copy();
    return pixels.scaled(frame.displayWidth(), frame.displayHeight(), Qt::IgnoreAspectRatio,
                         Qt::SmoothTransformation);
}

QRect VideoFrameView::pictureRect() const {
    if (frame_.isNull() || frame_.displayWidth() <= 0 || frame_.displayHeight() <= 0)
        return {};
    QSize size =
        QSize(frame_.displayWidth(), frame_.displayHeight()).scaled(this->size(), Qt::KeepAspectRatio);
    return QRect(QPoint((width() - size.width()) / 2, (height() - size.height()) / 2), size);
}

void VideoFrameView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect picture = pictureRect();
    if (picture.isEmpty()) {
        painter.fillRect(rect(), Qt::black);
        return;
    }
    // The bars around the picture only; the picture covers the rest.
    QRegion bars = QRegion(rect()).subtracted(picture);
    for (const QRect& bar : bars)
        painter.fillRect(bar, Qt::black);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !fastScaling_);
    painter.drawImage(picture, wrap(frame_));
}
