#include "timeline/TimelineView.h"

#include "document/Document.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "race/Race.h"
#include "timeline/TimelineViewDelegate.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QTest>
#include <functional>
#include <gtest/gtest.h>

namespace {

// 2023-06-06 12:01:40 UTC: deliberately not on a five-minute tick.
const Instant eventStart = Instant::fromUnix(1'686'052'900);
const Instant eventEnd = eventStart + 7200.0;

// A 1000 × 130 view of a two-hour event, shown in UTC.
struct ViewFixture {
    Document document;
    TimelineView view;

    ViewFixture() {
        document.setEventTimezone(TimeZone::utc());
        view.setDocument(&document);
        view.resize(1000, 130);
        view.setTimeRange(eventStart, eventEnd);
    }

    QImage render() { return view.grab().toImage(); }
};

struct SeekRecorder : TimelineViewDelegate {
    std::vector<Instant> seeks;
    void timelineViewDidSeek(TimelineView*, Instant time) override { seeks.push_back(time); }
};

bool isRed(QRgb c) {
    return qRed(c) > 200 && qGreen(c) < 80 && qBlue(c) < 80;
}

// Whether any pixel of columns x - 1 … x + 1 at height y has the colour.
bool columnHas(const QImage& image, double x, int y, const std::function<bool(QRgb)>& test) {
    for (int dx = -1; dx <= 1; ++dx) {
        int px = static_cast<int>(x) + dx;
        if (px >= 0 && px < image.width() && test(image.pixel(px, y)))
            return true;
    }
    return false;
}

void drag(QWidget* widget, QPoint to) {
    QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QApplication::sendEvent(widget, &move);
}

} // namespace

TEST(TimelineView, TickIntervalIsTheFirstAtLeastFortyPixelsApart) {
    // Two hours: 5-minute ticks are 41.7 px apart in 1000 px; in 300 px 5 and 15 minutes (12.5
    // and 37.5 px) are too close and hours (100 px) win; in 600 px a quarter hour is 75 px.
    EXPECT_EQ(TimelineView::tickScale(1000, eventStart, eventEnd).interval, 300.0);
    EXPECT_EQ(TimelineView::tickScale(1000, eventStart, eventEnd).pattern, "HH:mm");
    EXPECT_EQ(TimelineView::tickScale(300, eventStart, eventEnd).interval, 3600.0);
    EXPECT_EQ(TimelineView::tickScale(600, eventStart, eventEnd).interval, 900.0);
    // A week: even 6-hour ticks are 35.7 px apart, so the axis shows days as dates.
    auto week = TimelineView::tickScale(1000, eventStart, eventStart + 7 * 86400.0);
    EXPECT_EQ(week.interval, 86400.0);
    EXPECT_EQ(week.pattern, "yyyy-MM-dd");

    // Counted from the reference date: the first tick at or after the start, none at the end.
    auto times = TimelineView::tickTimes(Instant(1000.0), Instant(2100.0), 300.0);
    ASSERT_EQ(times.size(), 3u);
    EXPECT_EQ(times[0], Instant(1200.0));
    EXPECT_EQ(times[2], Instant(1800.0));
    times = TimelineView::tickTimes(Instant(1200.0), Instant(1500.5), 300.0);
    ASSERT_EQ(times.size(), 2u);
    EXPECT_EQ(times[0], Instant(1200.0));

    // Nothing to show, nothing to crash on.
    EXPECT_TRUE(TimelineView::tickTimes(eventEnd, eventStart, 300.0).empty());
    TimelineView empty;
    empty.resize(1000, 130);
    EXPECT_TRUE(empty.ticks().empty());
    empty.grab();
}

TEST(TimelineView, TickLabelsGiveWayToThePlaybackLabel) {
    ViewFixture f;
    auto ticks = f.view.ticks();
    ASSERT_EQ(ticks.size(), 24u);
    for (const auto& tick : ticks)
        EXPECT_TRUE(tick.labelled);
    EXPECT_NEAR(ticks[1].x - ticks[0].x, 41.67, 0.01);

    // 10 s (1.4 px) after tick 5: that label goes, its neighbours 41.7 px away stay.
    f.view.setPlaybackTime(ticks[5].time + 10.0);
    ticks = f.view.ticks();
    EXPECT_FALSE(ticks[5].labelled);
    EXPECT_TRUE(ticks[4].labelled);
    EXPECT_TRUE(ticks[6].labelled);

    // 290 s after tick 5 is 40.3 px from it but 1.4 px before tick 6.
    f.view.setPlaybackTime(ticks[5].time + 290.0);
    ticks = f.view.ticks();
    EXPECT_TRUE(ticks[5].labelled);
    EXPECT_FALSE(ticks[6].labelled);
    // ... and 285 s is 39.6 px away: too close.
    f.view.setPlaybackTime(ticks[5].time + 285.0);
    EXPECT_FALSE(f.view.ticks()[5].labelled);
}

TEST(TimelineView, DrawsMarksAndThePlaybackLineWhereTheirTimesAre) {
    ViewFixture f;
    auto race = std::make_shared<Race>();
    race->setTime(eventStart + 1800.0);
    f.document.setRaces({race});
    f.view.setTacks({eventStart + 5400.0});
    f.view.setGybes({eventEnd + 600.0}); // outside the view

    QImage image = f.render();
    const int h = image.height();
    // No playback time: no red anywhere.
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < image.width(); ++x)
            ASSERT_FALSE(isRed(image.pixel(x, y))) << x << "," << y;
    EXPECT_EQ(image.pixel(500, 0), qRgb(0, 0, 0)) << "top edge";

