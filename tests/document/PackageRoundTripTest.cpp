#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "document/DocumentOpener.h"
#include "document/DocumentPackageReader.h"
#include "document/DocumentPackageWriter.h"
#include "document/ProgressSink.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QDir>
#include <QDirIterator>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

const double t0 = 1686052800.0;
const QString goodLog = "6f1c1a52-27d4-4a43-9a0b-5d2c1f0e4a11";
const QString damagedLog = "0b4de1f3-8c5e-4a57-b0a7-3f8e2b1c9d22";
const QString missingLog = "c2a9e7d4-1f6b-4e38-8d5c-7a4b3e2f1d33";

struct Lines : ProgressSink {
    QStringList lines;
    void begin(const QString&) override {}
    void appendLog(const QString& line) override { lines << line; }
    void done() override {}
};

QByteArray contents(const QString& path) {
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(bytes);
}

// A package holding everything this version cannot use: a log that fails to load, a log whose
// file is gone, a file in BoatLogs/ no entry names, media of an unknown kind, a video found
// nowhere and saved before its time was known, a bookmark made elsewhere, and keys of a newer
// version at every level.
struct Package {
    QTemporaryDir dir;
    QString path = dir.filePath("Regatta.wakeline");
    json content;

    Package() {
        LogFixture log;
        log.columns = {"Lat", "Lon", "TWS"};
        for (int i = 0; i < 30; ++i) {
            log.times.push_back(t0 + i);
            for (double value : {54.3 + i * 1e-4, 10.1, 12.0})
                log.values.push_back(value);
        }
        QDir().mkpath(path + "/BoatLogs");
        EXPECT_TRUE(log.write(path + "/BoatLogs/" + goodLog + ".hdf5"));
        // A log copied half-way: the first kilobyte of a real one.
        writeFile(path + "/BoatLogs/" + damagedLog + ".hdf5",
                  contents(path + "/BoatLogs/" + goodLog + ".hdf5").left(1024));
        writeFile(path + "/BoatLogs/notes-from-the-coach.txt", "wind went left at 14:10\n");
        writeFile(dir.filePath("media/clip.mp4"), "not really a video");

        content = json::parse(R"({
          "version": "1.0",
          "assets": [
            {"url": {"relative": "file:///elsewhere/GX010042.MP4"}, "pathRelativeToDocumentDir": "",
             "bookmarkData": "Ym9va21hcms=", "fileStartTime": 707745600, "offset": 2.5,
             "fileTimeZone": {"identifier": "Europe/Berlin"}, "duration": 61.5, "mediaGroup": "Onboard",
             "kind": "VideoAsset", "stabilised": true},
            {"pathRelativeToDocumentDir": "media/memo.m4a", "fileStartTime": 707745700, "mediaGroup": "Onboard",
             "kind": "AudioNote", "transcript": "ease the vang"},
            {"url": {"relative": "file:///gone/DJI_0001.MP4"}, "mediaGroup": "Drone", "kind": "VideoAsset"}
          ],
          "eventTimezone": {"identifier": "Europe/Berlin"},
          "playbackPosition": 707745650,
          "races": [{"name": "Race 1", "time": 707745660, "pinLat": "54.3", "pinLon": "10.1", "rcLat": "54.31",
                     "rcLon": "10.12", "course": "W2"}],
          "boats": [{"boat": {"fullName": "Stella Maris", "shortName": "GER 7", "color": "1a66cc",
                              "displayMode": "Main", "boatLength": 9.5, "gpsOffset": 1.2, "sailNumber": "GER 7"},
                     "logAssets": [{"uuid": "6F1C1A52-27D4-4A43-9A0B-5D2C1F0E4A11", "offset": 1.5,
                                    "fileTimeZone": {"identifier": "UTC"}, "source": "B&G H5000"},
                                   {"uuid": "0B4DE1F3-8C5E-4A57-B0A7-3F8E2B1C9D22", "offset": -3,
                                    "fileTimeZone": {"identifier": "Europe/Berlin"}},
                                   {"uuid": "C2A9E7D4-1F6B-4E38-8D5C-7A4B3E2F1D33"}],
                     "crew": ["Anna", "Jonas"]}],
          "mediaGroups": [{"name": "Onboard", "camera": "GoPro 11"}, {"name": "Drone"}],
          "polarTable": {"tws": [6, 10], "bsp": [5.1, 6.3]}
        })");
        // As the writer would have put it: relative to the folder holding the package.
        content["assets"][0]["pathRelativeToDocumentDir"] =
            DocumentPackageWriter::relativePath(dir.path(), "/elsewhere/GX010042.MP4").toStdString();
        writeFile(path + "/content.json", QByteArray::fromStdString(content.dump(2)));
    }

    std::map<QString, QByteArray> boatLogs() const {
        std::map<QString, QByteArray> files;
        for (const QFileInfo& file : QDir(path + "/BoatLogs").entryInfoList(QDir::Files))
            files[file.fileName()] = contents(file.absoluteFilePath());
        return files;
    }
    json saved() const { return json::parse(contents(path + "/content.json").toStdString()); }
};

