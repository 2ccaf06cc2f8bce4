#include "support/LogFixture.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

const double t0 = 1686052800.0; // 2023-06-06T12:00:00Z

struct Outcome {
    int exitCode;
    std::string out;
    std::string err;
};

Outcome inspect(const QStringList& arguments) {
    QProcess process;
    process.start(WAKELINE_PROGRAM, QStringList{"inspect"} + arguments);
    process.waitForFinished(60000);
    return {process.exitCode(), process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

QString writeSample(const QTemporaryDir& dir) {
    LogFixture log;
    log.columns = {"Heading", "TWS", "Trim", "RigLoad"};
    log.times = {t0, t0 + 2, t0 + 4};
    log.values = {350, 10, 1, 100, 10, 20, 2, NAN, 30, 30, 3, 300};
    log.meta = R"({"segmentCount": 1})";
    log.meta0 = R"({"races": [{"time": "2023-06-06T12:05:00.0+0000"}], "events": [], "legs": []})";
    log.parseContext = R"({"utcOffset": 60})";
    QString path = dir.filePath("sample.hdf5");
    log.write(path);
    return path;
}

} // namespace

TEST(ExamineCommand, PrintsTheLogSummaryAndTheViewAtATime) {
    QTemporaryDir dir;
    QString path = writeSample(dir);

    Outcome plain = inspect({path});
    ASSERT_EQ(plain.exitCode, 0) << plain.err;
    json summary = json::parse(plain.out);
    EXPECT_EQ(summary["records"], 3);
    EXPECT_EQ(summary["columns"], json({"Heading", "TWS", "Trim", "RigLoad"}));
    EXPECT_EQ(summary["availableMetrics"], json({"Heading", "TWS", "Trim", "RigLoad"}));
    EXPECT_EQ(summary["start"], t0);
    EXPECT_EQ(summary["end"], t0 + 4);
    EXPECT_EQ(summary["segmentCount"], 1);
    EXPECT_EQ(summary["utcOffsetMinutes"], 60);
    EXPECT_EQ(summary["raceRecords"], 1);
    EXPECT_EQ(summary["eventRecords"], 0);
    EXPECT_TRUE(summary["view"].is_null());
    // Diagnostics stay off stdout.
    EXPECT_NE(plain.err.find("Loaded 3 records"), std::string::npos);

    Outcome blended = inspect({path, "--at", "2023-06-06T12:00:01Z", "--interpolated", "--metric", "Heading",
                               "--metric", "Trim", "--metric", "RigLoad", "--metric", "AWA"});
    ASSERT_EQ(blended.exitCode, 0) << blended.err;
    json view = json::parse(blended.out)["view"];
    EXPECT_EQ(view["index"], 0);
    EXPECT_EQ(view["leftIndex"], 0);
    EXPECT_EQ(view["rightIndex"], 1);
    EXPECT_EQ(view["leftWeight"], 0.5);
    EXPECT_EQ(view["time"], t0 + 1);
    EXPECT_NEAR(view["values"]["Heading"]["value"].get<double>(), 0.0, 1e-9);
    EXPECT_EQ(view["values"]["Heading"]["unit"], "°");
    EXPECT_EQ(view["values"]["Trim"]["value"], 1.5);
    EXPECT_EQ(view["values"]["Trim"]["unit"], "");
    EXPECT_TRUE(view["values"]["RigLoad"].is_null());
    EXPECT_TRUE(view["values"]["AWA"].is_null());

    // Unix seconds, a zone and an offset: 12:00 wall-clock in Berlin's summer is 10:00 UTC, +30 s.
    Outcome direct = inspect({path, "--zone", "Europe/Berlin", "--offset", "30", "--at",
                              QString::number(t0 - 7200 + 30 + 2, 'f', 1)});
    ASSERT_EQ(direct.exitCode, 0) << direct.err;
    json moved = json::parse(direct.out);
    EXPECT_EQ(moved["start"], t0 - 7200 + 30);
    EXPECT_EQ(moved["view"]["index"], 2);
    EXPECT_FALSE(moved["view"].contains("leftWeight"));
    EXPECT_EQ(moved["view"]["values"]["TWS"]["value"], 30.0);
    EXPECT_EQ(moved["view"]["values"]["TWS"]["unit"], "kn");
    EXPECT_EQ(moved["view"]["values"]["RigLoad"]["value"], 300.0);

    // At the last record there is no view.
    Outcome last = inspect({path, "--at", QString::number(t0 + 4, 'f', 0)});
    EXPECT_TRUE(json::parse(last.out)["view"].is_null());
}

TEST(ExamineCommand, FailuresAreReportedNotCrashed) {
    QTemporaryDir dir;
    Outcome missing = inspect({dir.filePath("none.hdf5")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.out.empty());
    EXPECT_NE(missing.err.find("Warning: could not open HDF5 file at"), std::string::npos);

    LogFixture noValues;
    noValues.columns = {"TWS"};
    noValues.times = {t0};
    noValues.omitValues = true;
    noValues.write(dir.filePath("novalues.hdf5"));
    Outcome broken = inspect({dir.filePath("novalues.hdf5")});
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_NE(broken.err.find("Warning: could not find dataset /log0/block0_values"), std::string::npos);

    QString path = writeSample(dir);
    EXPECT_EQ(inspect({path, "--at", "teatime"}).exitCode, 2);
    EXPECT_EQ(inspect({path, "--zone", "Nowhere/Land"}).exitCode, 2);
    EXPECT_EQ(inspect({}).exitCode, 2);
    EXPECT_EQ(inspect({path, "--offset", "x"}).exitCode, 2);

    LogFixture empty;
    empty.columns = {"TWS"};
    empty.write(dir.filePath("empty.hdf5"));
    Outcome emptyRun = inspect({dir.filePath("empty.hdf5"), "--at", "0"});
    ASSERT_EQ(emptyRun.exitCode, 0) << emptyRun.err;
    json summary = json::parse(emptyRun.out);
    EXPECT_TRUE(summary["start"].is_null());
    EXPECT_TRUE(summary["end"].is_null());
    EXPECT_TRUE(summary["view"].is_null());
    EXPECT_TRUE(summary["segmentCount"].is_null());
}

TEST(ExamineCommand, PrintsADocumentAsOpened) {
    QTemporaryDir dir;
    QString package = dir.filePath("Event.wakeline");
    {
        LogFixture log;
        log.columns = {"TWS"};
        log.times = {t0, t0 + 600};
        log.values = {10, 12};
        log.meta0 =
            R"({"races": [{"time": "2023-06-06T12:01:00.0+0000", "raceDuration": 300, "raceType": "Race"}],
                        "events": [{"eventType": "Gybe", "time": "2023-06-06T12:02:00.0+0000"}],
                        "legs": [{"time": "2023-06-06T12:01:00.0+0000", "eventType": "Downwind", "duration": 120}]})";
        QDir().mkpath(package + "/BoatLogs");
        log.write(package + "/BoatLogs/6f9619ff-8b86-d011-b42d-00c04fc964ff.hdf5");
        QFile video(dir.filePath("GX010001.MP4"));
        video.open(QIODevice::WriteOnly);
        QFile content(package + "/content.json");
        content.open(QIODevice::WriteOnly);
        content.write(QString(R"({"version": "1.0",
          "assets": [{"url": {"relative": "%1"}, "pathRelativeToDocumentDir": "GX010001.MP4", "kind": "VideoAsset",
                      "fileStartTime": %2, "duration": 100, "mediaGroup": "Onboard",
                      "fileTimeZone": {"identifier": "UTC"}}],
          "eventTimezone": {"identifier": "Europe/Berlin"},
          "boats": [{"boat": {"fullName": "Stella", "shortName": "ST", "color": "ff0000", "displayMode": "Main",
                              "boatLength": 12, "gpsOffset": 0.5},
                     "logAssets": [{"uuid": "6F9619FF-8B86-D011-B42D-00C04FC964FF", "offset": 1}]}],
          "mediaGroups": [{"name": "Onboard"}, {"name": "Drone"}]})")
                          .arg(QUrl::fromLocalFile(dir.filePath("GX010001.MP4")).toString())
                          .arg(t0 + 60 - 978307200.0, 0, 'f', 1)
                          .toUtf8());
    }

    Outcome run = inspect({package, "--at", QString::number(t0 + 100, 'f', 0)});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    json d = json::parse(run.out);
    EXPECT_EQ(d["boats"][0]["fullName"], "Stella");
    EXPECT_EQ(d["boats"][0]["logAssets"][0]["uuid"], "6F9619FF-8B86-D011-B42D-00C04FC964FF");
    EXPECT_EQ(d["boats"][0]["logAssets"][0]["records"], 2);
    EXPECT_EQ(d["boats"][0]["logAssets"][0]["start"], t0 + 1);
    EXPECT_EQ(d["races"][0]["name"], "Race 1");
    EXPECT_EQ(d["races"][0]["finishTime"], t0 + 360);
    EXPECT_EQ(d["legs"][0], json({{"start", t0 + 60}, {"end", t0 + 180}, {"type", "Downwind"}}));
    EXPECT_EQ(d["gybeTimes"], json({t0 + 120}));
    EXPECT_EQ(d["eventStartTime"], t0 - 600 + 1);
    EXPECT_EQ(d["eventEndTime"], t0 + 601 + 600);
    EXPECT_EQ(d["playbackPosition"], d["eventStartTime"]);
    EXPECT_EQ(d["eventTimezone"], "Europe/Berlin");
    EXPECT_EQ(d["mediaGroups"], json({"Onboard", "Drone"}));
    EXPECT_EQ(d["assets"][0]["kind"], "VideoAsset");
    EXPECT_EQ(d["assets"][0]["startTime"], t0 + 60);
    EXPECT_EQ(d["assets"][0]["endTime"], t0 + 160);
    EXPECT_EQ(d["visible"]["Onboard"],
              QUrl::fromLocalFile(dir.filePath("GX010001.MP4")).toString().toStdString());
    EXPECT_TRUE(d["visible"]["Drone"].is_null());

    QDir().mkpath(dir.filePath("Empty.wakeline"));
    Outcome missing = inspect({dir.filePath("Empty.wakeline")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("The document information could not be loaded."), std::string::npos);
}
