#include "media/DjiSubtitles.h"

#include "media/MediaFixtures.h"
#include "media/VideoAsset.h"
#include "support/LogFixture.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace MediaFixtures;

namespace {

// The first cues of the three layouts drones write, as they write them.
const char* homeLayout = "1\n00:00:01,000 --> 00:00:02,000\nHOME(149.0251,-20.2532) 2017.08.05 14:11:51\n"
                         "GPS(149.0251,-20.2533,16) BAROMETER:1.9\nISO:100 Shutter:60 EV: Fnum:2.2\n\n"
                         "2\n00:00:02,000 --> 00:00:03,000\nHOME(149.0251,-20.2532) 2017.08.05 14:11:52\n"
                         "GPS(149.0252,-20.2533,16) BAROMETER:1.9\nISO:100 Shutter:60 EV: Fnum:2.2\n\n";
const char* bareLayout = "1\r\n00:00:00,000 --> 00:00:01,000\r\n2022.06.21 16:06:17\r\n"
                         "GPS(36.6146,-6.1120,0.0M) BAROMETER:0.3M\r\n\r\n"
                         "2\r\n00:00:01,000 --> 00:00:02,000\r\n2022.06.21 16:06:18\r\n"
                         "GPS(36.6147,-6.1120,0.0M) BAROMETER:0.3M\r\n\r\n";
const char* frameLayout =
    "1\n00:00:00,000 --> 00:00:00,033\n<font size=\"36\">SrtCnt : 1, DiffTime : 33ms\n2022-08-07 "
    "13:40:40,774,808\n"
    "[iso : 100] [shutter : 1/80.0] [fnum : 280] [ev : 0] [ct : 5744] [color_md : default] [focal_len : 240] "
    "[latitude: 41.424724] [longitude: 2.234156] [altitude: 117.000000] </font>\n\n"
    "2\n00:00:00,033 --> 00:00:00,066\n<font size=\"36\">SrtCnt : 2, DiffTime : 33ms\n2022-08-07 "
    "13:40:40,808,164\n"
    "[iso : 100] [shutter : 1/80.0] [fnum : 280] [ev : 0] [ct : 5744] [color_md : default] [focal_len : 240] "
    "[latitude: 41.424734] [longitude: 2.234156] [altitude: 117.000000] </font>\n\n";

double unix(const char* iso) {
    return QDateTime::fromString(iso, Qt::ISODateWithMs).toMSecsSinceEpoch() / 1000.0;
}

struct Placed {
    std::shared_ptr<VideoAsset> asset;
    std::string log;
};

// A clip with the given sidecar, detected with the caller's zone `zone`.
Placed place(QTemporaryDir& directory, const QString& name, const char* subtitles, const TimeZone& zone) {
    const QString video = directory.filePath(name + ".MOV");
    QFile::remove(video);
    QFile::copy(generated().plainMp4, video);
    writeFile(directory.filePath(name + ".SRT"), subtitles);
    DiagnosticsCapture capture;
    auto detection = VideoAsset::detect(QUrl::fromLocalFile(video), zone, nullptr);
    return {detection.asset, capture.text()};
}

} // namespace

