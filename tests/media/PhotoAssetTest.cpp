#include "media/PhotoAsset.h"

#include "media/FileCreationDate.h"
#include "media/MediaFixtures.h"
#include "media/MediaGroup.h"
#include "support/LogFixture.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace MediaFixtures;

namespace {

const double may12 = 1557671000.0; // 2019-05-12T14:23:20Z

struct Detected {
    AssetDetection<PhotoAsset> detection;
    std::string log;
};

class PhotoAssetTest : public ::testing::Test {
protected:
    Detected detect(const QString& name, const std::vector<std::pair<std::string, std::string>>& tags) {
        QString path = directory.filePath(name);
        writePhoto(path, tags);
        DiagnosticsCapture capture;
        auto detection = PhotoAsset::detect(QUrl::fromLocalFile(path), berlin, group);
        return {std::move(detection), capture.text()};
    }

    QTemporaryDir directory;
    std::shared_ptr<MediaGroup> group = std::make_shared<MediaGroup>("Photos");
    TimeZone berlin = *TimeZone::fromIdentifier("Europe/Berlin");
};

} // namespace

TEST_F(PhotoAssetTest, TakesTheFirstSourceInTheFixedOrder) {
    const std::pair<std::string, std::string> dateTime{"Exif.Image.DateTime", "2019:05:12 14:23:11"};
    const std::pair<std::string, std::string> original{"Exif.Photo.DateTimeOriginal", "2019:05:12 14:23:20"};

    // The name beats every tag.
    Detected named = detect("2019-05-12_14-23-11.jpg", {original});
    ASSERT_TRUE(named.detection.asset);
    EXPECT_EQ(named.log,
              "2019-05-12_14-23-11.jpg: detected timestamp in file name: 2019-05-12 14:23:11 +0000\n");
    EXPECT_EQ(named.detection.asset->fileStartTime(), Instant::fromUnix(may12 - 9));
    EXPECT_EQ(named.detection.asset->fileTimeZone(), berlin);
    EXPECT_EQ(named.detection.asset->duration(), 0.0);
    EXPECT_EQ(named.detection.asset->mediaGroup(), group);

    // DateTime before DateTimeOriginal, with its sub-seconds as the digits after the point.
    Detected both = detect("both.jpg", {original, dateTime, {"Exif.Photo.SubSecTime", "5"}});
    ASSERT_TRUE(both.detection.asset);
    EXPECT_EQ(both.log,
              "both.jpg: detected timestamp in EXIF metadata 'DateTime': 2019-05-12 14:23:11 +0000\n");
    EXPECT_EQ(both.detection.asset->fileStartTime(), Instant::fromUnix(may12 - 9 + 0.5));
    EXPECT_EQ(both.detection.asset->startTime(), Instant::fromUnix(may12 - 9 + 0.5 - 7200));

    Detected onlyOriginal = detect("original.jpg", {original, {"Exif.Photo.SubSecTimeOriginal", "05"}});
    ASSERT_TRUE(onlyOriginal.detection.asset);
    EXPECT_EQ(
        onlyOriginal.log,
        "original.jpg: detected timestamp in EXIF metadata 'DateTimeOriginal': 2019-05-12 14:23:20 +0000\n");
    EXPECT_EQ(onlyOriginal.detection.asset->fileStartTime(), Instant::fromUnix(may12 + 0.05));

    Detected digitized = detect("digitized.jpg", {{"Exif.Image.DateTime", "not a date"},
                                                  {"Exif.Photo.DateTimeDigitized", "2019:05:12 14:23:20"}});
    ASSERT_TRUE(digitized.detection.asset);
    EXPECT_NE(digitized.log.find("'DateTimeDigitized'"), std::string::npos) << digitized.log;
}

TEST_F(PhotoAssetTest, IptcTimeCarriesItsOwnZone) {
    Detected zoned = detect("zoned.jpg", {{"Iptc.Application2.DateCreated", "20190512"},
                                          {"Iptc.Application2.TimeCreated", "142311+0200"},
                                          {"Exif.Image.DateTime", "2000:01:01 00:00:00"}});
    ASSERT_TRUE(zoned.detection.asset);
    EXPECT_EQ(zoned.log, "zoned.jpg: detected timestamp in IPTC metadata: 2019-05-12 14:23:11 +0000 (time "
                         "zone: GMT+0200 (fixed))\n");
    EXPECT_EQ(zoned.detection.asset->fileTimeZone(), *TimeZone::fromSecondsFromGMT(7200));
    EXPECT_EQ(zoned.detection.asset->startTime(), Instant::fromUnix(may12 - 9 - 7200));

    Detected west = detect("west.jpg", {{"Iptc.Application2.DateCreated", "20190512"},
                                        {"Iptc.Application2.TimeCreated", "142311-0330"}});
    ASSERT_TRUE(west.detection.asset);
    EXPECT_EQ(west.detection.asset->startTime(), Instant::fromUnix(may12 - 9 + 3.5 * 3600));

    Detected unzoned = detect("unzoned.jpg", {{"Iptc.Application2.DateCreated", "20190512"},
                                              {"Iptc.Application2.TimeCreated", "142311"}});
    ASSERT_TRUE(unzoned.detection.asset);
    EXPECT_EQ(unzoned.log, "unzoned.jpg: detected timestamp in IPTC metadata: 2019-05-12 14:23:11 +0000 "
                           "(time zone: unknown)\n");
    EXPECT_EQ(unzoned.detection.asset->fileTimeZone(), berlin);
}

TEST_F(PhotoAssetTest, FallsBackToTheFileSystemForFilesWithoutTags) {
    // No tags, and an image that is no image: both take the file's creation date in the computer's zone.
    Detected plain = detect("plain.jpg", {});
    ASSERT_TRUE(plain.detection.asset);
    EXPECT_NE(plain.log.find("plain.jpg: detected timestamp from file creation date: "), std::string::npos);
    EXPECT_EQ(plain.detection.asset->fileTimeZone(), TimeZone::current());
    EXPECT_EQ(plain.detection.asset->startTime(), *fileCreationDate(directory.filePath("plain.jpg")));

    QString fake = directory.filePath("fake.jpg");
    writeFile(fake, std::string("\xFF\xD8\xFF\xE1\xFF\xFF", 6) + "Exif\0\0MM" + std::string(100, '\xFF'));
    DiagnosticsCapture capture;
    auto detection = PhotoAsset::detect(QUrl::fromLocalFile(fake), berlin, group);
    ASSERT_TRUE(detection.asset);
    EXPECT_NE(capture.text().find("fake.jpg: detected timestamp from file creation date: "),
              std::string::npos);

    EXPECT_EQ(PhotoAsset::detect(QUrl::fromLocalFile(directory.filePath("gone.jpg")), berlin, group).failure,
              AssetDetection<PhotoAsset>::Failure::unreachable);
}
