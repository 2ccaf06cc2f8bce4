#pragma once

#include "core/Instant.h"
#include "document/GraphAxis.h"
#include "document/MetricSeriesSet.h"
#include "metrics/MetricPresentation.h"
#include "presentation/MetricsGraphChrome.h"
#include "presentation/MetricsGraphDateFormats.h"
#include "presentation/MetricsGraphLayout.h"
#include "presentation/MetricsGraphPlot.h"

#include <QPointer>
#include <QWidget>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

class Boat;
class Document;

// Chosen metrics of chosen boats against time: one lane per metric, each with its own scale, one
// line per boat in the boat's colour, the tacks and gybes, and the playback position as a red line
// with each line's value beside it. The window either follows the playback position (± a half
// width) or stays on a fixed range. Clicks and drags seek; the wheel zooms.
//
// A playback tick must cost little: the lines, grid and time axis are drawn into an image wider
// than the window, which a tick only shifts. As the window moves on, the data and the image follow
// it in short steps that read and draw only what is new; the logs are read and the lines drawn
// anew only when what the graph shows changes.
class MetricsGraphView : public QWidget {
    Q_OBJECT
public:
    static constexpr double defaultHalfWidth = 120.0;
    static constexpr double minimumHalfWidth = 5.0;
    static constexpr double maximumHalfWidth = 12 * 3600.0;

    // One line's value at the playback position.
    struct CursorValue {
        int lane = 0;
        int boat = 0;
        std::optional<double> value; // display units
        QString text;
    };

    explicit MetricsGraphView(QWidget* parent = nullptr);
    ~MetricsGraphView() override;

    Document* document() const { return document_; }
    void setDocument(Document* document);
    const std::vector<std::shared_ptr<Boat>>& boats() const { return boats_; }
    void setBoats(std::vector<std::shared_ptr<Boat>> boats);
    const std::vector<MetricPresentation>& metrics() const { return metrics_; }
    void setMetrics(std::vector<MetricPresentation> metrics);
    std::optional<Instant> playbackTime() const { return playbackTime_; }
    void setPlaybackTime(std::optional<Instant> time);
    // The logs, the boats' colours, the races or the manoeuvres changed: read and draw anew.
    void reload();

    bool isFollowing() const { return following_; }
    double halfWidth() const { return halfWidth_; }
    // The window centred on the playback position.
    void follow(double halfWidth);
    // A fixed window, whatever the playback position.
    void showRange(Instant start, Instant end);
    // The shown window; none without a position or event times to place it.
    std::optional<std::pair<Instant, Instant>> window() const;
    // Narrows (factor < 1) or widens the window: a following window about the position, a fixed one
    // about the time at `anchorX`.
    void zoom(double factor, double anchorX);

    // Where the lines are drawn, lanes and time axis; the lanes lie between the legend and the axis.
    QRect plotRect() const;
    QRect laneRect(int lane) const;
    // The part of a lane the values span: below the lane's title.
    QRect laneDataRect(int lane) const;
    double xAt(Instant time) const;
    // The time at a horizontal position; positions outside the plot hold at its edges.
    Instant timeAt(double x) const;
    // The vertical scale of a lane, from the last read of the logs.
    std::optional<GraphAxis> laneAxis(int lane) const;

    // Each shown line's value at the playback position, read as the metrics table reads it.
    std::vector<CursorValue> cursorValues() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    // The window was zoomed, or went from following to fixed or back.
    void windowChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    MetricsGraphLayout layout() const;
    void seekTo(double x);
    void invalidate();
    // Reads and draws what the window needs; false when there is nothing to draw.
    bool prepare(Instant start, Instant end);
    // The lanes' scales for the data read.
    std::vector<GraphAxis> axesFor(const MetricsGraphLayout& layout) const;
    // The window's extent as the legend names it.
    QString rangeText();
    const DateFormat& dateFormat(const std::string& pattern);

    QPointer<Document> document_;
    std::vector<std::shared_ptr<Boat>> boats_;
    std::vector<MetricPresentation> metrics_;
    std::optional<Instant> playbackTime_;
    bool following_ = true;
    double halfWidth_ = defaultHalfWidth;
    Instant fixedStart_;
    Instant fixedEnd_;
    // While the mouse drags, the window holds still, so that the time under the pointer stays put.
    std::optional<std::pair<Instant, Instant>> heldWindow_;

    MetricSeriesSet series_;
    std::vector<GraphAxis> axes_;
    MetricsGraphPlot plot_;
    // The state of series_ the plot shows.
    std::uint64_t plotGeneration_ = 0;
    bool plotValid_ = false;
    MetricsGraphChrome chrome_;
    bool chromeValid_ = false;
    MetricsGraphDateFormats formats_;
};
