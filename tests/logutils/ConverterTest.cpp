#include "ConverterFixture.h"
#include "support/LogFixture.h"

#include <QFile>
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/resource.h>

namespace {

const double t0 = 1685620800.0; // 2023-06-01T12:00:00Z

// Days since 1899-12-30 as a navigation program writes them.
std::string days(double unixSeconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10f", unixSeconds / 86400.0 + 25569.0);
    return text;
}

std::string unixText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", seconds);
    return text;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

} // namespace

// The converted file is pandas' own frame layout: pandas reads back the table that went in.
TEST(Converter, PandasReadsTheInputTableBack) {
    ConverterRun run;
    std::ostringstream csv;
    csv << "Time,BSP,HDG,Mast Load (kg),Heave\n";
    for (int i = 0; i < 40; ++i) {
        char time[40];
        std::snprintf(time, sizeof time, "2023-06-01T12:%02d:%02d.%dZ", i / 120, (i / 2) % 60, (i % 2) * 5);
        csv << time << ',' << (i < 3 ? "" : std::to_string(6.0 + i * 0.125)) << ',' << (i * 9.5) << ','
            << (1200 + i) << ',' << (i > 35 ? "" : std::to_string(-0.25 * i)) << '\n';
    }
    QString input = run.write("table.csv", csv.str());
    QString output = run.path("table.hdf5");
    auto outcome = run.convert(output, {input});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;

    const char* script = R"py(
import sys, numpy as np, pandas as pd
got = pd.read_hdf(sys.argv[1], "log0")
src = pd.read_csv(sys.argv[2])
stamps = pd.to_datetime(src.pop("Time"), utc=True)
want = src.rename(columns={"BSP": "BoatSpeed", "HDG": "Heading"}).astype("float64")
want.index = pd.Index((stamps - pd.Timestamp(0, tz="UTC")).dt.total_seconds().to_numpy(), dtype="float64")
pd.testing.assert_frame_equal(got, want, check_exact=True)
print("same", got.shape)
)py";
    QString printed;
    EXPECT_EQ(runSystemPython(script, {output, input}, &printed), 0) << printed.toStdString();
    EXPECT_TRUE(printed.contains("same (40, 4)")) << printed.toStdString();

    // And our own reader sees the same.
    auto asset = run.open(output);
    ASSERT_TRUE(asset);
    EXPECT_EQ(asset->boatLog()->recordCount(), 40);
    EXPECT_EQ(asset->boatLog()->fileTimeIntervalIndex()[1], t0 + 0.5);
    EXPECT_EQ(cell(*asset, 3, "BoatSpeed"), 6.375);
    EXPECT_TRUE(std::isnan(cell(*asset, 2, "BoatSpeed"))); // before its first sample: never extrapolated
    EXPECT_EQ(asset->parseContext()->utcOffset, 0);
    EXPECT_EQ(asset->fileMetadata()->segmentCount, 1);
    ASSERT_TRUE(asset->metadata());
    EXPECT_TRUE(asset->metadata()->races.empty());
}