    // The race start crosses the view from 25 px above the bottom to 5 px below the top.
    double raceX = 250.0;
    auto white = [](QRgb c) { return c == qRgb(255, 255, 255); };
    EXPECT_TRUE(columnHas(image, raceX, h - 30, white));
    EXPECT_TRUE(columnHas(image, raceX, 10, white));
    EXPECT_FALSE(columnHas(image, raceX, 2, white));
    EXPECT_FALSE(columnHas(image, raceX, h - 20, white));
    // The tack: light grey from 25 to 60 px above the bottom, nothing above.
    double tackX = 750.0;
    auto lightGrey = [](QRgb c) { return c == qRgb(170, 170, 170); };
    EXPECT_TRUE(columnHas(image, tackX, h - 40, lightGrey));
    EXPECT_FALSE(columnHas(image, tackX, h - 65, lightGrey));

    f.view.setPlaybackTime(eventStart + 3000.0);
    image = f.render();
    double playX = f.view.xAt(eventStart + 3000.0);
    EXPECT_NEAR(playX, 416.7, 0.1);
    EXPECT_TRUE(columnHas(image, playX, 1, isRed));
    EXPECT_TRUE(columnHas(image, playX, h - 22, isRed));
    // Below 20 px the label takes over.
    EXPECT_FALSE(columnHas(image, playX, h - 12, isRed));
    EXPECT_FALSE(columnHas(image, 100, 10, isRed));
}

