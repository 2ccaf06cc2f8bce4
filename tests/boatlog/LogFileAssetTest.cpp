#include "boatlog/LogFileAsset.h"

#include "boatlog/BoatLogView.h"
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

    // A header may claim any number of records, and the library makes up what the file lacks.
    LogFixture claiming = sampleLog();
    claiming.omitTimes = true;
    QString claimingPath = dir.filePath("claiming.hdf5");
    ASSERT_TRUE(claiming.write(claimingPath));
    SerialQueue::hdf().sync([&] {
        auto file = Hdf5File::openReadWrite(claimingPath.toStdString());
        ASSERT_TRUE(file);
        hsize_t claimed = hsize_t{1} << 62, chunk = 1024;
        Hdf5DataspaceHandle space(H5Screate_simple(1, &claimed, nullptr));
        Hdf5PropertyListHandle chunked(H5Pcreate(H5P_DATASET_CREATE));
        ASSERT_GE(H5Pset_chunk(chunked.get(), 1, &chunk), 0);
        Hdf5DatasetHandle times(H5Dcreate2(file->id(), "/log0/axis1", H5T_IEEE_F64LE, space.get(),
                                           H5P_DEFAULT, chunked.get(), H5P_DEFAULT));
        ASSERT_TRUE(times);
    });
    expectRefused(claimingPath, "Warning: could not find dataset /log0/axis1");

    // A compact dataset whose header has lost its data: the library would read it from nowhere.
    LogFixture compact = sampleLog();
    compact.omitNames = true;
    QString compactPath = dir.filePath("compact.hdf5");
    ASSERT_TRUE(compact.write(compactPath));
    const char names[] = "Lat\0\0Lon\0\0TWS\0\0Heave";
    SerialQueue::hdf().sync([&] {
        auto file = Hdf5File::openReadWrite(compactPath.toStdString());
        ASSERT_TRUE(file);
        hsize_t count = 4;
        Hdf5DataspaceHandle space(H5Screate_simple(1, &count, nullptr));
        Hdf5DatatypeHandle type(H5Tcopy(H5T_C_S1));
        H5Tset_size(type.get(), 5);
        Hdf5PropertyListHandle layout(H5Pcreate(H5P_DATASET_CREATE));
        H5Pset_layout(layout.get(), H5D_COMPACT);
        Hdf5DatasetHandle dataset(H5Dcreate2(file->id(), "/log0/axis0", type.get(), space.get(), H5P_DEFAULT,
                                             layout.get(), H5P_DEFAULT));
        ASSERT_GE(H5Dwrite(dataset.get(), type.get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, names), 0);
    });
    QFile compactFile(compactPath);
    ASSERT_TRUE(compactFile.open(QIODevice::ReadWrite));
    QByteArray compactBytes = compactFile.readAll();
    // The layout message: version 3, class 0 (compact), the data's size, the data.
    qsizetype data = compactBytes.indexOf(QByteArray(names, 20));
    ASSERT_GE(data, 4);
    ASSERT_EQ(compactBytes.mid(data - 4, 4), QByteArray("\x03\x00\x14\x00", 4));
    compactFile.seek(data - 2);
    compactFile.write(QByteArray(2, '\0'));
    compactFile.close();
    expectRefused(compactPath, "Warning: could not find dataset /log0/axis0");

    // A log without columns has nothing to show.
    LogFixture noColumns;
    noColumns.times = {t0};
    ASSERT_TRUE(noColumns.write(dir.filePath("nocolumns.hdf5")));
    expectRefused(dir.filePath("nocolumns.hdf5"), "has no columns");
}

