#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"

#include <gtest/gtest.h>

TEST(MediaAsset, PlacedOnTheEventAxisByZoneAndOffset) {
    auto group = std::make_shared<MediaGroup>("Onboard");
    // 12:00:00 read in UTC+2 with a 3.5 s correction starts at 10:00:03.5 UTC.
    Instant noon = Instant::fromUnix(1686052800);
    VideoAsset video(QUrl::fromLocalFile("/v/GX010001.MP4"), noon, 120.0, 3.5,
                     *TimeZone::fromSecondsFromGMT(7200), group);
    EXPECT_EQ(video.startTime(), Instant::fromUnix(1686052800 - 7200 + 3.5));
    EXPECT_EQ(video.endTime(), video.startTime() + 120.0);
    EXPECT_FALSE(video.isPhoto());
    EXPECT_EQ(video.mediaGroup(), group);

    // A named zone uses its offset at the reading: Berlin is UTC+2 in June, UTC+1 in January.
    auto berlin = *TimeZone::fromIdentifier("Europe/Berlin");
    PhotoAsset summer(QUrl::fromLocalFile("/p/a.jpg"), noon, 0.0, berlin, group);
    PhotoAsset winter(QUrl::fromLocalFile("/p/b.jpg"), Instant::fromUnix(1673784000), 0.0, berlin, group);
    EXPECT_EQ(summer.startTime(), noon - 7200.0);
    EXPECT_EQ(winter.startTime(), Instant::fromUnix(1673784000 - 3600));
    EXPECT_EQ(summer.duration(), 0.0);
    EXPECT_EQ(summer.endTime(), summer.startTime());
    EXPECT_TRUE(summer.isPhoto());

    summer.setOffset(-10.0);
    summer.setFileTimeZone(TimeZone::utc());
    EXPECT_EQ(summer.startTime(), noon - 10.0);

    EXPECT_EQ(MediaGroup::decode(group->encode())->name, "Onboard");
}