std::unique_ptr<Document> open(const QString& path, Lines& lines) {
    DiagnosticsCapture quiet;
    auto read = DocumentPackageReader::read(path);
    EXPECT_TRUE(std::holds_alternative<DocumentReference>(read));
    auto document = std::make_unique<Document>();
    QEventLoop loop;
    DocumentOpener::open(*document, std::get<DocumentReference>(std::move(read)), path,
                         std::shared_ptr<ProgressSink>(&lines, [](ProgressSink*) {}),
                         [&loop] { loop.quit(); });
    loop.exec();
    return document;
}

// Every key of `before` is in `after` with the same value, but where `changed` names the path.
// Lists are matched element by element by `key` where one is given, so a writer may reorder them.
void expectKept(const json& before, const json& after, const std::string& where,
                const std::set<std::string>& changed) {
    if (changed.count(where))
        return;
    if (before.is_object()) {
        ASSERT_TRUE(after.is_object()) << where;
        for (auto it = before.begin(); it != before.end(); ++it) {
            ASSERT_TRUE(after.contains(it.key())) << where << "/" << it.key() << " was lost";
            expectKept(it.value(), after[it.key()], where + "/" + it.key(), changed);
        }
    } else if (before.is_array() && !before.empty() && before[0].is_object()) {
        ASSERT_TRUE(after.is_array()) << where;
        ASSERT_EQ(before.size(), after.size()) << where;
        // Match by the first identifying key both sides have.
        for (const auto& element : before) {
            const json* match = nullptr;
            for (const char* key : {"uuid", "url", "time", "name", "pathRelativeToDocumentDir"}) {
                if (!element.contains(key))
                    continue;
                for (const auto& candidate : after)
                    if (candidate.contains(key) && candidate[key] == element[key])
                        match = &candidate;
                break;
            }
            if (!match && element.contains("boat"))
                for (const auto& candidate : after)
                    if (candidate["boat"]["fullName"] == element["boat"]["fullName"])
                        match = &candidate;
            ASSERT_TRUE(match) << where << ": " << element.dump() << " was lost";
            expectKept(element, *match, where + "[]", changed);
        }
    } else {
        EXPECT_EQ(before, after) << where;
    }
}

} // namespace