// Both forms of a navigation program's log give the same table, with the channels under their
// metric names and the rest under their own.
TEST(Converter, InstrumentLogsInSparseAndDenseForm) {
    ConverterRun run;
    const std::string names = "!Boat,Utc,BSP,AWA,HDG,Mk Lat,TmToGun,RunnerS,User 0\n";
    std::string sparse = names + "!boat,0,1,2,13,161,252,60,84\n!v11.16.1\n";
    std::string dense = names + "!v11.16.1\n";
    for (int i = 0; i < 30; ++i) {
        double t = t0 + i;
        std::string bsp = std::to_string(6 + i * 0.1), awa = std::to_string(-40 + i),
                    hdg = std::to_string(350 + i % 3);
        std::string mark = i % 3 == 0 ? std::to_string(43.1 + i * 1e-4) : "";
        sparse += "0," + days(t) + ",1," + bsp + ",2," + awa + ",13," + hdg +
                  (mark.empty() ? "" : ",161," + mark) + ",252," + std::to_string(120 - i) +
                  ",60,1.5,84,7,\n";
        dense += "0," + days(t) + "," + bsp + "," + awa + "," + hdg + "," + mark + "," +
                 std::to_string(120 - i) + ",1.5,7\n";
    }
    sparse += "3," + days(t0 + 5) + ",1,99\n"; // another boat's record
    QString sparsePath = run.write("sparse.csv", sparse), densePath = run.write("dense.csv", dense);
    auto sparseRun = run.convert(run.path("sparse.hdf5"), {sparsePath});
    auto denseRun = run.convert(run.path("dense.hdf5"), {densePath});
    ASSERT_EQ(sparseRun.exitCode, 0) << sparseRun.err;
    ASSERT_EQ(denseRun.exitCode, 0) << denseRun.err;
    EXPECT_TRUE(contains(sparseRun.out, "sparse form")) << sparseRun.out;
    EXPECT_TRUE(contains(denseRun.out, "dense form")) << denseRun.out;
    EXPECT_TRUE(contains(sparseRun.out, "Skipped 1 line of")) << sparseRun.out;
    EXPECT_TRUE(contains(sparseRun.out, "another boat")) << sparseRun.out;

    auto a = run.open(run.path("sparse.hdf5")), b = run.open(run.path("dense.hdf5"));
    ASSERT_TRUE(a && b);
    const std::vector<std::string> columns{"BoatSpeed", "AWA",        "Heading", "MkLat",
                                           "TimeToGun", "RunnerStbd", "User 0"};
    EXPECT_EQ(a->boatLog()->columnNames(), columns);
    EXPECT_EQ(b->boatLog()->columnNames(), columns);
    EXPECT_EQ(a->boatLog()->fileTimeIntervalIndex(), b->boatLog()->fileTimeIntervalIndex());
    const auto& va = a->boatLog()->values();
    const auto& vb = b->boatLog()->values();
    ASSERT_EQ(va.size(), vb.size());
    for (std::size_t i = 0; i < va.size(); ++i)
        EXPECT_TRUE(va[i] == vb[i] || (std::isnan(va[i]) && std::isnan(vb[i]))) << i;
    EXPECT_TRUE(std::isnan(cell(*a, 29, "MkLat"))); // after its last sample
    EXPECT_EQ(a->parseContext()->utcOffset, 0);
    ASSERT_EQ(a->boatLog()->recordCount(), 30);
    EXPECT_EQ(a->boatLog()->fileTimeIntervalIndex()[0], t0);
    EXPECT_NEAR(cell(*a, 10, "BoatSpeed"), 7.0, 1e-4);
    EXPECT_NEAR(cell(*a, 10, "AWA"), -30.0, 1e-4);
    EXPECT_NEAR(cell(*a, 10, "TimeToGun"), 110.0, 1e-4);
    EXPECT_NEAR(cell(*a, 4, "MkLat"), 43.1004, 1e-6); // between its samples at rows 3 and 6
    EXPECT_EQ(cell(*a, 10, "User 0"), 7.0);
}