TEST(TimelineView, OneRowPerMediaGroupWithItsIconAndAssets) {
    ViewFixture f;
    f.view.resize(1000, 135);
    std::vector<std::shared_ptr<MediaGroup>> groups;
    for (const char* name : {"Drone", "Boat", "Other", "Onboard"})
        groups.push_back(std::make_shared<MediaGroup>(name));
    f.document.setMediaGroups(groups);
    // A 10-minute video in the last row from 3000 s on; a photo in the first row at 6000 s.
    auto video = std::make_shared<VideoAsset>(QUrl::fromLocalFile("/v.mp4"), eventStart + 3000.0, 600.0, 0.0,
                                              TimeZone::utc(), groups[3]);
    auto photo = std::make_shared<PhotoAsset>(QUrl::fromLocalFile("/p.jpg"), eventStart + 6000.0, 0.0,
                                              TimeZone::utc(), groups[0]);
    f.view.setAssets({video, photo});

    // Rows of (135 − 75) / 4 = 15 px from 5 px below the top, the first group at the top;
    // icons of min(20, 0.8 × 15) = 12 px, centred in their rows.
    EXPECT_EQ(f.view.rowRect(0), QRectF(0, 5, 1000, 15));
    EXPECT_EQ(f.view.rowRect(3), QRectF(0, 50, 1000, 15));
    EXPECT_EQ(f.view.iconRect(1), QRectF(5, 21.5, 12, 12));
    EXPECT_TRUE(f.view.rowRect(4).isEmpty());

    QImage image = f.render();
    const QRgb background = image.pixel(990, 60);
    auto drawnIn = [&](QRectF area) {
        for (int y = int(area.top()); y < int(area.bottom()); ++y)
            for (int x = int(area.left()); x < int(area.right()); ++x)
                if (image.pixel(x, y) != background)
                    return true;
        return false;
    };
    EXPECT_TRUE(drawnIn(f.view.iconRect(0)));
    EXPECT_TRUE(drawnIn(f.view.iconRect(1)));
    EXPECT_TRUE(drawnIn(f.view.iconRect(2)));
    EXPECT_FALSE(drawnIn(f.view.iconRect(3))) << "no icon for other names";

    const QRgb assetBlue = qRgb(77, 77, 255);
    EXPECT_EQ(image.pixel(int(f.view.xAt(eventStart + 3300.0)), 57), assetBlue);
    EXPECT_NE(image.pixel(int(f.view.xAt(eventStart + 3300.0)), 12), assetBlue) << "only in its own row";
    EXPECT_TRUE(
        columnHas(image, f.view.xAt(eventStart + 6000.0), 12, [&](QRgb c) { return c == assetBlue; }));

    // Too low for rows: none drawn, no division by a negative height.
    f.view.resize(1000, 60);
    EXPECT_TRUE(f.view.rowRect(0).isEmpty());
    f.render();
}

TEST(TimelineView, ClicksAndDragsSeek) {
    ViewFixture f;
    std::vector<bool> seeked;
    QObject::connect(&f.document, &Document::playbackPositionUpdated,
                     [&](std::optional<Instant>, bool s) { seeked.push_back(s); });

    // Without a delegate the view moves the document itself.
    QTest::mouseClick(&f.view, Qt::LeftButton, {}, QPoint(500, 60));
    EXPECT_EQ(f.document.eventPlaybackPosition(), eventStart + 3600.0);
    EXPECT_EQ(f.view.playbackTime(), eventStart + 3600.0);
    EXPECT_EQ(seeked, std::vector<bool>{true});
    QTest::mouseClick(&f.view, Qt::LeftButton, {}, QPoint(1000, 60));
    EXPECT_EQ(f.document.eventPlaybackPosition(), eventEnd);
    QTest::mouseClick(&f.view, Qt::RightButton, {}, QPoint(100, 60));
    EXPECT_EQ(f.document.eventPlaybackPosition(), eventEnd);

    // With one, every seek of a drag goes to the delegate, and a drag past the end holds there.
    SeekRecorder recorder;
    f.view.setDelegate(&recorder);
    QTest::mousePress(&f.view, Qt::LeftButton, {}, QPoint(100, 60));
    drag(&f.view, QPoint(250, 60));
    drag(&f.view, QPoint(1200, 60));
    drag(&f.view, QPoint(-30, 60));
    QTest::mouseRelease(&f.view, Qt::LeftButton, {}, QPoint(-30, 60));
    EXPECT_EQ(recorder.seeks,
              (std::vector<Instant>{eventStart + 720.0, eventStart + 1800.0, eventEnd, eventStart}));
    EXPECT_EQ(f.document.eventPlaybackPosition(), eventEnd) << "the delegate decides";
    EXPECT_EQ(f.view.playbackTime(), eventStart);
}
