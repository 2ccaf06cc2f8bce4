#include "boatlog/LogFileAsset.h"

#include "core/SerialQueue.h"
#include "metrics/Boat.h"
#include "support/LogFixture.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using Case = BoatMetric::Case;

namespace {

const double t0 = 1686052800.0;

LogFixture sampleLog() {
    LogFixture log;
    log.columns = {"Lat", "Lon", "TWS", "Heave"};
    log.times = {t0, t0 + 1, t0 + 2};
    log.values = {54.1, 10.1, 12.0, 0.5, 54.2, 10.2, 13.0, 0.6, 54.3, 10.3, 14.0, 0.7};
    log.meta = R"({"segmentCount": 1})";
    log.meta0 = R"({"races": [{"time": "2023-06-06T12:05:00.0+0000", "raceDuration": 1800, "Portlat": 54.1,
                              "raceType": "Race"}],
                    "events": [{"eventType": "Tack", "time": "2023-06-06T12:06:00.0+0000"},
                               {"eventType": "Gybe", "time": "2023-06-06T12:16:00.0+0000"}],
                    "legs": [{"time": "2023-06-06T12:05:00.0+0000", "eventType": "Upwind", "duration": 600}]})";
    log.parseContext = R"({"utcOffset": 120})";
    return log;
}

struct Opened {
    std::shared_ptr<LogFileAsset> asset;
    std::string diagnostics;
};

Opened open(const QString& path, std::optional<TimeZone> zone = TimeZone::utc(), double offset = 0.0) {
    DiagnosticsCapture capture;
    auto boat = Boat::create("Stella", "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    auto asset = LogFileAsset::open(path, boat, QUuid::createUuid(), offset, zone);
    return {asset, capture.text()};
}

} // namespace

TEST(LogFileAsset, ReadsDataMetadataAndParseContext) {
    QTemporaryDir dir;
    QString path = dir.filePath("log.hdf5");
    ASSERT_TRUE(sampleLog().write(path));
    auto [asset, diagnostics] = open(path, std::nullopt, 2.0);
    ASSERT_TRUE(asset);
    // Without a stored zone the converter's one is used: wall-clock 12:00 at UTC+2 is 10:00 UTC.
    EXPECT_EQ(asset->fileTimeZone().secondsFromGMT(Instant()), 7200);
    EXPECT_EQ(asset->fileStartTime(), Instant::fromUnix(t0 - 7200 + 2));
    EXPECT_EQ(asset->fileEndTime(), Instant::fromUnix(t0 + 2 - 7200 + 2));
    EXPECT_EQ(asset->boatLog()->recordCount(), 3);
    EXPECT_EQ(asset->boatLog()->value({2, {}}, Case::TWS)->value(), 14.0);
    EXPECT_EQ(asset->fileMetadata()->segmentCount, 1);
    ASSERT_TRUE(asset->metadata());
    ASSERT_EQ(asset->metadata()->races.size(), 1u);
    EXPECT_EQ(asset->metadata()->races[0].raceDuration, 1800.0);
    EXPECT_EQ(asset->metadata()->races[0].Portlat, 54.1);
    EXPECT_FALSE(asset->metadata()->races[0].Stbdlat);
    EXPECT_EQ(asset->metadata()->events.size(), 2u);
    EXPECT_EQ(asset->metadata()->legs[0].duration, 600.0);
    EXPECT_EQ(asset->parseContextData(), QByteArray(R"({"utcOffset": 120})"));
    EXPECT_NE(diagnostics.find("Parsed log data timestamps in timezone GMT+0200"), std::string::npos);
    EXPECT_NE(diagnostics.find("Loaded 3 records from HDF5 logfile in "), std::string::npos);
    EXPECT_NE(diagnostics.find(", data ranging from 2023-06-06 10:00:02 +0000 to 2023-06-06 10:00:04 +0000 "
                               "(timezone: GMT+0200 (fixed), offset: 2.0)"),
              std::string::npos)
        << diagnostics;

    // Changing the zone or the offset moves the log at once.
    asset->setFileTimeZone(TimeZone::utc());
    asset->setOffset(-1.0);
    EXPECT_EQ(asset->fileStartTime(), Instant::fromUnix(t0 - 1));
    EXPECT_EQ(asset->boatLog()->startIndex().time, Instant::fromUnix(t0 - 1));
}

TEST(LogFileAsset, StorageVariantsOfOtherWriters) {
    QTemporaryDir dir;
    LogFixture log = sampleLog();
    log.variableLengthNames = true;
    log.integerTimes = true;
    log.valuesAsMatrix = false;
    log.meta.reset();
    log.meta0.reset();
    log.parseContext.reset();
    ASSERT_TRUE(log.write(dir.filePath("v.hdf5")));
    auto [asset, diagnostics] = open(dir.filePath("v.hdf5"));
    ASSERT_TRUE(asset) << diagnostics;
    EXPECT_EQ(asset->boatLog()->columnNames(), log.columns);
    EXPECT_EQ(asset->fileStartTime(), Instant::fromUnix(t0));
    EXPECT_EQ(asset->boatLog()->value({1, {}}, BoatMetric("Heave"))->value(), 0.6);
    EXPECT_FALSE(asset->metadata());
    EXPECT_FALSE(asset->fileMetadata());
    EXPECT_FALSE(asset->parseContext());

    // No records: a log without a range.
    LogFixture empty = sampleLog();
    empty.times.clear();
    empty.values.clear();
    ASSERT_TRUE(empty.write(dir.filePath("e.hdf5")));
    auto [emptyAsset, emptyDiagnostics] = open(dir.filePath("e.hdf5"));
    ASSERT_TRUE(emptyAsset);
    EXPECT_FALSE(emptyAsset->fileStartTime());
    EXPECT_EQ(emptyDiagnostics.find("data ranging"), std::string::npos);
    EXPECT_NE(emptyDiagnostics.find("Loaded 0 records"), std::string::npos);
}