// Several inputs on one grid: per-column resampling, the first input winning, no rows across
// gaps longer than 10 s, sorting and duplicates.
TEST(Converter, MergesInputsOntoOneGrid) {
    ConverterRun run;
    // A at 1 Hz, written out of order, with a repeated time whose later row wins; its speed has a
    // 13-s hole that B fills. Its heading crosses north.
    std::string a = "Utc,BoatSpeed,Heading\n";
    for (int i = 20; i >= 0; --i) {
        bool hole = i >= 5 && i <= 17;
        a += unixText(t0 + i) + "," + (hole ? "" : std::to_string(5 + i)) + "," +
             std::to_string((358 + 4 * i) % 360) + "\n";
    }
    a += unixText(t0 + 3) + ",42,6\n";
    // B at 2 Hz over the same stretch; C two "days" later.
    std::string b = "Timestamp;BoatSpeed;TWS\n";
    for (int i = 0; i <= 40; ++i)
        b += unixText(t0 + i * 0.5) + ";" + std::to_string(100 + i) + ";" + std::to_string(10 + i * 0.5) +
             "\n";
    std::string c = "Time\tTWS\n" + unixText(t0 + 1000) + "\t20\n" + unixText(t0 + 1002) + "\t22\n";
    QStringList inputs{run.write("a.csv", a), run.write("b.csv", b), run.write("c.csv", c)};

    auto outcome = run.convert(run.path("merged.hdf5"), inputs);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_TRUE(contains(outcome.out, "Sorted the records of")) << outcome.out;
    EXPECT_TRUE(contains(outcome.out, "at 2 Hz (the densest input's rate): 46 records in 2 stretches"))
        << outcome.out;
    auto merged = run.open(run.path("merged.hdf5"));
    ASSERT_TRUE(merged);
    const auto& log = *merged->boatLog();
    EXPECT_EQ(log.columnNames(), (std::vector<std::string>{"BoatSpeed", "Heading", "TWS"}));
    ASSERT_EQ(log.recordCount(), 46);
    EXPECT_EQ(log.fileTimeIntervalIndex()[40], t0 + 20);
    EXPECT_EQ(log.fileTimeIntervalIndex()[41], t0 + 1000); // nothing for the gap between
    EXPECT_EQ(cell(*merged, 4, "BoatSpeed"), 7.0);         // A's own sample
    EXPECT_EQ(cell(*merged, 3, "BoatSpeed"), 6.5);         // A between its samples
    EXPECT_EQ(cell(*merged, 6, "BoatSpeed"), 42.0);        // the later of two rows at t0 + 3
    EXPECT_EQ(cell(*merged, 20, "BoatSpeed"), 120.0);      // A's hole is too long: B's value
    EXPECT_EQ(cell(*merged, 1, "Heading"), 0.0);           // 358 to 2, the short way
    EXPECT_EQ(cell(*merged, 3, "Heading"), 4.0);
    EXPECT_TRUE(std::isnan(cell(*merged, 42, "Heading"))); // outside A's span
    EXPECT_EQ(cell(*merged, 43, "TWS"), 21.0);
    EXPECT_EQ(cell(*merged, 3, "TWS"), 11.5);

    auto slower = run.convert(run.path("slow.hdf5"), inputs, {"--rate", "1"});
    ASSERT_EQ(slower.exitCode, 0) << slower.err;
    auto slow = run.open(run.path("slow.hdf5"));
    ASSERT_TRUE(slow);
    EXPECT_EQ(slow->boatLog()->recordCount(), 21 + 3);

    // A converted log merges with a new file; its columns come first.
    std::string extra = "Utc,Heel\n" + unixText(t0) + ",3\n" + unixText(t0 + 4) + ",7\n";
    auto again = run.convert(run.path("again.hdf5"), {run.path("slow.hdf5"), run.write("heel.csv", extra)});
    ASSERT_EQ(again.exitCode, 0) << again.err;
    EXPECT_TRUE(contains(again.out, "converted log")) << again.out;
    auto info = ConverterRun::run({"info", run.path("again.hdf5")});
    ASSERT_EQ(info.exitCode, 0) << info.err;
    auto json = nlohmann::json::parse(info.out);
    EXPECT_EQ(json["records"], 24);
    EXPECT_EQ(json["columns"], nlohmann::json({"BoatSpeed", "Heading", "TWS", "Heel"}));
    EXPECT_EQ(json["start"], t0);
    EXPECT_EQ(json["end"], t0 + 1002);
    EXPECT_EQ(json["segmentCount"], 1);
    EXPECT_EQ(json["utcOffsetMinutes"], 0);
    EXPECT_EQ(json["raceRecords"], 0);
    EXPECT_FALSE(json.contains("view"));
}

