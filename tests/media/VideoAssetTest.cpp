#include "media/VideoAsset.h"

#include "core/UserDefaults.h"
#include "media/FileCreationDate.h"
#include "media/MediaFixtures.h"
#include "media/MediaGroup.h"
#include "support/LogFixture.h"

#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace MediaFixtures;

namespace {

const double noonJune1 = 1685620800.0; // 2023-06-01T12:00:00Z

struct Detected {
    AssetDetection<VideoAsset> detection;
    std::string log;
    VideoAsset& asset() const { return *detection.asset; }
};

class VideoAssetTest : public ::testing::Test {
protected:
    QString write(const QString& name, const std::string& bytes) {
        QString path = directory.filePath(name);
        writeFile(path, bytes);
        return path;
    }
    Detected detect(const QString& path, const TimeZone& zone) {
        DiagnosticsCapture capture;
        auto detection = VideoAsset::detect(QUrl::fromLocalFile(path), zone, group);
        return {std::move(detection), capture.text()};
    }

    QTemporaryDir directory;
    std::shared_ptr<MediaGroup> group = std::make_shared<MediaGroup>("Onboard");
    TimeZone berlin = *TimeZone::fromIdentifier("Europe/Berlin");
};

} // namespace

TEST_F(VideoAssetTest, KeepsTheFirstSourceThatGivesATime) {
    // The file name wins whatever the metadata says; only its line is printed.
    QString named = write("GX010042_2023-06-01_14-22-05.MP4",
                          movie("mp41", mvhd(quickTimeSeconds(noonJune1), 600, 6000) +
                                            box("udta", box("FIRM", "HD7.01.01.90.00"))));
    Detected byName = detect(named, berlin);
    ASSERT_TRUE(byName.detection.asset);
    EXPECT_EQ(byName.log,
              "GX010042_2023-06-01_14-22-05.MP4: detected timestamp in file name: 2023-06-01 14:22:05 "
              "(assuming time zone: Europe/Berlin = 2023-06-01 12:22:05 +0000) (using this value)\n");
    EXPECT_EQ(byName.asset().fileStartTime(), Instant::fromUnix(noonJune1 + 2 * 3600 + 22 * 60 + 5));
    EXPECT_EQ(byName.asset().fileTimeZone(), berlin);
    EXPECT_EQ(byName.asset().startTime(), Instant::fromUnix(noonJune1 + 22 * 60 + 5));
    EXPECT_EQ(byName.asset().duration(), 10.0);
    EXPECT_EQ(byName.asset().offset(), 0.0);
    EXPECT_EQ(byName.asset().mediaGroup(), group);

    // An iPhone video: the keyed creationdate (14:00+0200) is the container date, the make "Apple"
    // makes it true UTC. The bare-formatter step reads nothing from the ISO text and prints nothing.
    Detected iphone = detect(generated().iphoneMov, berlin);
    ASSERT_TRUE(iphone.detection.asset);
    EXPECT_EQ(iphone.log,
              "iphone.mov: detected timestamp in Quicktime metadata / creation date: 2023-06-01 12:00:00 "
              "(assuming time zone: UTC (Apple) = 2023-06-01 12:00:00 +0000) (using this value)\n");
    EXPECT_EQ(iphone.asset().fileTimeZone(), TimeZone::utc());
    EXPECT_EQ(iphone.asset().startTime(), Instant::fromUnix(noonJune1));
    EXPECT_NEAR(iphone.asset().duration(), 1.0, 0.05);

    // Matroska through libavformat: a camera-less container date read in the caller's zone.
    Detected mkv = detect(generated().mkv, berlin);
    ASSERT_TRUE(mkv.detection.asset);
    EXPECT_EQ(mkv.asset().fileStartTime(), Instant::fromUnix(noonJune1));
    EXPECT_EQ(mkv.asset().startTime(), Instant::fromUnix(noonJune1 - 7200));
    EXPECT_NEAR(mkv.asset().duration(), 1.0, 0.05);
    EXPECT_NE(
        mkv.log.find("(assuming time zone: Europe/Berlin = 2023-06-01 10:00:00 +0000) (using this value)"),
        std::string::npos)
        << mkv.log;

    // A container date at the reference date 2001-01-01 is no date: the file system's date is used,
    // read in the computer's zone so that the instant is the creation instant.
    QString old = write("old.mov", movie("qt  ", mvhd(quickTimeSeconds(978307200.0), 600, 600)));
    Detected fromFileSystem = detect(old, berlin);
    ASSERT_TRUE(fromFileSystem.detection.asset);
    EXPECT_NE(fromFileSystem.log.find("old.mov: detected timestamp in file creation date: "),
              std::string::npos);
    EXPECT_EQ(fromFileSystem.log.find("Quicktime"), std::string::npos);
    EXPECT_EQ(fromFileSystem.asset().fileTimeZone(), TimeZone::current());
    EXPECT_EQ(fromFileSystem.asset().startTime(), *fileCreationDate(old));

    EXPECT_EQ(detect(directory.filePath("missing.mp4"), berlin).detection.failure,
              AssetDetection<VideoAsset>::Failure::unreachable);
}

TEST_F(VideoAssetTest, PreferFileMtimeSkipsTheContainerDate) {
    QString path = write("clip.mp4", movie("mp41", mvhd(quickTimeSeconds(noonJune1), 600, 600)));
    UserDefaults::standard().setValue("preferFileMtime", true);
    Detected detected = detect(path, berlin);
    UserDefaults::standard().remove("preferFileMtime");
    ASSERT_TRUE(detected.detection.asset);
    EXPECT_EQ(detected.log.substr(0, detected.log.find('\n') + 1),
              "clip.mp4: skipping timestamp in Quicktime metadata / creation date: 2023-06-01 12:00:00\n");
    EXPECT_NE(detected.log.find("clip.mp4: detected timestamp in file creation date: "), std::string::npos);
    EXPECT_EQ(detected.asset().startTime(), *fileCreationDate(path));
}

