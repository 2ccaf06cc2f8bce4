#pragma once

#include <QPixmap>
#include <QPoint>
#include <QRect>
#include <QWidget>

// A frameless full-screen picture of the screen on which the user drags the rectangle to keep;
// Esc gives up. The screen was grabbed before the overlay came up, so it shows what was there.
class RegionGrabOverlay : public QWidget {
    Q_OBJECT
public:
    explicit RegionGrabOverlay(QPixmap screenshot, QWidget* parent = nullptr);

    // The dragged rectangle in the overlay's coordinates; empty before a drag.
    QRect selection() const { return selection_; }

signals:
    // The part of the screenshot under the rectangle, in the screen's own pixels.
    void regionChosen(const QImage& image);
    void cancelled();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void setSelection(const QPoint& from, const QPoint& to);
    void finish();

    QPixmap screenshot_;
    QPoint anchor_;
    QRect selection_;
    bool dragging_ = false;
    bool finished_ = false;
};