// Zones: times that carry one become UTC; times without one stay as written, with the zone
// named by --zone recorded. The usual time encodings of exports.
TEST(Converter, ReadsTimesAndZones) {
    ConverterRun run;
    auto convertOne = [&](const std::string& name, const std::string& text, const QStringList& extra = {}) {
        QString output = run.path(QString::fromStdString(name) + ".hdf5");
        auto outcome = run.convert(output, {run.write(QString::fromStdString(name) + ".csv", text)}, extra);
        EXPECT_EQ(outcome.exitCode, 0) << name << ": " << outcome.out << outcome.err;
        return run.open(output);
    };
    auto first = [](const std::shared_ptr<LogFileAsset>& asset) {
        return asset ? asset->boatLog()->fileTimeIntervalIndex()[0] : NAN;
    };
    auto offset = [](const std::shared_ptr<LogFileAsset>& asset) {
        return asset && asset->parseContext() ? asset->parseContext()->utcOffset : std::nullopt;
    };

    auto zoned =
        convertOne("zoned", "DateTime,TWS\n2023-06-01T14:00:00+02:00,1\n2023-06-01T14:00:01+02:00,2\n");
    EXPECT_EQ(first(zoned), t0);
    EXPECT_EQ(offset(zoned), 0);

    const std::string local = "Time,TWS\n2023-06-01 14:00:00,1\n2023-06-01 14:00:01,2\n";
    auto berlin = convertOne("berlin", local, {"--zone", "Europe/Berlin"});
    EXPECT_EQ(first(berlin), t0 + 7200); // the wall-clock time as written
    EXPECT_EQ(offset(berlin), 120);
    auto unknown = convertOne("unknown", local);
    EXPECT_EQ(first(unknown), t0 + 7200);
    ASSERT_TRUE(unknown && unknown->parseContext());
    EXPECT_FALSE(unknown->parseContext()->utcOffset);

    auto millis = convertOne("millis", "timestamp,TWS\n1685620800000,1\n1685620801000,2\n");
    EXPECT_EQ(first(millis), t0);
    auto excel = convertOne("excel", "UTC,TWS\n45078.5,1\n45078.50001157407,2\n");
    EXPECT_EQ(first(excel), t0);
    EXPECT_EQ(offset(excel), 0);
    auto split =
        convertOne("split", "Date;Time (UTC);BSP\n01.06.2023;12:00:00;6,5\n01.06.2023;12:00:01;7,5\n");
    EXPECT_EQ(first(split), t0);
    EXPECT_EQ(offset(split), 0);
    EXPECT_EQ(split ? cell(*split, 1, "BoatSpeed") : NAN, 7.5); // decimal commas
    auto units =
        convertOne("units", "Utc\tSOG (m/s)\tForestay [kg]\n1685620800\t1\t1500\n1685620801\t2\t2500\n");
    EXPECT_NEAR(units ? cell(*units, 0, "SOG") : NAN, 1.9438444924, 1e-9);
    EXPECT_DOUBLE_EQ(units ? cell(*units, 1, "Forestay") : NAN, 2.5);
}