namespace {

// Opens a log that must be refused and answers the reason given, which was printed as a warning.
std::string refusal(const QString& path) {
    DiagnosticsCapture capture;
    QString failure;
    auto boat = Boat::create("Stella", "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    auto asset = LogFileAsset::open(path, boat, QUuid::createUuid(), 0.0, TimeZone::utc(), &failure);
    EXPECT_FALSE(asset) << path.toStdString();
    EXPECT_NE(capture.text().find("Warning: " + failure.toStdString()), std::string::npos) << capture.text();
    return failure.toStdString();
}

std::string refusal(const QString& path, const LogFixture& log) {
    EXPECT_TRUE(log.write(path));
    return refusal(path);
}

} // namespace

// A table whose parts do not fit together would stop the program at its first lookup past the
// values, or answer wrong records from the binary search of its times: it is refused instead.
TEST(LogFileAsset, TablesThatDoNotFitTogetherAreRefusedWithTheReason) {
    QTemporaryDir dir;
    auto path = [&](const char* name) { return dir.filePath(QString(name) + ".hdf5"); };

    LogFixture shortValues = sampleLog();
    shortValues.values.pop_back();
    shortValues.valuesAsMatrix = false;
    EXPECT_EQ(refusal(path("short"), shortValues),
              "the values hold 11 numbers where 3 records × 4 columns need 12");

    LogFixture moreTimes = sampleLog();
    moreTimes.times.push_back(t0 + 3);
    EXPECT_EQ(refusal(path("more-times"), moreTimes),
              "the values hold 3 rows where /log0/axis1 holds 4 times");
    LogFixture fewerTimes = sampleLog();
    fewerTimes.times.pop_back();
    EXPECT_EQ(refusal(path("fewer-times"), fewerTimes),
              "the values hold 3 rows where /log0/axis1 holds 2 times");

    LogFixture transposed = sampleLog();
    transposed.valuesShape = std::vector<std::uint64_t>{4, 3};
    EXPECT_EQ(refusal(path("transposed"), transposed),
              "the values are laid out 4 × 3 where 3 records × 4 columns need 3 × 4");

    LogFixture notATime = sampleLog();
    notATime.times[1] = NAN;
    EXPECT_EQ(refusal(path("nan"), notATime), "the time of record 1 is not a number");
    LogFixture backwards = sampleLog();
    backwards.times = {t0, t0 + 2, t0 + 1};
    EXPECT_EQ(refusal(path("backwards"), backwards),
              "the times go backwards: record 2 (1686052801) is earlier than record 1 (1686052802)");

    // Metadata before the table and after it.
    for (const char* name : {"meta", "meta0"}) {
        QString bytes = path(name);
        LogFixture log = sampleLog();
        log.meta.reset();
        log.meta0.reset();
        ASSERT_TRUE(log.write(bytes));
        SerialQueue::hdf().sync([&] {
            auto file = Hdf5File::openReadWrite(bytes.toStdString());
            ASSERT_TRUE(file && file->createGroup(std::string("/") + name));
            ASSERT_TRUE(file->writeIntegers(std::string("/") + name + "/values", {'{', '}', 300},
                                            Hdf5File::IntegerType::int64));
        });
        EXPECT_EQ(refusal(bytes),
                  std::string("the metadata /") + name + "/values holds 300 where a byte belongs");
    }

    // Records at the same time are no disorder.
    LogFixture sameTime = sampleLog();
    sameTime.times = {t0, t0 + 1, t0 + 1};
    ASSERT_TRUE(sameTime.write(path("same-time")));
    auto [asset, diagnostics] = open(path("same-time"));
    ASSERT_TRUE(asset) << diagnostics;
    auto view = asset->boatLog()->view(Instant::fromUnix(t0 + 0.5), true);
    ASSERT_TRUE(view);
    EXPECT_DOUBLE_EQ(view->value(Case::TWS)->value(), 12.5);
}

// Blocks of pandas' mixed-dtype layout are placed by the names of their columns, never by their
// order; a layout that cannot be placed is refused.
TEST(LogFileAsset, BlocksArePlacedByTheirColumnNames) {
    QTemporaryDir dir;
    auto path = [&](const char* name) { return dir.filePath(QString(name) + ".hdf5"); };
    // Two columns of one name: the k-th of the blocks is the k-th of the table, and a lookup reads
    // the later one.
    auto split = [] {
        LogFixture log;
        log.columns = {"TWS", "Heel", "Lat", "TWS"};
        log.times = {t0, t0 + 1};
        log.block0Items = {"TWS", "Lat", "TWS"};
        log.values = {10, 54.1, 20, /**/ 11, 54.2, 21};
        log.valuesShape = std::vector<std::uint64_t>{2, 3};
        log.moreBlocks = {{{"Heel"}, {-3, 4}}};
        return log;
    };
    ASSERT_TRUE(split().write(path("split")));
    auto [asset, diagnostics] = open(path("split"));
    ASSERT_TRUE(asset) << diagnostics;
    const DoubleArrayBoatLog& log = *asset->boatLog();
    EXPECT_EQ(log.columnNames(), split().columns);
    EXPECT_EQ(std::vector<double>(log.values().begin(), log.values().end()),
              (std::vector<double>{10, -3, 54.1, 20, /**/ 11, 4, 54.2, 21}));
    EXPECT_EQ(log.value({1, {}}, Case::TWS)->value(), 21.0);
    EXPECT_EQ(log.value({1, {}}, Case::Heel)->value(), 4.0);

    LogFixture unknown = split();
    unknown.moreBlocks[0].items = {"Trim"};
    EXPECT_EQ(refusal(path("unknown"), unknown),
              "/log0/block1_items names a column \"Trim\" that /log0/axis0 does not have");
    LogFixture twice = split();
    twice.moreBlocks[0].items = {"Lat"};
    EXPECT_EQ(refusal(path("twice"), twice),
              "the blocks hold more columns named \"Lat\" than /log0/axis0 has");
    LogFixture lost = split();
    lost.moreBlocks.clear();
    EXPECT_EQ(refusal(path("lost"), lost), "column \"Heel\" has no values in any block");
    LogFixture shortBlock = split();
    shortBlock.moreBlocks[0].values = {-3};
    EXPECT_EQ(refusal(path("short-block"), shortBlock),
              "the values in /log0/block1_values hold 1 row where /log0/axis1 holds 2 times");

    // Several blocks without the names of their columns cannot be placed at all.
    LogFixture nameless = split();
    nameless.block0Items.reset();
    EXPECT_EQ(refusal(path("nameless"), nameless),
              "the values lie in 2 blocks without the names of their columns (/log0/block0_items)");
}
