#include "document/AssetSync.h"

#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "document/SyncAssets.h"
#include "media/MediaFixtures.h"
#include "media/MediaGroup.h"
#include "media/VideoAsset.h"
#include "metrics/Boat.h"
#include "support/LogFixture.h"
#include "support/SailingTrack.h"

#include <QTemporaryDir>
#include <QUuid>
#include <cmath>
#include <gtest/gtest.h>

using namespace MediaFixtures;

namespace {

const double gpsStart = 1686052800.0; // 2023-06-06 12:00:00 UTC

// One second of GPS as a GoPro writes it: a locked fix, the second's UTC time and ten GPS5 points.
std::vector<std::uint8_t> secondOfGps(const CameraSync::Series& motion, std::size_t first, double utc) {
    std::vector<GpsFix> fixes;
    for (std::size_t i = first; i < first + 10; ++i)
        fixes.push_back({motion.latitudes[i], motion.longitudes[i], motion.speeds[i]});
    return gpsPayload(fixes, utc);
}

} // namespace

TEST(AssetSync, ProposesTheShiftThatPutsTheCameraOnTheBoatsLog) {
    QTemporaryDir directory;
    const SailingTrack motion(5);
    // Two minutes of a GoPro's GPS at 10 Hz; its clock said 11:00, an hour off.
    const CameraSync::Series camera = motion.sample(0.0, 120.0, 0.1, 0.0, 1.0, 0.1, 1);
    std::vector<std::vector<std::uint8_t>> payloads;
    for (std::size_t second = 0; second < 120; ++second)
        payloads.push_back(secondOfGps(camera, second * 10, gpsStart + static_cast<double>(second)));
    const QString clip = directory.filePath("GOPR0002.MP4");
    writeFile(clip, gpmdMovie(payloads, gpsStart - 3600));

    // The boat's log at 1 Hz, its clock 12.3 s ahead of GPS time; it begins and ends inside the ten
    // minutes searched either side of the clip.
    const CameraSync::Series boatData = motion.sample(-100.0, 300.0, 1.0, 12.3, 1.5, 0.1, 2);
    LogFixture log;
    log.columns = {"SOG", "Lat", "Lon"};
    for (std::size_t i = 0; i < boatData.times.size(); ++i) {
        log.times.push_back(gpsStart + boatData.times[i]);
        log.values.insert(log.values.end(),
                          {boatData.speeds[i] / 0.514444, boatData.latitudes[i], boatData.longitudes[i]});
    }
    ASSERT_TRUE(log.write(directory.filePath("log.hdf5")));

    DiagnosticsCapture quiet;
    Document document;
    auto boat = Boat::create("Wakeline", "WL", RgbColor::pureRed(), Boat::DisplayMode::Main);
    document.setBoats({boat});
    document.addLogAsset(boat, LogFileAsset::open(directory.filePath("log.hdf5"), boat, QUuid::createUuid(),
                                                  0, TimeZone::utc()));
    auto group = std::make_shared<MediaGroup>("Bow");
    document.addMediaGroup(group);
    std::shared_ptr<MediaAsset> asset = VideoAsset::create(QUrl::fromLocalFile(clip), TimeZone::utc(), group);
    ASSERT_TRUE(asset);
    document.addAsset(asset, group);
    // Placed by its GPS already; the sync finds what the boat's clock adds.
    EXPECT_NEAR(asset->startTime().unixSeconds(), gpsStart, 1e-6);

    AssetSync::Proposal proposal = AssetSync::propose(document, asset);
    ASSERT_TRUE(proposal.result) << proposal.failure.toStdString();
    EXPECT_NEAR(proposal.result->offset, 12.3, 0.1);
    EXPECT_TRUE(proposal.result->confident) << proposal.result->summary();

    // Applied and undone as one edit.
    const double before = asset->offset();
    SyncAssets edit({{asset, proposal.result->offset}});
    edit.apply(document);
    EXPECT_DOUBLE_EQ(asset->offset(), before + proposal.result->offset);
    EXPECT_TRUE(document.isEdited());
    edit.revert(document);
    EXPECT_DOUBLE_EQ(asset->offset(), before);

    // Without a main boat, or for a clip without GPS, there is nothing to sync with, and it says so.
    Document empty;
    EXPECT_FALSE(AssetSync::propose(empty, asset).result);
    EXPECT_FALSE(AssetSync::propose(empty, asset).failure.isEmpty());
    auto plain = VideoAsset::create(QUrl::fromLocalFile(generated().plainMp4), TimeZone::utc(), group);
    EXPECT_EQ(AssetSync::propose(document, plain).failure, "the video has no camera GPS with a locked fix");
}