// Bad lines and values are skipped and counted, with the first one described; files that hold
// nothing usable are skipped while the others are converted.
TEST(Converter, SkipsBadInputAndCountsIt) {
    ConverterRun run;
    std::string text = "Utc,BSP,TWS,Notes\n";
    text += unixText(t0) + ",6,10,ok\n";
    text += "@@@ garbage\n";                      // line 3: no time
    text += unixText(t0 + 1) + ",6.1,10,x,9\n";   // too many fields
    text += unixText(t0 + 2) + ",6.2\n";          // too few
    text += unixText(t0 + 3) + ",7.2x,11,calm\n"; // a bad number: the value goes, the row stays
    text += unixText(t0 + 4) + ",6.4,12,\"quoted, text\"\n";
    text += std::string("\0\x01\x02,\xff\xfe\n", 7);
    QString good = run.write("good.csv", text);
    QString empty = run.write("empty.csv", "");
    QString other = run.write("track.gpx", "<?xml version=\"1.0\"?>\n<gpx><trk></trk></gpx>\n");
    auto outcome = run.convert(run.path("out.hdf5"), {empty, good, other});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_TRUE(contains(outcome.out, "Skipped " + empty.toStdString() + ": the file is empty"))
        << outcome.out;
    EXPECT_TRUE(contains(outcome.out,
                         "Skipped " + other.toStdString() + ": no track point with a time and a position"))
        << outcome.out;
    EXPECT_TRUE(contains(outcome.out, "Skipped 4 lines of " + good.toStdString() +
                                          ", first at line 3: fewer fields than the header has"))
        << outcome.out;
    EXPECT_TRUE(contains(outcome.out, "Skipped 1 value of " + good.toStdString() +
                                          ", first at line 6: not a number in column \"BSP\": \"7.2x\""))
        << outcome.out;
    EXPECT_TRUE(contains(outcome.out, "Read 3 records, 2 columns from " + good.toStdString())) << outcome.out;
    auto asset = run.open(run.path("out.hdf5"));
    ASSERT_TRUE(asset);
    EXPECT_EQ(asset->boatLog()->columnNames(), (std::vector<std::string>{"BoatSpeed", "TWS"}));
    EXPECT_EQ(cell(*asset, 3, "TWS"), 11.0);
    EXPECT_DOUBLE_EQ(cell(*asset, 2, "BoatSpeed"), 6.2); // between its own samples at 0 and 4 s
}

