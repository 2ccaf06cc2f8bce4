#pragma once

#include "core/Instant.h"
#include "core/TimeZone.h"
#include "document/GraphAxis.h"

#include <QFont>
#include <QImage>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

class Boat;
class Document;
class MetricSeriesSet;
class MetricsGraphDateFormats;
class MetricsGraphLayout;
class QPainter;

// The lanes, their grids, the race starts and manoeuvres, the lines and the time axis of the
// metrics graph over the whole span a MetricSeriesSet holds, one column per pixel, in an image
// wider than the window: a tick only shows another part of it. When the set's span slides, the
// image moves along and keeps the columns whose data stayed. What is left to draw is drawn where
// the window shows it at once, and elsewhere a few columns a tick, so that no tick pays for
// drawing every line.
class MetricsGraphPlot {
public:
    // The widest image QPainter draws into reliably.
    static constexpr int maximumWidth = 16000;

    // What is drawn, and where.
    struct Scene {
        const MetricsGraphLayout& layout;
        const MetricSeriesSet& series;
        const std::vector<GraphAxis>& axes; // one per lane
        const std::vector<std::shared_ptr<Boat>>& boats;
        const Document* document;
        const QFont& font;
        const TimeZone& zone;
        MetricsGraphDateFormats& formats;
    };

    // Starts the set's span anew: every lane is left to draw.
    void draw(const Scene& scene);
    // Follows the set from the span last drawn after it slid (see MetricSeriesSet::Change::slid);
    // the lanes marked in `rescaled` have another axis than when last drawn and are left to draw.
    void slide(const Scene& scene, const std::vector<bool>& rescaled);
    // Draws what is left of the window starting at `start`, `width` columns wide, and then at most
    // `spare` columns more of the lanes elsewhere.
    void complete(const Scene& scene, Instant start, int width, int spare);
    bool isComplete() const;

    const QImage& image() const { return image_; }
    // Draws the part of the image that shows the window starting at `start` into `plot`.
    void paint(QPainter& painter, const QRect& plot, Instant start) const;
    // Draws the clock labels of the time axis where `xAt` puts their times, leaving out those that
    // would touch `keepClear`.
    void paintTimeLabels(QPainter& painter, const MetricsGraphLayout& layout,
                         const std::function<double(Instant)>& xAt, const QRectF& keepClear) const;

private:
    // The image's column of a time. Columns are whole multiples of the column width from the
    // reference date, so that a time falls on the same pixel before and after a slide.
    double xOf(double seconds) const { return seconds / columnSeconds_ - originColumn_; }
    int columnsFor(const MetricSeriesSet& series) const;
    // Makes the image `columns` wide and the plot's height, reusing it where it can: a new image
    // costs more than a tick.
    void resize(int columns, int height);
    // Moves the image's contents `shift` columns to the left and makes it `columns` wide.
    void moveColumns(int shift, int columns);
    // The background and the time axis of the columns [from, to); their lanes are left to draw.
    void drawAxis(const Scene& scene, int from, int to);
    void drawLane(const Scene& scene, int lane, int from, int to);
    // Where the time grid's lines fall in the columns [from, to).
    std::vector<double> tickColumns(int from, int to) const;
    void drawLines(QPainter& painter, const Scene& scene, int lane, int from, int to) const;
    // The clock labels of the image's span; with `reuse`, those of the same times are kept.
    void makeTimeLabels(const Scene& scene, bool reuse);

    QImage image_;
    double columnSeconds_ = 1.0;
    double originColumn_ = 0.0;
    // The span drawn, in seconds since the reference date.
    double spanStart_ = 0.0;
    double spanEnd_ = 0.0;
    // The columns [first, second) of each lane that are drawn.
    std::vector<std::pair<int, int>> drawn_;
    // The clock labels, by time in seconds since the reference date.
    std::vector<std::pair<double, QImage>> timeLabels_;
};
