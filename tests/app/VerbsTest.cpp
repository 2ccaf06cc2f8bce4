#include "document/AddBoat.h"
#include "document/AddMediaAssets.h"
#include "document/Document.h"
#include "document/SetEventTimeZone.h"
#include "media/MediaFixtures.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

const double dayStart = 1685620800.0; // 2023-06-01T12:00:00Z, when the generated video was made

struct Outcome {
    int exitCode;
    std::string out;
    std::string err;
    json parsed() const { return json::parse(out); }
};

Outcome wakeline(const QStringList& arguments) {
    QProcess process;
    // The converter the build made, named outright so that no other one on the machine is run.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("WAKELINE_CONVERTER", LOGUTILS_PROGRAM);
    process.setProcessEnvironment(environment);
    process.start(WAKELINE_PROGRAM, arguments);
    process.waitForFinished(120000);
    return {process.exitCode(), process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

// Every file of a package with its bytes: a refused verb must leave all of them as they were.
std::map<QString, QByteArray> snapshot(const QString& package) {
    std::map<QString, QByteArray> files;
    QDirIterator it(package, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        file.open(QIODevice::ReadOnly);
        files[file.fileName()] = file.readAll();
    }
    return files;
}

QString write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(bytes);
    return path;
}

// One record a second: boat speed rising by 0.25 kn, true wind steady.
QByteArray csvLog(int records) {
    QByteArray csv = "Utc,BSP,TWS\n";
    for (int i = 0; i < records; ++i)
        csv +=
            QByteArray::number(dayStart + 300 + i, 'f', 1) + "," + QByteArray::number(6 + i * 0.25) + ",12\n";
    return csv;
}

} // namespace

TEST(EditingVerbs, NewAddBoatAndSetZoneReportAndRefuse) {
    QTemporaryDir dir;
    const QString event = dir.filePath("Regatta.wakeline");

    Outcome made = wakeline({"new", event, "--zone", "Europe/Berlin"});
    ASSERT_EQ(made.exitCode, 0) << made.err;
    EXPECT_EQ(made.parsed()["eventTimezone"], "Europe/Berlin");
    EXPECT_EQ(made.parsed()["package"], QDir::cleanPath(event).toStdString());
    auto before = snapshot(event);
    ASSERT_TRUE(before.count(event + "/content.json"));
    EXPECT_EQ(wakeline({"new", event}).exitCode, 1);
    EXPECT_EQ(wakeline({"new", dir.filePath("Other.wakeline"), "--zone", "Mars/Olympus"}).exitCode, 2);
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("Other.wakeline")));
    EXPECT_EQ(snapshot(event), before);

    Outcome first = wakeline({"add-boat", event, "--name", "Aurora", "--short", "AUR", "--color", "00FF00",
                              "--length", "10.5", "--gps-offset", "-1.5", "--mode", "Main"});
    ASSERT_EQ(first.exitCode, 0) << first.err;
    EXPECT_EQ(first.parsed()["boat"], json::parse(R"({"fullName": "Aurora", "shortName": "AUR",
        "color": "00ff00", "displayMode": "Main", "boatLength": 10.5, "gpsOffset": -1.5,
        "logAssets": [], "unloadedLogAssets": []})"));
    // A second Main takes the mode over; a name differing only in case is another boat.
    Outcome second = wakeline({"add-boat", event, "--name", "aurora", "--mode", "Main"});
    ASSERT_EQ(second.exitCode, 0) << second.err;
    EXPECT_EQ(second.parsed()["boat"]["shortName"], "aurora");
    EXPECT_EQ(second.parsed()["boat"]["color"], "ff0000");

    before = snapshot(event);
    Outcome twin = wakeline({"add-boat", event, "--name", "Aurora"});
    EXPECT_EQ(twin.exitCode, 1);
    EXPECT_NE(twin.err.find("Aurora"), std::string::npos) << twin.err;
    for (const QStringList& wrong :
         {QStringList{"add-boat", event, "--name", "X", "--color", "#00ff00"},
          QStringList{"add-boat", event, "--name", "X", "--mode", "main"},
          QStringList{"add-boat", event, "--name", "X", "--length", "long"},
          QStringList{"add-boat", event, "--short", "X"}, QStringList{"add-boat", event, "--name"},
          QStringList{"set-zone", event, "Mars/Olympus"}, QStringList{"set-zone", event}})
        EXPECT_EQ(wakeline(wrong).exitCode, 2) << wrong.join(' ').toStdString();
    EXPECT_EQ(wakeline({"set-zone", dir.filePath("Missing.wakeline"), "UTC"}).exitCode, 1);
    EXPECT_EQ(snapshot(event), before);

    Outcome zone = wakeline({"set-zone", event, "GMT+0200"});
    ASSERT_EQ(zone.exitCode, 0) << zone.err;
    EXPECT_EQ(zone.parsed()["eventTimezone"], "GMT+0200");

    Outcome shown = wakeline({"inspect", event});
    ASSERT_EQ(shown.exitCode, 0) << shown.err;
    json boats = shown.parsed()["boats"];
    ASSERT_EQ(boats.size(), 2u);
    EXPECT_EQ(boats[0]["displayMode"], "Other");
    EXPECT_EQ(boats[1]["displayMode"], "Main");
    EXPECT_EQ(shown.parsed()["eventTimezone"], "GMT+0200");
}