// A failure is one line on stderr, exit code 2, and no file left behind.
TEST(Converter, FailsWithExitCodeTwoAndNoOutput) {
    ConverterRun run;
    QString empty = run.write("empty.csv", "");
    QString good = run.write("good.csv", "Utc,TWS\n" + unixText(t0) + ",1\n" + unixText(t0 + 1) + ",2\n");
    QString output = run.path("out.hdf5");
    const QStringList before = run.entries();
    auto expectFailure = [&](const ConverterRun::Outcome& outcome, const std::string& reason) {
        EXPECT_EQ(outcome.exitCode, 2) << outcome.out;
        EXPECT_EQ(outcome.err.rfind("Error: ", 0), 0u) << outcome.err;
        EXPECT_TRUE(contains(outcome.err, reason)) << outcome.err;
        EXPECT_EQ(run.entries(), before); // neither OUT nor a partial file
    };
    expectFailure(run.convert(output, {empty}), "nothing to convert in " + empty.toStdString());
    expectFailure(run.convert(output, {good, run.path("missing.csv")}), "cannot open");
    expectFailure(run.convert(output, {good}, {"--zone", "Mars/Olympus"}), "unknown time zone");
    expectFailure(run.convert(output, {good}, {"--rate", "0"}), "--rate");
    expectFailure(run.convert(run.path("no/such/folder/out.hdf5"), {good}), "cannot create");
    expectFailure(ConverterRun::run({"convert", "-o", output, "--boatLength", "10", good}), "--gpsOffset");
    expectFailure(ConverterRun::run({"info", empty}), "not a readable boat log");
    expectFailure(ConverterRun::run({"frobnicate"}), "unknown command");

    // A second run to the same output replaces it whole and leaves nothing else behind.
    const QString longer = run.write("longer.csv", "Utc,TWS\n" + unixText(t0) + ",1\n" + unixText(t0 + 1) +
                                                       ",2\n" + unixText(t0 + 2) + ",3\n");
    ASSERT_EQ(run.convert(output, {good}).exitCode, 0);
    const QStringList withOutput = run.entries();
    ASSERT_EQ(run.convert(output, {longer}).exitCode, 0);
    EXPECT_EQ(run.entries(), withOutput);
    auto replaced = run.open(output);
    ASSERT_TRUE(replaced);
    auto last = replaced->boatLog()->lastIndex();
    ASSERT_TRUE(last);
    EXPECT_EQ(cell(*replaced, last->index, "TWS"), 3.0);

    auto help = ConverterRun::run({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(contains(help.out, "--gpsOffset"));
    EXPECT_EQ(ConverterRun::run({"--version"}).out.rfind("logutils-cli ", 0), 0u);
}

// Out of memory, on the main thread or on one beside it, ends as every failure does: one
// "Error:" line, exit code 2, and neither the output nor its partial file left (the partial file
// exists from the start). A limit on the address space makes the real allocations fail.
TEST(Converter, OutOfMemoryEndsWithOneErrorLineAndNoFile) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "AddressSanitizer reserves far more address space than the limit allows";
#endif
    ConverterRun run;
    // A heading every 5 s for a day, turning now and then: on a 200 Hz grid 17 million rows,
    // 138 MB a column.
    std::string csv = "Utc,HDG\n";
    for (int s = 0; s < 86400; s += 5)
        csv += unixText(t0 + s) + "," + std::to_string((s / 600) % 2 ? 40 : 320) + "\n";
    const QString input = run.write("day.csv", csv), output = run.path("day.hdf5");
    const QStringList before = run.entries();
    auto limitedTo = [](rlim_t megabytes) {
        return [megabytes] {
            const rlimit limit{megabytes << 20, megabytes << 20};
            ::setrlimit(RLIMIT_AS, &limit);
        };
    };
    // At 1000 Hz the grid alone (691 MB) is too much, on the main thread. At 200 Hz the grid and
    // the heading fit, and the frame is written; the wind estimate that detection makes from the
    // headings meanwhile, on its own thread, does not.
    for (const auto& [rate, megabytes] : {std::pair{"1000", 400}, {"200", 600}}) {
        auto outcome = ConverterRun::run(
            {"convert", "-o", output, "--boatLength", "10", "--gpsOffset", "1", "--rate", rate, input},
            limitedTo(static_cast<rlim_t>(megabytes)));
        EXPECT_EQ(outcome.exitCode, 2) << rate << " Hz: " << outcome.out << outcome.err;
        EXPECT_EQ(outcome.err.rfind("Error: ", 0), 0u) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(run.entries(), before) << rate << " Hz";
        if (std::string(rate) == "1000") {
            EXPECT_EQ(outcome.err, "Error: out of memory\n");
        }
    }
}

// Lines that straddle the reader's buffer boundaries arrive whole.
TEST(Converter, ReadsFilesLargerThanItsBuffer) {
    ConverterRun run;
    std::string text = "Utc,BoatSpeed,TWS,Heel,Trim,Rudder,Extra\n";
    const int rows = 120000;
    text.reserve(static_cast<std::size_t>(rows) * 80);
    char line[128];
    for (int i = 0; i < rows; ++i) {
        std::snprintf(line, sizeof line, "%.1f,%d.25,%d.5,-%d.125,0.%04d,1.5,%d\n", t0 + i * 0.1, i % 13,
                      i % 17, i % 7, i % 9973, i);
        text += line;
    }
    ASSERT_GT(text.size(), 5u << 20);
    auto outcome = run.convert(run.path("big.hdf5"), {run.write("big.csv", text)});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    auto asset = run.open(run.path("big.hdf5"));
    ASSERT_TRUE(asset);
    ASSERT_EQ(asset->boatLog()->recordCount(), rows);
    std::int64_t wrong = 0;
    for (std::int64_t i = 0; i < rows; ++i)
        wrong += cell(*asset, i, "Extra") != static_cast<double>(i);
    EXPECT_EQ(wrong, 0);
}