TEST_F(VideoAssetTest, CameraDecidesTheZoneOfTheContainerDate) {
    auto creation = mvhd(quickTimeSeconds(noonJune1), 600, 600);
    auto make = [](const std::string& value) { return keyedMeta({{"com.apple.quicktime.make", value}}); };
    struct Case {
        const char* label;
        std::string bytes;
        const char* zoneText; // as printed after "assuming time zone: "
    } cases[] = {
        {"apple", movie("qt  ", creation + make("Apple")), "UTC (Apple)"},
        // The first make item with text decides; a later "Apple" is not looked at.
        {"canon",
         movie("qt  ", creation + keyedMeta({{"com.apple.quicktime.make", "Canon"},
                                             {"com.apple.quicktime.make", "Apple"}})),
         "Europe/Berlin"},
        {"phantom", movie("mp41", creation + box("udta", box("\xA9mdl", "FC6310"))),
         "Europe/Berlin (DJI Phantom 4)"},
        {"phantom-other", movie("mp41", creation + box("udta", box("\xA9mdl", "FC220"))), "Europe/Berlin"},
        {"drone",
         movie("qt  ", creation + box("udta", box("\xA9gpt", "-12.5") + box("\xA9"
                                                                            "dji",
                                                                            "\x01\x02"))),
         "Europe/Berlin (DJI Drone)"},
        {"gopro", movie("mp41", creation + box("udta", box("FIRM", "HD7.01.01.90.00"))),
         "Europe/Berlin (GoPro HD)"},
        {"gopro-old", movie("mp41", creation + box("udta", box("FIRM", "HD3.11.03.03"))), "Europe/Berlin"},
        {"gopro-max", movie("mp41", creation + box("udta", box("FIRM", "H19.03.02.00.00"))),
         "Europe/Berlin (GoPro Max)"},
        {"osmo", movie("qt  ", creation + box("udta", box("\xA9gpt", quickTimeText("-12.5")))),
         "UTC (DJI Osmo)"},
        // A QuickTime file's user data is "udta/…": the MP4 rule for the Phantom does not apply.
        {"phantom-mov", movie("qt  ", creation + box("udta", box("\xA9mdl", "FC6310"))), "Europe/Berlin"},
    };
    for (const auto& c : cases) {
        QString path = write(QString(c.label) + ".mov", c.bytes);
        Detected detected = detect(path, berlin);
        ASSERT_TRUE(detected.detection.asset) << c.label;
        bool utc = std::string(c.zoneText).rfind("UTC", 0) == 0;
        std::string expected =
            std::string(c.label) +
            ".mov: detected timestamp in Quicktime metadata / creation date: 2023-06-01 12:00:00 "
            "(assuming time zone: " +
            c.zoneText + " = " + (utc ? "2023-06-01 12:00:00" : "2023-06-01 10:00:00") +
            " +0000) (using this value)\n";
        EXPECT_EQ(detected.log, expected) << c.label;
        EXPECT_EQ(detected.asset().fileTimeZone(), utc ? TimeZone::utc() : berlin) << c.label;
    }
}

TEST_F(VideoAssetTest, SidecarSubtitleShiftsTheVideo) {
    // Detected start 2019-05-12 14:23:08; the subtitle says 14:23:11, one second late by design.
    const double start = 1557670988.0;
    std::string bytes = movie("qt  ", mvhd(quickTimeSeconds(start), 600, 600));
    QString video = write("DJI_0001.MOV", bytes);
    writeFile(directory.filePath("DJI_0001.srt"),
              "1\r\n00:00:01,000 --> 00:00:02,000\r\n"
              "HOME(149.0251,-20.2532) 2019.05.12 14:23:11\r\nGPS(1,2,3)\r\n");
    Detected shifted = detect(video, TimeZone::utc());
    ASSERT_TRUE(shifted.detection.asset);
    EXPECT_EQ(shifted.asset().offset(), 2.0);
    EXPECT_EQ(shifted.asset().startTime(), Instant::fromUnix(start + 2.0));

    QString unreadable = write("DJI_0002.MOV", bytes);
    writeFile(directory.filePath("DJI_0002.SRT"),
              "1\n00:00:01,000 --> 00:00:02,000\nHOME(1,2) 12.05.2019 14:23\n");
    Detected garbled = detect(unreadable, TimeZone::utc());
    ASSERT_TRUE(garbled.detection.asset);
    EXPECT_EQ(garbled.asset().offset(), 0.0);
    EXPECT_NE(garbled.log.find(
                  "Could not parse SRT date string '12.05.2019 14:23' with format yyyy.MM.dd HH:mm:ss at " +
                  QUrl::fromLocalFile(directory.filePath("DJI_0002.SRT")).toString().toStdString() + ":3\n"),
              std::string::npos)
        << garbled.log;

    QString shortSidecar = write("DJI_0003.MOV", bytes);
    writeFile(directory.filePath("DJI_0003.Srt"), "1\n00:00:01,000 --> 00:00:02,000\n");
    Detected silent = detect(shortSidecar, TimeZone::utc());
    ASSERT_TRUE(silent.detection.asset);
    EXPECT_EQ(silent.asset().offset(), 0.0);
    EXPECT_EQ(silent.log.find("SRT"), std::string::npos);
}
