#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/ShiftAssets.h"
#include "media/FileNameTimestamp.h"
#include "media/MediaFileAdder.h"
#include "media/MediaFixtures.h"
#include "media/MediaGroup.h"
#include "media/MediaTypes.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "media/VisibleAssets.h"
#include "support/LogFixture.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>

using namespace MediaFixtures;

namespace {

const double t0 = 1686052800.0; // 2023-06-06T12:00:00Z

std::shared_ptr<MediaAsset> video(const std::shared_ptr<MediaGroup>& group, double start, double duration) {
    return std::make_shared<VideoAsset>(QUrl::fromLocalFile("/v.mp4"), Instant::fromUnix(start), duration,
                                        0.0, TimeZone::utc(), group);
}

std::shared_ptr<MediaAsset> photo(const std::shared_ptr<MediaGroup>& group, double time) {
    return std::make_shared<PhotoAsset>(QUrl::fromLocalFile("/p.jpg"), Instant::fromUnix(time), 0.0,
                                        TimeZone::utc(), group);
}

} // namespace

TEST(VisibleAssets, NearestCoveringAssetOfTheGroupComesFirst) {
    auto onboard = std::make_shared<MediaGroup>("Onboard");
    auto drone = std::make_shared<MediaGroup>("Onboard"); // same name, other group
    auto early = video(onboard, t0, 600);
    auto late = video(onboard, t0 + 300, 600);
    auto otherGroup = video(drone, t0 + 599, 10);
    auto snap = photo(onboard, t0 + 610);
    std::vector<std::shared_ptr<MediaAsset>> assets{early, late, otherGroup, snap};
    auto at = [&](double position) { return visibleAssets(assets, onboard, Instant::fromUnix(position)); };

    // Overlapping videos: the one that started most recently before the position.
    EXPECT_EQ(at(t0 + 400), (std::vector{late, early}));
    // A video's end is still covered; a photo exactly 10 s away is not.
    EXPECT_EQ(at(t0 + 600), (std::vector{late, early}));
    EXPECT_EQ(at(t0 + 620), (std::vector{late}));
    // 9.9 s before or after a photo shows it, nearest start first.
    EXPECT_EQ(at(t0 + 600.1), (std::vector{snap, late}));
    EXPECT_EQ(at(t0 + 619.9), (std::vector{snap, late}));
    EXPECT_TRUE(at(t0 - 1).empty());
    // Equally near: the earlier one in the document's list first.
    auto twin = video(onboard, t0, 600);
    assets.push_back(twin);
    EXPECT_EQ(at(t0 + 10), (std::vector{early, twin}));
}

TEST(FileNameTimestamp, FirstValidTimestampInTheName) {
    EXPECT_EQ(fileNameTimestamp("GX010042_2023-06-01_14-22-05.MP4"), Instant::fromUnix(1685629325));
    EXPECT_EQ(fileNameTimestamp("a_2023-06-01_14-22-05_b_2024-01-01_00-00-00.jpg"),
              Instant::fromUnix(1685629325));
    EXPECT_FALSE(fileNameTimestamp("2023-02-30_14-22-05.jpg"));
    EXPECT_FALSE(fileNameTimestamp("2023-06-01 14-22-05.jpg"));
}