TEST(EditingVerbs, AddMediaMakesItsGroupOnceAndNamesWhatFailed) {
    QTemporaryDir dir;
    const QString event = dir.filePath("Regatta.wakeline");
    ASSERT_EQ(wakeline({"new", event, "--zone", "UTC"}).exitCode, 0);
    const QString clip = dir.filePath("media/clip.mp4");
    QDir().mkpath(dir.filePath("media"));
    QFile::copy(MediaFixtures::generated().plainMp4, clip);
    const QString notes = write(dir.filePath("media/notes.txt"), "wind 12 kn\n");

    Outcome added = wakeline({"add-media", event, "--group", "Onboard", clip, notes});
    ASSERT_EQ(added.exitCode, 0) << added.err;
    json result = added.parsed();
    ASSERT_EQ(result["added"].size(), 1u);
    EXPECT_EQ(result["added"][0]["kind"], "VideoAsset");
    EXPECT_EQ(result["added"][0]["mediaGroup"], "Onboard");
    EXPECT_EQ(result["added"][0]["startTime"], dayStart);
    EXPECT_EQ(result["failed"], json({"notes.txt"}));

    // Nothing that can be added: refused, the package untouched.
    auto before = snapshot(event);
    EXPECT_EQ(wakeline({"add-media", event, "--group", "Onboard", notes, dir.filePath("gone.mp4")}).exitCode,
              1);
    EXPECT_EQ(wakeline({"add-media", event, clip}).exitCode, 2);
    EXPECT_EQ(wakeline({"add-media", event, "--group", "Onboard"}).exitCode, 2);
    EXPECT_EQ(snapshot(event), before);

    // The same name again joins the group the event has; another name makes a second one.
    ASSERT_EQ(wakeline({"add-media", event, "--group", "Onboard", clip}).exitCode, 0);
    ASSERT_EQ(wakeline({"add-media", event, "--group", "Drone", clip}).exitCode, 0);
    Outcome shown = wakeline({"inspect", event});
    ASSERT_EQ(shown.exitCode, 0) << shown.err;
    EXPECT_EQ(shown.parsed()["mediaGroups"], json({"Onboard", "Drone"}));
    EXPECT_EQ(shown.parsed()["assets"].size(), 3u);
}