TEST(DjiSubtitles, ReadsEveryLayoutCueByCue) {
    QTemporaryDir directory;
    writeFile(directory.filePath("home.srt"), homeLayout);
    auto home = DjiSubtitles::read(directory.filePath("home.srt"));
    ASSERT_TRUE(home);
    ASSERT_EQ(home->points.size(), 2u);
    EXPECT_EQ(home->source, "srt-gps");
    EXPECT_FALSE(home->timeIsUtc);
    // Longitude first in this layout: the drone flew in Queensland, not off Antarctica.
    EXPECT_DOUBLE_EQ(home->points[0].latitude, -20.2533);
    EXPECT_DOUBLE_EQ(home->points[0].longitude, 149.0251);
    EXPECT_EQ(home->points[0].fileTime, 1.0);
    EXPECT_EQ(home->points[0].time, Instant::fromUnix(unix("2017-08-05T14:11:51Z")));
    // The clip began a second before its first cue.
    EXPECT_EQ(home->clipStart(), Instant::fromUnix(unix("2017-08-05T14:11:50Z")));

    writeFile(directory.filePath("bare.srt"), bareLayout);
    auto bare = DjiSubtitles::read(directory.filePath("bare.srt"));
    ASSERT_TRUE(bare);
    ASSERT_EQ(bare->points.size(), 2u);
    EXPECT_DOUBLE_EQ(bare->points[0].latitude, 36.6146); // latitude first, off Cádiz
    EXPECT_DOUBLE_EQ(bare->points[0].longitude, -6.1120);
    // 0.0001° of latitude in one second.
    EXPECT_NEAR(bare->points[1].speed, 11.1, 0.1);

    writeFile(directory.filePath("frames.srt"), frameLayout);
    auto frames = DjiSubtitles::read(directory.filePath("frames.srt"));
    ASSERT_TRUE(frames);
    ASSERT_EQ(frames->points.size(), 2u);
    EXPECT_DOUBLE_EQ(frames->points[1].fileTime, 0.033);
    EXPECT_DOUBLE_EQ(frames->points[1].latitude, 41.424734);
    EXPECT_DOUBLE_EQ(frames->points[0].altitude, 117.0);
    EXPECT_EQ(frames->points[1].time, Instant::fromUnix(unix("2022-08-07T13:40:40.808Z")));

    // Cues without a date or a position are no track points; a file of neither is an empty track.
    writeFile(directory.filePath("plain.srt"), "1\n00:00:00,000 --> 00:00:01,000\nHello\n\n");
    EXPECT_TRUE(DjiSubtitles::read(directory.filePath("plain.srt"))->points.empty());
    EXPECT_FALSE(DjiSubtitles::read(directory.filePath("missing.srt")));
}

TEST(DjiSubtitles, PlaceTheClipWithTheSidecarFirst) {
    QTemporaryDir directory;
    const TimeZone madrid = *TimeZone::fromIdentifier("Europe/Madrid");
    // The layout the sidecar rule always read keeps its offset, message and all.
    Placed home = place(directory, "DJI_0001", homeLayout, madrid);
    ASSERT_TRUE(home.asset);
    EXPECT_EQ(home.asset->timeSource(), "srt-gps");
    EXPECT_EQ(home.asset->offset(),
              (Instant::fromUnix(unix("2017-08-05T14:11:50Z")) - home.asset->fileStartTime()));
    EXPECT_EQ(home.log.find("GPS start"), std::string::npos);

    // The bare layout's third line does not parse as before, and says so; its cue dates now place
    // the clip, read in the caller's zone like the sidecar's date.
    Placed bare = place(directory, "DJI_0002", bareLayout, madrid);
    EXPECT_EQ(bare.asset->timeSource(), "srt-gps");
    EXPECT_NEAR(bare.asset->startTime().unixSeconds(), unix("2022-06-21T14:06:17Z"), 1e-6);
    EXPECT_NE(bare.log.find("Could not parse SRT date string '16:06:17'"), std::string::npos);
    EXPECT_NE(bare.log.find("DJI_0002.MOV: detected GPS start in subtitle sidecar cue dates: 2022-06-21 "
                            "14:06:17 +0000"),
              std::string::npos)
        << bare.log;

    Placed frames = place(directory, "DJI_0003", frameLayout, TimeZone::utc());
    // Each frame's stamp less its cue's start, to the millisecond the cues are written in.
    EXPECT_NEAR(frames.asset->startTime().unixSeconds(), unix("2022-08-07T13:40:40.774Z"), 0.0015);

    // A sidecar with no date anywhere leaves the clip where its own reading puts it.
    Placed none = place(directory, "DJI_0004", "1\n00:00:00,000 --> 00:00:01,000\nHello there\n\n", madrid);
    EXPECT_EQ(none.asset->offset(), 0.0);
    EXPECT_EQ(none.asset->timeSource(), "container-creation-date");
}
