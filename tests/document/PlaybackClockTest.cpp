#include "core/UserDefaults.h"
#include "document/Document.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "race/Race.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// A document whose wall clock moves only when the test says so, and which records what it
// announces, in order.
struct ClockFixture {
    Document document;
    Instant wallClock = Instant::fromUnix(1'700'000'000);
    std::vector<std::string> announced;

    ClockFixture() {
        UserDefaults::standard().setValue("writeTimestampMode", 0);
        document.setWallClock([this] { return wallClock; });
        QObject::connect(&document, &Document::playbackStarted,
                         [this](std::optional<Instant>) { announced.push_back("started"); });
        QObject::connect(&document, &Document::playbackPaused,
                         [this](std::optional<Instant>) { announced.push_back("paused"); });
        QObject::connect(
            &document, &Document::playbackPositionUpdated,
            [this](std::optional<Instant>, bool seeked) { announced.push_back(seeked ? "seek" : "tick"); });
    }
};

const Instant gun = Instant::fromUnix(1'686'052'800);

} // namespace

TEST(PlaybackClock, TicksFollowTheWallClockFromTheAnchor) {
    ClockFixture f;
    // Nothing to play in an empty document.
    f.document.play();
    EXPECT_FALSE(f.document.isPlaying());

    f.document.setPlaybackPosition(gun, true);
    f.document.play();
    f.document.play();
    EXPECT_TRUE(f.document.isPlaying());
    EXPECT_EQ(f.document.lastPlayTimeEvent(), gun);

    // Late and skipped ticks land where real time says, not 0.04 s after the last one.
    f.wallClock += 0.04;
    f.document.tick();
    EXPECT_EQ(f.document.eventPlaybackPosition(), gun + 0.04);
    f.wallClock += 1.5;
    f.document.tick();
    EXPECT_DOUBLE_EQ(f.document.eventPlaybackPosition()->secondsSinceReference(),
                     (gun + 1.54).secondsSinceReference());

    f.document.pause();
    f.document.pause();
    EXPECT_FALSE(f.document.lastPlayTimeSystem());
    // A tick that fires after the pause does nothing.
    f.wallClock += 10;
    f.document.tick();
    EXPECT_DOUBLE_EQ(f.document.eventPlaybackPosition()->secondsSinceReference(),
                     (gun + 1.54).secondsSinceReference());
    EXPECT_EQ(f.announced, (std::vector<std::string>{"seek", "started", "tick", "tick", "paused"}));
}

TEST(PlaybackClock, ASeekWhilePlayingPausesFirst) {
    ClockFixture f;
    f.document.setPlaybackPosition(gun, true);
    f.document.play();
    f.announced.clear();
    f.document.setPlaybackPosition(gun + 300, true);
    EXPECT_FALSE(f.document.isPlaying());
    EXPECT_EQ(f.document.eventPlaybackPosition(), gun + 300);
    EXPECT_EQ(f.announced, (std::vector<std::string>{"paused", "seek"}));
    // Playing on from there starts at the new position.
    f.document.play();
    f.wallClock += 2;
    f.document.tick();
    EXPECT_EQ(f.document.eventPlaybackPosition(), gun + 302);
    // Seeking never marks the document edited.
    EXPECT_FALSE(f.document.isEdited());
}

TEST(PlaybackClock, EventRange) {
    Document document;
    EXPECT_FALSE(document.eventStartTime());
    EXPECT_FALSE(document.eventEndTime());

    auto race = std::make_shared<Race>();
    race->setTime(gun);
    race->setFinishTime(gun);
    document.setRaces({race});
    EXPECT_EQ(document.eventStartTime(), gun - 600);
    EXPECT_EQ(document.eventEndTime(), gun + 600);

    auto group = std::make_shared<MediaGroup>("Onboard");
    document.addAsset(
        std::make_shared<PhotoAsset>(QUrl::fromLocalFile("/p.jpg"), gun + 5000, 0, TimeZone::utc(), group),
        group);
    EXPECT_EQ(document.eventEndTime(), gun + 600);
    document.addAsset(std::make_shared<VideoAsset>(QUrl::fromLocalFile("/v.mp4"), gun + 7200, 60, 0,
                                                   *TimeZone::fromSecondsFromGMT(3600), group),
                      group);
    EXPECT_EQ(document.eventEndTime(), gun + 3600 + 60 + 600);
    document.setLegs({{gun - 900, gun, SailingLegType::Upwind}});
    EXPECT_EQ(document.eventStartTime(), gun - 1500);

    // Overrides stand exactly, without the margin.
    document.setEventStartTimeOverride(gun - 1);
    document.setEventEndTimeOverride(gun + 1);
    EXPECT_EQ(document.eventStartTime(), gun - 1);
    EXPECT_EQ(document.eventEndTime(), gun + 1);
}
