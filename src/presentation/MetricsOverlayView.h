#pragma once

#include "document/MetricsOverlayContent.h"

#include <QRectF>
#include <QWidget>
#include <memory>

class QPainter;

// One of the two panels of numbers over a photo or video: the left one takes the first half of
// the rows, the right one the rest, so that the middle of the picture stays clear. Both are laid
// out in the picture's rectangle and sized from its height, so that an export at the video's
// own resolution looks as the view does. Only rows whose texts changed are repainted.
class MetricsOverlayView : public QWidget {
    Q_OBJECT
public:
    enum class Side { left, right };
    MetricsOverlayView(Side side, QWidget* parent = nullptr);

    Side side() const { return side_; }
    // Where the picture lies within this view; the panel sits in its lower corner.
    void setPictureRect(const QRectF& rect);
    void setContent(const MetricsOverlayContent::Content& content);
    // The rows this panel shows.
    const std::vector<MetricsOverlayContent::Row>& rows() const { return rows_; }
    // The panel's rectangle within the view; empty without rows.
    QRectF panelRect() const;

    // Both panels over a picture, as the views would show them.
    static void paintOverlays(QPainter& painter, const QRectF& picture,
                              const MetricsOverlayContent::Content& content);

    ~MetricsOverlayView() override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    struct Geometry;
    struct Panel;
    static std::vector<MetricsOverlayContent::Row> rowsOfSide(const MetricsOverlayContent::Content& content,
                                                              Side side);

    Side side_;
    QRectF picture_;
    MetricsOverlayContent::Content content_;
    std::vector<MetricsOverlayContent::Row> rows_;
    // Made at the first paint after the rows' names, the boats or the picture changed.
    std::unique_ptr<Panel> panel_;
};
