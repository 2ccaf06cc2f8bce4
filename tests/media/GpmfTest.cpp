#include "media/CameraTrack.h"
#include "media/GpmdTrack.h"
#include "media/GpmfGps.h"
#include "media/GpmfReader.h"
#include "media/MediaFixtures.h"
#include "media/VideoAsset.h"
#include "support/LogFixture.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <random>

using namespace MediaFixtures;

namespace {

// The real payloads and clip recorded by others, read where they lie on a developer's machine; the
// tests that need them skip elsewhere.
const QString realData = QStringLiteral(WAKELINE_REAL_DATA);

std::optional<std::vector<std::uint8_t>> realPayload(const char* name) {
    QFile file(realData + QStringLiteral("/gpmf/") + name);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray bytes = file.readAll();
    return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
}

// A second of ten fixes off San Diego, as in the cameras' own samples.
std::vector<std::uint8_t> secondOfGps(double utc, std::uint16_t precision = 400) {
    std::vector<GpsFix> fixes;
    for (int i = 0; i < 10; ++i)
        fixes.push_back({33.1264969 + i * 1e-6, -117.3273542, 0.5 + 0.01 * i});
    return gpsPayload(fixes, utc, 3, precision);
}

std::vector<CameraTrackPoint> pointsOf(const std::vector<std::uint8_t>& bytes, double at = 0.0) {
    std::vector<CameraTrackPoint> points;
    GpmfGps::read(bytes, at, 1.0, points);
    return points;
}

// Overwrites the value of the first entry `key` of a payload.
void patch(std::vector<std::uint8_t>& bytes, const std::string& key, const std::string& value) {
    const std::string text(bytes.begin(), bytes.end());
    const std::size_t at = text.find(key);
    ASSERT_NE(at, std::string::npos) << key;
    std::copy(value.begin(), value.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at + 8));
}

double unix(const char* iso) {
    return QDateTime::fromString(iso, Qt::ISODateWithMs).toMSecsSinceEpoch() / 1000.0;
}

} // namespace

TEST(Gpmf, ReadsTheGpsOfRealPayloadsAsTheirBytesSay) {
    const auto hero5Payload = realPayload("gopro_hero5.raw");
    const auto hero6 = realPayload("gopro_hero6.raw");
    const auto fusion = realPayload("gopro_fusion.raw");
    if (!hero5Payload || !hero6 || !fusion)
        GTEST_SKIP() << "the cameras' own payloads are not on this machine";
    const auto& hero5 = *hero5Payload;
    const auto entries = GpmfReader::parse(hero5);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].key, "DEVC");
    EXPECT_EQ(entries[0].child("DVNM")->text(), "Camera");

    // HERO5: GPS5 × 18 with SCAL 1e7, 1e7, 1000, 1000, 100; GPSF 3 but GPSP 606, so not locked.
    auto points = pointsOf(hero5, 5.0);
    ASSERT_EQ(points.size(), 18u);
    EXPECT_DOUBLE_EQ(points[0].latitude, 33.1264969);
    EXPECT_DOUBLE_EQ(points[0].longitude, -117.3273542);
    EXPECT_DOUBLE_EQ(points[0].altitude, -20.184);
    EXPECT_DOUBLE_EQ(points[0].speed, 0.167);
    EXPECT_DOUBLE_EQ(points[17].speed, 0.676);
    EXPECT_EQ(points[0].time, Instant::fromUnix(unix("2017-04-17T17:31:03.000Z")));
    EXPECT_NEAR(points[9].fileTime, 5.5, 1e-9);
    EXPECT_NEAR(*points[9].time - *points[0].time, 0.5, 1e-9);
    EXPECT_FALSE(points[0].locked);

    // HERO6: no fix yet (GPSF 0, GPSP 9999) though it writes a time and positions.
    points = pointsOf(*hero6);
    ASSERT_EQ(points.size(), 17u);
    EXPECT_DOUBLE_EQ(points[0].latitude, 33.1265542);
    EXPECT_EQ(points[0].time, Instant::fromUnix(unix("2018-01-24T19:28:01.699Z")));
    EXPECT_FALSE(points[0].locked);

    // Fusion: 19 points, the GPS stream after the magnetometer's; the payload's other streams
    // (FACE with a complex TYPE, floats) must not disturb it.
    points = pointsOf(*fusion);
    ASSERT_EQ(points.size(), 19u);
    EXPECT_DOUBLE_EQ(points[0].longitude, -117.3274386);
    EXPECT_DOUBLE_EQ(points[18].speed, 1.182);
    EXPECT_EQ(points[0].time, Instant::fromUnix(unix("2018-03-23T17:25:37.375Z")));

    // The same payload with a good precision is locked.
    auto better = hero5;
    patch(better, "GPSP", u16(400));
    EXPECT_TRUE(pointsOf(better)[0].locked);
}