// The README's walkthrough: a folder of logs and videos becomes an event, with the real converter.
TEST(EditingVerbs, BuildAnEventFromAFolderOfLogsAndVideos) {
    QTemporaryDir dir;
    const QString event = dir.filePath("Regatta.wakeline");
    const QString log = write(dir.filePath("logs/aurora.csv"), csvLog(40));
    const QString broken = write(dir.filePath("logs/broken.csv"), "not,a\nlog at all\n");
    QDir().mkpath(dir.filePath("videos"));
    const QString clip = dir.filePath("videos/bow.mp4");
    QFile::copy(MediaFixtures::generated().plainMp4, clip);

    ASSERT_EQ(wakeline({"new", event, "--zone", "Europe/Berlin"}).exitCode, 0);
    ASSERT_EQ(
        wakeline({"add-boat", event, "--name", "Aurora", "--length", "10.5", "--mode", "Main"}).exitCode, 0);

    auto before = snapshot(event);
    EXPECT_EQ(wakeline({"import-logs", event, "--boat", "Nobody", log}).exitCode, 1);
    EXPECT_EQ(wakeline({"import-logs", event, "--boat", "Aurora", broken}).exitCode, 1);
    EXPECT_EQ(wakeline({"import-logs", event, "--boat", "Aurora", dir.filePath("logs/gone.csv")}).exitCode,
              1);
    EXPECT_EQ(wakeline({"import-logs", event, log}).exitCode, 2);
    EXPECT_EQ(snapshot(event), before);

    Outcome imported = wakeline({"import-logs", event, "--boat", "Aurora", log});
    ASSERT_EQ(imported.exitCode, 0) << imported.err;
    json asset = imported.parsed()["logAsset"];
    EXPECT_EQ(asset["records"], 40);
    EXPECT_EQ(asset["start"], dayStart + 300);
    EXPECT_EQ(asset["end"], dayStart + 339);
    EXPECT_NE(imported.err.find("logutils-cli"), std::string::npos) << "the converter's lines go to stderr";

    ASSERT_EQ(wakeline({"add-media", event, "--group", "Bow", clip}).exitCode, 0);
    ASSERT_EQ(wakeline({"add-race", event, "--name", "Race 1", "--gun", "2023-06-01T12:05:10Z"}).exitCode, 0);

    Outcome shown = wakeline({"inspect", event});
    ASSERT_EQ(shown.exitCode, 0) << shown.err;
    json document = shown.parsed();
    EXPECT_EQ(document["eventTimezone"], "Europe/Berlin");
    ASSERT_EQ(document["boats"].size(), 1u);
    ASSERT_EQ(document["boats"][0]["logAssets"].size(), 1u);
    EXPECT_EQ(document["boats"][0]["logAssets"][0], asset);
    EXPECT_EQ(document["boats"][0]["boatLength"], 10.5);
    EXPECT_EQ(document["mediaGroups"], json({"Bow"}));
    EXPECT_EQ(document["assets"][0]["url"], QUrl::fromLocalFile(clip).toString().toStdString());
    EXPECT_EQ(document["races"][0]["time"], dayStart + 310);
    // A camera that cannot be identified wrote the event's wall-clock time (Berlin, summer time).
    EXPECT_EQ(document["assets"][0]["startTime"], dayStart - 7200);
    // The range spans the video, the log and the race, widened by ten minutes.
    EXPECT_EQ(document["eventStartTime"], dayStart - 7200 - 600);
    EXPECT_EQ(document["eventEndTime"],
              std::max(document["races"][0]["bestGuessFinishTime"].get<double>(), dayStart + 339) + 600);
}

// What the desktop's undo relies on: each edit undone leaves the document as it found it.
TEST(EditingVerbs, EditsUndoModesGroupsAndZone) {
    Document document;
    auto main = Boat::create("Aurora", "AUR", RgbColor::pureRed(), Boat::DisplayMode::Main);
    document.addBoat(main);
    AddBoat addMain(Boat::create("Borealis", "BOR", RgbColor::pureRed(), Boat::DisplayMode::Main));
    addMain.apply(document);
    EXPECT_EQ(main->displayMode(), Boat::DisplayMode::Other);
    EXPECT_EQ(document.mainBoat(), addMain.boat());
    addMain.revert(document);
    EXPECT_EQ(document.boats(), std::vector{main});
    EXPECT_EQ(main->displayMode(), Boat::DisplayMode::Main);

    auto onboard = std::make_shared<MediaGroup>("Onboard");
    document.addMediaGroup(onboard);
    auto photo = [](double time) {
        return std::make_shared<PhotoAsset>(QUrl::fromLocalFile("/p.jpg"), Instant::fromUnix(time), 0.0,
                                            TimeZone::utc(), nullptr);
    };
    AddMediaAssets toExisting({photo(dayStart)}, AddMediaAssets::groupNamed(document, "Onboard"));
    AddMediaAssets toNew({photo(dayStart + 1), photo(dayStart + 2)},
                         AddMediaAssets::groupNamed(document, "Drone"));
    EXPECT_EQ(toExisting.group(), onboard);
    toExisting.apply(document);
    toNew.apply(document);
    ASSERT_EQ(document.mediaGroups().size(), 2u);
    EXPECT_EQ(document.assets().size(), 3u);
    EXPECT_EQ(document.assets()[2]->mediaGroup(), toNew.group());
    toNew.revert(document);
    toExisting.revert(document);
    EXPECT_EQ(document.mediaGroups(), std::vector{onboard}) << "a group the edit did not make stays";
    EXPECT_TRUE(document.assets().empty());

    document.setEventTimezone(*TimeZone::fromIdentifier("Europe/Berlin"));
    document.setEdited(false);
    ASSERT_TRUE(SetEventTimeZone::zoneNamed("UTC"));
    EXPECT_FALSE(SetEventTimeZone::zoneNamed("Europe/Atlantis"));
    SetEventTimeZone zone(*SetEventTimeZone::zoneNamed("America/New_York"));
    zone.apply(document);
    EXPECT_EQ(document.eventTimezone().identifier(), "America/New_York");
    EXPECT_TRUE(document.isEdited());
    zone.revert(document);
    EXPECT_EQ(document.eventTimezone().identifier(), "Europe/Berlin");
}