TEST(MediaFileAdder, AddsWhatItCanAndNamesTheRest) {
    QTemporaryDir directory;
    QString clip = directory.filePath("clip.mp4");
    QString picture = directory.filePath("2019-05-12_14-23-11.jpg");
    QString notes = directory.filePath("notes.txt");
    QString sound = directory.filePath("sound.wav");
    QFile::copy(generated().plainMp4, clip);
    QFile::copy(generated().wav, sound);
    writePhoto(picture, {});
    writeFile(notes, "wind 12 kn, port tack\n");

    // The type tests, by content and name; the photo test logs the type it found.
    DiagnosticsCapture capture;
    EXPECT_TRUE(isSupportedVideo(QUrl::fromLocalFile(clip)));
    EXPECT_TRUE(isSupportedVideo(QUrl::fromLocalFile(sound)));
    EXPECT_TRUE(isSupportedVideo(QUrl::fromLocalFile(generated().mkv)));
    EXPECT_FALSE(isSupportedVideo(QUrl::fromLocalFile(picture)));
    EXPECT_TRUE(isSupportedPhoto(QUrl::fromLocalFile(picture)));
    EXPECT_FALSE(isSupportedPhoto(QUrl::fromLocalFile(notes)));
    EXPECT_NE(capture.text().find("2019-05-12_14-23-11.jpg UTI = image/jpeg\n"), std::string::npos);
    EXPECT_NE(capture.text().find("notes.txt UTI = text/plain\n"), std::string::npos);

    Document document;
    auto group = std::make_shared<MediaGroup>("Onboard");
    document.addMediaGroup(group);
    document.setEdited(false);
    int updates = 0;
    QObject::connect(&document, &Document::documentAssetsUpdated, [&] { ++updates; });
    std::optional<MediaFileAdder::Result> result;
    MediaFileAdder::add(&document,
                        {QUrl::fromLocalFile(clip), QUrl::fromLocalFile(notes), QUrl::fromLocalFile(picture),
                         QUrl::fromLocalFile(sound)},
                        group, TimeZone::utc(), [&](const MediaFileAdder::Result& done) { result = done; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return result.has_value(); }, 60000));
    ASSERT_EQ(document.assets().size(), 3u);
    EXPECT_FALSE(document.assets()[0]->isPhoto());
    EXPECT_TRUE(document.assets()[1]->isPhoto());
    EXPECT_EQ(document.assets()[2]->url(), QUrl::fromLocalFile(sound));
    EXPECT_EQ(document.assets()[1]->mediaGroup(), group);
    EXPECT_TRUE(document.isEdited());
    EXPECT_GE(updates, 1);
    EXPECT_EQ(result->failures, QStringList{"notes.txt"});
    EXPECT_EQ(MediaFileAdder::Result::alertMessage(), "Could not add media files");
    EXPECT_EQ(result->alertInformativeText(),
              "The following files could not be added: notes.txt. Please check "
              "that they are in a supported format.");
}

TEST(ShiftAssets, FollowsBothSettingsAndUndoes) {
    Document document;
    auto onboard = std::make_shared<MediaGroup>("Onboard");
    auto drone = std::make_shared<MediaGroup>("Drone");
    auto first = video(onboard, t0, 60);
    auto second = photo(onboard, t0 + 10);
    auto other = video(drone, t0, 60);
    for (const auto& asset : {first, second, other})
        document.addAsset(asset, asset->mediaGroup());
    document.setEdited(false);
    UserDefaults& defaults = UserDefaults::standard();
    int updates = 0;
    QObject::connect(&document, &Document::documentAssetsUpdated, [&] { ++updates; });
    auto shift = [&](double seconds) {
        auto edit = ShiftAssets::byUserDefaults(document, first, seconds);
        if (edit)
            edit->apply(document);
        return edit;
    };

    // Only the asset, and the video moves against the data: the position stays.
    defaults.setValue(ShiftAssets::moveVideoKey, true);
    EXPECT_EQ(ShiftAssets::offsetString(first.get()), "0.000");
    shift(0.1);
    EXPECT_EQ(ShiftAssets::offsetString(first.get()), "0.100");
    EXPECT_TRUE(document.isEdited());
    shift(0.1);
    auto back = shift(-1.0);
    EXPECT_EQ(ShiftAssets::offsetString(first.get()), "-0.800");
    EXPECT_EQ(second->offset(), 0.0);
    EXPECT_FALSE(document.eventPlaybackPosition());
    EXPECT_EQ(updates, 3);
    back->revert(document);
    EXPECT_EQ(ShiftAssets::offsetString(first.get()), "0.200");

    // The whole group, and the position moves along so the frame on screen stays; without a
    // position there is nothing to move along, so no shift.
    defaults.setValue(ShiftAssets::applyToAllAssetsInGroupKey, true);
    defaults.setValue(ShiftAssets::moveVideoKey, false);
    EXPECT_FALSE(shift(0.1));
    document.setPlaybackPosition(Instant::fromUnix(t0 + 30), false);
    auto groupShift = shift(1.0);
    EXPECT_DOUBLE_EQ(first->offset(), 1.2);
    EXPECT_EQ(second->offset(), 1.0);
    EXPECT_EQ(other->offset(), 0.0);
    EXPECT_EQ(document.eventPlaybackPosition(), Instant::fromUnix(t0 + 31));
    EXPECT_FALSE(document.isPlaying());
    groupShift->revert(document);
    EXPECT_DOUBLE_EQ(first->offset(), 0.2);
    EXPECT_EQ(second->offset(), 0.0);
    EXPECT_EQ(document.eventPlaybackPosition(), Instant::fromUnix(t0 + 30));
    defaults.remove(ShiftAssets::applyToAllAssetsInGroupKey);
    defaults.remove(ShiftAssets::moveVideoKey);

    EXPECT_FALSE(ShiftAssets::byUserDefaults(document, nullptr, 0.1));
    EXPECT_EQ(ShiftAssets::offsetString(nullptr), "");
}
