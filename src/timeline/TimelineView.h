#pragma once

#include "core/Instant.h"
#include "document/SailingLeg.h"

#include <QPointer>
#include <QRectF>
#include <QString>
#include <QWidget>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class DateFormat;
class Document;
class MediaAsset;
class QSvgRenderer;
class TimelineViewDelegate;

// The event on one horizontal time axis: clock ticks, legs, tacks and gybes, race starts, one row
// per media group with its assets as bars, and the playback position as a red line. It only draws
// what its owner gives it; clicks and drags are seeks, handed to the delegate.
class TimelineView : public QWidget {
    Q_OBJECT
public:
    // The clock-time ticks shown at one scale.
    struct TickScale {
        double interval = 0.0; // seconds
        std::string pattern;   // date pattern of the labels
    };
    struct Tick {
        Instant time;
        double x = 0.0;
        bool labelled = false;
    };

    static constexpr double minimumTickSpacing = 40.0;
    // Heights of the bottom band, from the bottom edge (drawing works upward from there).
    static constexpr double rowsBottom = 70.0;
    static constexpr double marksBottom = 25.0;
    static constexpr double marksTop = 60.0;
    static constexpr double playbackLineBottom = 20.0;

    explicit TimelineView(QWidget* parent = nullptr);
    ~TimelineView() override;

    // The first of 5 min, 15 min, 1 h and 6 h whose ticks are at least 40 px apart, shown as
    // "HH:mm"; beyond that, days shown as "yyyy-MM-dd".
    static TickScale tickScale(double width, Instant start, Instant end);
    // Whole multiples of the interval since the reference date, from the first at or after the
    // start to the last before the end.
    static std::vector<Instant> tickTimes(Instant start, Instant end, double interval);
    // The icon a media group's row shows, by the group's name; empty for none.
    static QString iconNameForGroup(const QString& groupName);

    TimelineViewDelegate* delegate() const { return delegate_; }
    void setDelegate(TimelineViewDelegate* delegate) { delegate_ = delegate; }
    Document* document() const { return document_; }
    void setDocument(Document* document);
    const std::vector<std::shared_ptr<MediaAsset>>& assets() const { return assets_; }
    void setAssets(std::vector<std::shared_ptr<MediaAsset>> assets);
    Instant startTime() const { return startTime_; }
    Instant endTime() const { return endTime_; }
    // An empty or reversed range shows no times at all.
    void setTimeRange(Instant start, Instant end);
    std::optional<Instant> playbackTime() const { return playbackTime_; }
    void setPlaybackTime(std::optional<Instant> time);
    const std::vector<SailingLeg>& legs() const { return legs_; }
    void setLegs(std::vector<SailingLeg> legs);
    const std::vector<Instant>& tacks() const { return tacks_; }
    void setTacks(std::vector<Instant> tacks);
    const std::vector<Instant>& gybes() const { return gybes_; }
    void setGybes(std::vector<Instant> gybes);

    bool hasTimeRange() const;
    double pixelsPerSecond() const;
    double xAt(Instant time) const;
    Instant timeAt(double x) const;
    // The ticks of the current range, each marked whether its label is drawn.
    std::vector<Tick> ticks() const;
    // Row and icon of the document's media group at that index, in widget coordinates; empty when
    // the view is too low for rows.
    QRectF rowRect(int index) const;
    QRectF iconRect(int index) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    QRect visibleArea() const;
    double rowHeight() const;
    const DateFormat& formatFor(const std::string& pattern) const;
    QSvgRenderer* iconRenderer(const QString& name) const;
    void seekTo(double x);

    TimelineViewDelegate* delegate_ = nullptr;
    QPointer<Document> document_;
    std::vector<std::shared_ptr<MediaAsset>> assets_;
    Instant startTime_;
    Instant endTime_;
    std::optional<Instant> playbackTime_;
    std::vector<SailingLeg> legs_;
    std::vector<Instant> tacks_;
    std::vector<Instant> gybes_;

    QSvgRenderer* droneIcon_;
    QSvgRenderer* boatIcon_;
    QSvgRenderer* photoIcon_;
    // Formatters are costly to make and the view repaints on every playback tick.
    mutable std::vector<std::pair<std::string, std::unique_ptr<DateFormat>>> formats_;
    mutable std::string formatsZone_;
};
