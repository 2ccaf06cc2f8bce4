#include "presentation/RegionGrabOverlay.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <cmath>

RegionGrabOverlay::RegionGrabOverlay(QPixmap screenshot, QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      screenshot_(std::move(screenshot)) {
    setObjectName("RegionGrabOverlay");
    setAttribute(Qt::WA_DeleteOnClose);
    setCursor(Qt::CrossCursor);
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(false);
}

void RegionGrabOverlay::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.drawPixmap(rect(), screenshot_);
    // Dim all but the selection, so the user sees what will be kept.
    QRegion outside = QRegion(rect()).subtracted(selection_);
    painter.setClipRegion(outside);
    painter.fillRect(rect(), QColor(0, 0, 0, 110));
    painter.setClipping(false);
    if (!selection_.isEmpty()) {
        painter.setPen(QPen(QColor(0x2f, 0x9b, 0xff), 1));
        painter.drawRect(selection_.adjusted(0, 0, -1, -1));
    }
}

void RegionGrabOverlay::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    dragging_ = true;
    anchor_ = event->position().toPoint();
    setSelection(anchor_, anchor_);
}

void RegionGrabOverlay::mouseMoveEvent(QMouseEvent* event) {
    if (dragging_)
        setSelection(anchor_, event->position().toPoint());
}

void RegionGrabOverlay::mouseReleaseEvent(QMouseEvent* event) {
    if (!dragging_ || event->button() != Qt::LeftButton)
        return;
    dragging_ = false;
    setSelection(anchor_, event->position().toPoint());
    // A click without a drag selects nothing; the user may drag again or press Esc.
    if (selection_.width() < 2 || selection_.height() < 2) {
        setSelection(anchor_, anchor_);
        return;
    }
    finish();
}

void RegionGrabOverlay::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Escape) {
        QWidget::keyPressEvent(event);
        return;
    }
    close();
}

void RegionGrabOverlay::closeEvent(QCloseEvent* event) {
    // However the overlay goes away without a rectangle (Esc, the window manager), it says so:
    // the capture waits for one answer or the other.
    if (!finished_) {
        finished_ = true;
        emit cancelled();
    }
    QWidget::closeEvent(event);
}

void RegionGrabOverlay::setSelection(const QPoint& from, const QPoint& to) {
    // Dragging up or to the left spans the same rectangle as dragging the other way.
    QRect spanned(QPoint(std::min(from.x(), to.x()), std::min(from.y(), to.y())),
                  QSize(std::abs(to.x() - from.x()), std::abs(to.y() - from.y())));
    selection_ = spanned.intersected(rect());
    update();
}

void RegionGrabOverlay::finish() {
    if (finished_)
        return;
    finished_ = true;
    // The overlay spans the screen in logical pixels; the screenshot has the screen's own.
    const double scaleX = double(screenshot_.width()) / std::max(1, width());
    const double scaleY = double(screenshot_.height()) / std::max(1, height());
    QRect pixels(std::lround(selection_.x() * scaleX), std::lround(selection_.y() * scaleY),
                 std::lround(selection_.width() * scaleX), std::lround(selection_.height() * scaleY));
    emit regionChosen(screenshot_.copy(pixels.intersected(screenshot_.rect())).toImage());
    close();
}