TEST(Gpmf, NeverReadsPastTruncatedOrDamagedPayloads) {
    // A real payload when there is one: it has more streams than GPS to get lost in.
    const auto hero5 = realPayload("gopro_hero5.raw").value_or(secondOfGps(1492450263.0));
    const std::size_t whole = pointsOf(hero5).size();
    ASSERT_GT(whole, 0u);
    // Every truncation: the points before the cut, never more than the whole has.
    for (std::size_t size = 0; size < hero5.size(); size += 3) {
        std::vector<std::uint8_t> cut(hero5.begin(), hero5.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_LE(pointsOf(cut).size(), whole);
    }
    EXPECT_FALSE(GpmfGps::parseUtc("17041717310"));
    EXPECT_FALSE(GpmfGps::parseUtc("171317173103.000")); // month 13
    // Random bytes written over it, and lengths and types made up: no crash, no read outside (the asan
    // preset checks the latter).
    std::mt19937 random(19);
    for (int round = 0; round < 300; ++round) {
        auto damaged = hero5;
        for (int i = 0; i < 12; ++i)
            damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
        for (const auto& point : pointsOf(damaged)) {
            EXPECT_LE(std::abs(point.latitude), 90.0);
            EXPECT_LE(std::abs(point.longitude), 180.0);
        }
    }
    // A SCAL of zero would divide the positions into infinities.
    auto zeroScale = hero5;
    const std::string text(zeroScale.begin(), zeroScale.end());
    const std::size_t scal = text.find("SCAL", text.find("GPSP"));
    std::fill(zeroScale.begin() + static_cast<std::ptrdiff_t>(scal + 8),
              zeroScale.begin() + static_cast<std::ptrdiff_t>(scal + 28), 0);
    EXPECT_TRUE(pointsOf(zeroScale).empty());
}

TEST(Gpmf, PlacesAClipByItsMetadataTrack) {
    QTemporaryDir directory;
    // Three one-second samples, locked, one GPS second apart from 17:31:03; the camera's clock says
    // 19:27:57, nearly two hours off.
    const double gps = unix("2017-04-17T17:31:03Z");
    std::vector<std::vector<std::uint8_t>> samples;
    for (int second = 0; second < 3; ++second)
        samples.push_back(secondOfGps(gps + second));
    const double cameraClock = unix("2017-04-17T19:27:57Z");
    const QString clip = directory.filePath("GOPR0001.MP4");
    writeFile(clip, gpmdMovie(samples, cameraClock));

    auto track = GpmdTrack::read(QFile::encodeName(clip).toStdString());
    ASSERT_TRUE(track);
    ASSERT_EQ(track->size(), 3u);
    EXPECT_EQ((*track)[2].time, 2.0);
    EXPECT_EQ((*track)[2].duration, 1.0);
    EXPECT_EQ((*track)[1].bytes, samples[1]);

    DiagnosticsCapture capture;
    auto detection = VideoAsset::detect(QUrl::fromLocalFile(clip), TimeZone::utc(), nullptr);
    ASSERT_TRUE(detection.asset);
    const VideoAsset& asset = *detection.asset;
    EXPECT_EQ(asset.timeSource(), "gpmf-gps");
    // The reading stays the camera's; the offset carries the clip to its GPS time.
    EXPECT_EQ(asset.fileStartTime(), Instant::fromUnix(cameraClock));
    EXPECT_NEAR(asset.startTime().unixSeconds(), unix("2017-04-17T17:31:03Z"), 1e-6);
    EXPECT_NEAR(asset.offset(), -7014.0, 1e-6);
    EXPECT_NE(capture.text().find("GOPR0001.MP4: detected GPS start in GoPro metadata track (GPMF): "
                                  "2017-04-17 17:31:03 +0000 (using this value, offset -7014.000 s)"),
              std::string::npos)
        << capture.text();
    EXPECT_NE(capture.text().find("GOPR0001.MP4: camera clock and GPS disagree by -7014.0 s"),
              std::string::npos);

    // A stale stamp in the first sample (the receiver's last time before its fix settled) is
    // outvoted by the two that agree.
    samples.push_back(samples.back());
    patch(samples[0], "GPSU", "170417172950.000");
    patch(samples[3], "GPSU", "170417173106.000");
    writeFile(clip, gpmdMovie(samples, cameraClock));
    auto stale = VideoAsset::detect(QUrl::fromLocalFile(clip), TimeZone::utc(), nullptr);
    EXPECT_NEAR(stale.asset->startTime().unixSeconds(), unix("2017-04-17T17:31:03Z"), 1e-6);

    // A precision as poor as the HERO5's sample (GPSP 606): no locked fix, so today's sources place it.
    const auto unsure = secondOfGps(gps, 606);
    writeFile(clip, gpmdMovie({unsure, unsure}, cameraClock));
    DiagnosticsCapture unlockedLog;
    auto unlocked = VideoAsset::detect(QUrl::fromLocalFile(clip), TimeZone::utc(), nullptr);
    EXPECT_EQ(unlocked.asset->timeSource(), "container-creation-date");
    EXPECT_EQ(unlocked.asset->offset(), 0.0);
    EXPECT_NE(unlockedLog.text().find("has no locked fix"), std::string::npos);
}

TEST(Gpmf, ReadsTheMetadataTrackOfARealClipWithoutGps) {
    const QString clip = realData + QStringLiteral("/video/gopro_hero5_karma.mp4");
    if (!QFileInfo::exists(clip))
        GTEST_SKIP() << "the real clip is not on this machine";
    auto track = GpmdTrack::read(QFile::encodeName(clip).toStdString());
    ASSERT_TRUE(track);
    // 13 samples every 1001 ms, as the track's sample table says.
    ASSERT_EQ(track->size(), 13u);
    EXPECT_DOUBLE_EQ((*track)[1].time, 1.001);
    EXPECT_DOUBLE_EQ((*track)[1].duration, 1.001);
    EXPECT_DOUBLE_EQ((*track)[12].time, 12.012);
    auto entries = GpmfReader::parse((*track)[0].bytes);
    ASSERT_FALSE(entries.empty());
    bool gyro = false, accl = false;
    for (const auto& stream : entries[0].children) {
        gyro |= stream.child("GYRO") != nullptr;
        accl |= stream.child("ACCL") != nullptr;
    }
    EXPECT_TRUE(gyro && accl);
    // No GPS stream: the clip keeps today's reading.
    EXPECT_FALSE(CameraTrack::read(clip));
    auto detection = VideoAsset::detect(QUrl::fromLocalFile(clip), TimeZone::utc(), nullptr);
    EXPECT_EQ(detection.asset->timeSource(), "container-creation-date");
    EXPECT_EQ(detection.asset->offset(), 0.0);
}