TEST(LogFileAsset, MetadataProblemsNeverCostTheData) {
    QTemporaryDir dir;
    LogFixture log = sampleLog();
    log.meta = R"({"segmentCount": 3})";
    log.meta0 = "this is not JSON";
    log.parseContext = R"({"utcOffset": "+2"})";
    ASSERT_TRUE(log.write(dir.filePath("m.hdf5")));
    auto [asset, diagnostics] = open(dir.filePath("m.hdf5"), std::nullopt);
    ASSERT_TRUE(asset);
    EXPECT_NE(diagnostics.find("Warning: file contains multiple segments, only reading first segment"),
              std::string::npos);
    EXPECT_FALSE(asset->metadata());
    EXPECT_EQ(asset->fileTimeZone(), TimeZone::utc());

    // One bad record is skipped; the others stay.
    log.meta0 =
        R"({"races": [{"raceDuration": 10}, {"time": "2023-06-06T12:05:00.0+0000", "raceDuration": "long"}],
                    "events": [{"eventType": "Tack"}], "legs": "none"})";
    ASSERT_TRUE(log.write(dir.filePath("r.hdf5")));
    auto [partial, partialDiagnostics] = open(dir.filePath("r.hdf5"));
    ASSERT_TRUE(partial && partial->metadata());
    ASSERT_EQ(partial->metadata()->races.size(), 1u);
    EXPECT_FALSE(partial->metadata()->races[0].raceDuration);
    EXPECT_TRUE(partial->metadata()->events.empty());
    EXPECT_NE(partialDiagnostics.find("skipped 2 segment metadata records"), std::string::npos);
}

TEST(LogFileAsset, BrokenFilesGiveAWarningAndNoLog) {
    QTemporaryDir dir;
    auto expectRefused = [&](const QString& path, const std::string& warning) {
        auto [asset, diagnostics] = open(path);
        EXPECT_FALSE(asset) << path.toStdString();
        EXPECT_NE(diagnostics.find(warning), std::string::npos) << diagnostics;
    };

    for (auto [omit, name] : {std::pair{&LogFixture::omitNames, "axis0"},
                              {&LogFixture::omitTimes, "axis1"},
                              {&LogFixture::omitValues, "block0_values"}}) {
        LogFixture log = sampleLog();
        log.*omit = true;
        QString path = dir.filePath(QString("missing-%1.hdf5").arg(name));
        ASSERT_TRUE(log.write(path));
        expectRefused(path, std::string("Warning: could not find dataset /log0/") + name);
    }

    QString notHdf5 = dir.filePath("notes.hdf5");
    QFile text(notHdf5);
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("Lat,Lon\n54.1,10.1\n");
    text.close();
    expectRefused(notHdf5, "Warning: could not open HDF5 file at file://");
    expectRefused(dir.filePath("absent.hdf5"), "Warning: could not open HDF5 file at");

    // Wrong kinds of dataset: numbers where names belong, names where numbers belong.
    LogFixture swapped = sampleLog();
    swapped.omitNames = true;
    QString swappedPath = dir.filePath("swapped.hdf5");
    ASSERT_TRUE(swapped.write(swappedPath));
    SerialQueue::hdf().sync([&] {
        auto file = Hdf5File::openReadWrite(swappedPath.toStdString());
        double names[] = {1, 2, 3, 4};
        ASSERT_TRUE(file && file->writeDoubles("/log0/axis0", names, {4}));
    });
    expectRefused(swappedPath, "Warning: could not find dataset /log0/axis0");

    // A file cut short anywhere is refused, never a crash.
    QString whole = dir.filePath("whole.hdf5");
    ASSERT_TRUE(sampleLog().write(whole));
    QFile source(whole);
    ASSERT_TRUE(source.open(QIODevice::ReadOnly));
    QByteArray bytes = source.readAll();
    for (qsizetype cut :
         {qsizetype(0), qsizetype(100), bytes.size() / 3, bytes.size() / 2, bytes.size() - 200}) {
        QString truncated = dir.filePath(QString("cut-%1.hdf5").arg(cut));
        QFile out(truncated);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(bytes.left(cut));
        out.close();
        auto [asset, diagnostics] = open(truncated);
        EXPECT_FALSE(asset) << "cut at " << cut;
        EXPECT_NE(diagnostics.find("Warning: "), std::string::npos) << "cut at " << cut;
    }

    // A log without columns has nothing to show.
    LogFixture noColumns;
    noColumns.times = {t0};
    ASSERT_TRUE(noColumns.write(dir.filePath("nocolumns.hdf5")));
    expectRefused(dir.filePath("nocolumns.hdf5"), "has no columns");
}

TEST(LogFileAssetDeathTest, MetadataBytesOutsideAByteStop) {
    QTemporaryDir dir;
    QString path = dir.filePath("bytes.hdf5");
    LogFixture log = sampleLog();
    log.meta.reset();
    ASSERT_TRUE(log.write(path));
    SerialQueue::hdf().sync([&] {
        auto file = Hdf5File::openReadWrite(path.toStdString());
        ASSERT_TRUE(file && file->createGroup("/meta"));
        ASSERT_TRUE(file->writeIntegers("/meta/values", {'{', '}', 300}, Hdf5File::IntegerType::int64));
    });
    EXPECT_DEATH(open(path), "Metadata byte out of range");
}
