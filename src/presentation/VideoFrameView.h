#pragma once

#include "media/VideoFrame.h"

#include <QImage>
#include <QWidget>

// Shows one decoded video frame, fitted into the view with its display aspect, on black. The
// frame's pixels are drawn in place: no copy per frame.
class VideoFrameView : public QWidget {
    Q_OBJECT
public:
    explicit VideoFrameView(QWidget* parent = nullptr);

    const VideoFrame& frame() const { return frame_; }
    void setFrame(const VideoFrame& frame);
    void clear();
    // While playing, frames change 25 times a second and the eye cannot tell filtered scaling from
    // plain sampling; a paused frame, which is studied, is drawn filtered.
    void setFastScaling(bool fast);

    // The frame as an image of its display size (pixel aspect applied): what an export writes.
    static QImage imageOf(const VideoFrame& frame);
    // A view of the frame's pixels, valid while the frame lives.
    static QImage wrap(const VideoFrame& frame);

    // Where the frame lies within the view.
    QRect pictureRect() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    VideoFrame frame_;
    bool fastScaling_ = false;
};
