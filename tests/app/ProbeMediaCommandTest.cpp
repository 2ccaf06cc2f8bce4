#include "media/MediaFixtures.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

struct Outcome {
    int exitCode;
    std::string out;
    std::string err;
};

Outcome probe(const QStringList& arguments) {
    QProcess process;
    process.start(WAKELINE_PROGRAM, QStringList{"probe-media"} + arguments);
    process.waitForFinished(60000);
    return {process.exitCode(), process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

} // namespace

TEST(ProbeMediaCommand, ReportsEachFileAndGoesOnPastFailures) {
    QTemporaryDir directory;
    QString video = directory.filePath("GX010042_2023-06-01_14-22-05.mp4");
    QFile::copy(MediaFixtures::generated().plainMp4, video);
    QString picture = directory.filePath("photo.jpg");
    MediaFixtures::writePhoto(picture, {{"Exif.Photo.DateTimeOriginal", "2019:05:12 14:23:11"}});
    QString notes = directory.filePath("notes.txt");
    MediaFixtures::writeFile(notes, "not media\n");

    Outcome outcome =
        probe({video, picture, notes, directory.filePath("missing.mov"), "--zone", "Europe/Berlin"});
    EXPECT_EQ(outcome.exitCode, 1);
    json files = json::parse(outcome.out);
    ASSERT_EQ(files.size(), 4u);

    const json& clip = files[0];
    EXPECT_EQ(clip["file"], video.toStdString());
    EXPECT_EQ(clip["kind"], "VideoAsset");
    EXPECT_EQ(clip["fileStartTime"], 1685629325.0); // 14:22:05 as a reading
    EXPECT_EQ(clip["fileTimeZone"], "Europe/Berlin");
    EXPECT_NEAR(clip["duration"].get<double>(), 1.0, 0.05);
    EXPECT_EQ(clip["offset"], 0.0);
    EXPECT_EQ(clip["startTime"], 1685629325.0 - 7200);
    EXPECT_EQ(clip["endTime"], clip["startTime"].get<double>() + clip["duration"].get<double>());
    // No camera GPS: the reading's own source placed it.
    EXPECT_EQ(clip["timeSource"], "file-name");
    EXPECT_FALSE(clip.contains("error"));

    EXPECT_EQ(files[1]["kind"], "PhotoAsset");
    EXPECT_EQ(files[1]["startTime"], 1557670991.0 - 7200); // 14:23:11 in Berlin
    EXPECT_EQ(files[1]["duration"], 0.0);

    EXPECT_TRUE(files[2]["kind"].is_null());
    EXPECT_TRUE(files[2]["startTime"].is_null());
    EXPECT_EQ(files[2]["error"], "not a video, audio or image file (text/plain)");
    EXPECT_EQ(files[3]["error"], "the file cannot be read");

    // The detection lines go to stderr, the JSON alone to stdout.
    EXPECT_NE(outcome.err.find("GX010042_2023-06-01_14-22-05.mp4: detected timestamp in file name: "),
              std::string::npos);
    EXPECT_NE(outcome.err.find("photo.jpg: detected timestamp in EXIF metadata 'DateTimeOriginal': "),
              std::string::npos);

    EXPECT_EQ(probe({video}).exitCode, 0);
    EXPECT_EQ(probe({video, "--zone", "Mars/Olympus"}).exitCode, 2);
    EXPECT_EQ(probe({}).exitCode, 2);
}