TEST(PackageRoundTrip, WhatCouldNotBeUsedIsWrittenBackAndTheRestSavesAsUsual) {
    Package package;
    const auto logsBefore = package.boatLogs();
    Lines lines;
    auto document = open(package.path, lines);
    ASSERT_TRUE(document->isEditable());

    // Opened: the good log loaded, the others kept aside with their reasons shown.
    ASSERT_EQ(document->boats().size(), 1u);
    const auto& boat = document->boats().front();
    ASSERT_EQ(document->logAssets(boat).size(), 1u);
    const auto& unloaded = document->packageRemainder().unloadedLogsOf(boat.get());
    ASSERT_EQ(unloaded.size(), 2u);
    EXPECT_TRUE(lines.lines.join("\n").contains("Could not load data at " + package.path + "/BoatLogs/" +
                                                damagedLog + ".hdf5 for boat Stella Maris, skipping: "))
        << lines.lines.join("\n").toStdString();
    EXPECT_TRUE(lines.lines.contains("Warning: no HDF5 data file found for boat Stella Maris"));
    EXPECT_FALSE(unloaded[0].reason.isEmpty());
    EXPECT_EQ(document->assets().size(), 1u);
    EXPECT_EQ(document->packageRemainder().assetEntries.size(), 2u);

    // Changed and saved.
    document->races().front()->setName("Race 1 (resailed)");
    EXPECT_TRUE(document->isEdited());
    {
        DiagnosticsCapture quiet;
        ASSERT_FALSE(DocumentPackageWriter::write(*document, package.path));
    }
    EXPECT_FALSE(document->isEdited());

    // Every log file byte for byte, the file no entry names too; every key as it was.
    EXPECT_EQ(package.boatLogs(), logsBefore);
    json saved = package.saved();
    expectKept(package.content, saved, "", {"/races[]/name"});
    EXPECT_EQ(saved["races"][0]["name"], "Race 1 (resailed)");
    EXPECT_FALSE(saved["boats"][0].contains("isMain"));

    // And again, from the saved package: a second round changes nothing more.
    Lines again;
    auto reopened = open(package.path, again);
    EXPECT_EQ(reopened->packageRemainder().unloadedLogsOf(reopened->boats().front().get()).size(), 2u);
    reopened->races().front()->setName("Race 1");
    {
        DiagnosticsCapture quiet;
        ASSERT_FALSE(DocumentPackageWriter::write(*reopened, package.path));
    }
    EXPECT_EQ(package.boatLogs(), logsBefore);
    expectKept(package.content, package.saved(), "", {});

    // Save As elsewhere carries the files into the new package; media entries are found from there.
    QTemporaryDir other;
    const QString moved = other.filePath("Copy.wakeline");
    {
        DiagnosticsCapture quiet;
        ASSERT_FALSE(DocumentPackageWriter::write(*reopened, moved));
    }
    for (const auto& [name, bytes] : logsBefore)
        EXPECT_EQ(contents(moved + "/BoatLogs/" + name), bytes) << name.toStdString();
    json copy = json::parse(contents(moved + "/content.json").toStdString());
    expectKept(package.content, copy, "", {"/assets[]/pathRelativeToDocumentDir"});

    // Removing the boat drops its unloaded logs with it: they were the boat's.
    reopened->removeBoat(reopened->boats().front());
    {
        DiagnosticsCapture quiet;
        ASSERT_FALSE(DocumentPackageWriter::write(*reopened, moved));
    }
    EXPECT_FALSE(QFileInfo::exists(moved + "/BoatLogs/" + damagedLog + ".hdf5"));
    EXPECT_TRUE(QFileInfo::exists(moved + "/BoatLogs/notes-from-the-coach.txt"));
}

TEST(PackageRoundTrip, AddRaceVerbKeepsEverythingAndLeavesAnUnreadablePackageAlone) {
    Package package;
    const auto logsBefore = package.boatLogs();
    auto run = [](const QStringList& arguments, QString* out = nullptr) {
        QProcess process;
        process.start(WAKELINE_PROGRAM, arguments);
        process.waitForFinished(60000);
        if (out)
            *out = QString::fromUtf8(process.readAllStandardOutput());
        return process.exitCode();
    };
    QString out;
    ASSERT_EQ(run({"add-race", package.path, "--name", "Race 2", "--gun", "2023-06-06T13:30:00Z", "--pin",
                   "54.30,10.10", "--rc", "54.31,10.12"},
                  &out),
              0)
        << out.toStdString();
    json printed = json::parse(out.toStdString());
    EXPECT_EQ(printed["raceCount"], 2);
    EXPECT_EQ(printed["race"]["gun"], t0 + 5400);
    EXPECT_EQ(package.boatLogs(), logsBefore);
    json saved = package.saved();
    expectKept(package.content, saved, "", {"/races"});
    ASSERT_EQ(saved["races"].size(), 2u);
    EXPECT_EQ(saved["races"][0]["course"], "W2");
    EXPECT_EQ(saved["races"][1]["name"], "Race 2");
    EXPECT_EQ(saved["races"][1]["rcLon"], "10.12");

    // Usage errors change nothing; an unreadable package is refused and left as it was.
    const QByteArray before = contents(package.path + "/content.json");
    EXPECT_EQ(run({"add-race", package.path, "--name", "X"}), 2);
    EXPECT_EQ(run({"add-race", package.path, "--name", "X", "--gun", "soon"}), 2);
    EXPECT_EQ(run({"add-race", package.path, "--name", "X", "--gun", "0", "--pin", "95,10", "--rc", "1,1"}),
              2);
    EXPECT_EQ(contents(package.path + "/content.json"), before);
    writeFile(package.path + "/content.json", "{\"version\": \"9.0\", \"assets\": []}");
    EXPECT_EQ(run({"add-race", package.path, "--name", "X", "--gun", "0"}), 1);
    EXPECT_EQ(contents(package.path + "/content.json"), "{\"version\": \"9.0\", \"assets\": []}");
}
