#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "document/DocumentOpener.h"
#include "document/DocumentPackageReader.h"
#include "document/DocumentPackageWriter.h"
#include "document/ProgressSink.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace {

const double t0 = 1686052800.0;

struct RecordingProgress : ProgressSink {
    QStringList lines;
    bool finished = false;
    void begin(const QString&) override {}
    void appendLog(const QString& line) override { lines << line; }
    void done() override { finished = true; }
};

void touch(const QString& path) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write("media");
}

QByteArray contents(const QString& path) {
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

ino_t inode(const QString& path) {
    struct stat info {};
    ::stat(QFile::encodeName(path).constData(), &info);
    return info.st_ino;
}

QString writeLog(const QString& path) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    LogFixture log;
    log.columns = {"TWS", "Heading"};
    log.times = {t0, t0 + 1, t0 + 2};
    log.values = {10, 350, 11, 355, 12, 5};
    log.meta0 =
        R"({"races": [], "events": [{"eventType": "Tack", "time": "2023-06-06T12:00:01.0+0000"}], "legs": []})";
    log.write(path);
    return path;
}

// Reads and fills a document as the program does, waiting for the HDF5 queue.
struct Opened {
    std::unique_ptr<Document> document;
    std::optional<DocumentLoadingError> error;
    std::shared_ptr<RecordingProgress> progress = std::make_shared<RecordingProgress>();
};

Opened openPackage(const QString& path) {
    Opened opened;
    DiagnosticsCapture quiet;
    auto read = DocumentPackageReader::read(path);
    if (auto* error = std::get_if<DocumentLoadingError>(&read)) {
        opened.error = *error;
        return opened;
    }
    opened.document = std::make_unique<Document>();
    QEventLoop loop;
    DocumentOpener::open(*opened.document, std::get<DocumentReference>(std::move(read)), path,
                         opened.progress, [&loop] { loop.quit(); });
    loop.exec();
    return opened;
}

// An event with a boat and its log, two races, two groups, a video and a photo beside the package.
struct EventFixture {
    QTemporaryDir dir;
    QString package = dir.filePath("Kiel Week.wakeline");
    Document document;
    std::shared_ptr<Boat> boat = Boat::create("Stella", "ST", {0, 0.5, 1}, Boat::DisplayMode::Main);
    std::shared_ptr<LogFileAsset> log;

    EventFixture() {
        DiagnosticsCapture quiet;
        writeLog(dir.filePath("import/converted.hdf5"));
        log = LogFileAsset::open(dir.filePath("import/converted.hdf5"), boat, QUuid::createUuid(), 2.5,
                                 *TimeZone::fromIdentifier("Europe/Berlin"));
        document.setBoats({boat});
        document.addLogAsset(boat, log);
        auto race = std::make_shared<Race>();
        race->setName("Race 1");
        race->setTime(Instant::fromUnix(t0 + 60));
        race->setPinLat("54.5");
        auto open = std::make_shared<Race>();
        open->setName("Race 2");
        open->setTime(Instant::fromUnix(t0 + 4000));
        open->setFinishTime(Instant::fromUnix(t0 + 6000));
        document.setRaces({race, open});
        auto onboard = std::make_shared<MediaGroup>("Onboard");
        auto drone = std::make_shared<MediaGroup>("Drone");
        document.setMediaGroups({onboard, drone});
        touch(dir.filePath("media/day one/GX010001.MP4"));
        touch(dir.filePath("media/photo.jpg"));
        document.addAsset(
            std::make_shared<VideoAsset>(QUrl::fromLocalFile(dir.filePath("media/day one/GX010001.MP4")),
                                         Instant::fromUnix(t0 + 7200), 95.5, 1.5,
                                         *TimeZone::fromSecondsFromGMT(7200), nullptr),
            drone);
        document.addAsset(std::make_shared<PhotoAsset>(QUrl::fromLocalFile(dir.filePath("media/photo.jpg")),
                                                       Instant::fromUnix(t0 + 30), 0, TimeZone::utc(),
                                                       nullptr),
                          onboard);
        document.setEventTimezone(*TimeZone::fromIdentifier("Europe/Berlin"));
        document.setEventEndTimeOverride(Instant::fromUnix(t0 + 9000));
        document.setPlaybackPosition(Instant::fromUnix(t0 + 100), false);
    }
};

} // namespace

TEST(DocumentPackage, WritesTheDescriptionInItsExactForm) {
    EventFixture f;
    DiagnosticsCapture quiet;
    ASSERT_FALSE(DocumentPackageWriter::write(f.document, f.package));
    auto json = nlohmann::ordered_json::parse(contents(f.package + "/content.json").toStdString());

    std::vector<std::string> keys;
    for (const auto& item : json.items())
        keys.push_back(item.key());
    // No start override: the key is left out, never written as null.
    EXPECT_EQ(keys, (std::vector<std::string>{"version", "assets", "eventTimezone", "eventEndTimeOverride",
                                              "playbackPosition", "races", "boats", "mediaGroups"}));
    EXPECT_EQ(json["version"], "1.0");
    EXPECT_EQ(json["eventTimezone"], nlohmann::ordered_json({{"identifier", "Europe/Berlin"}}));
    EXPECT_EQ(json["playbackPosition"], t0 + 100 - 978307200.0);
    EXPECT_FALSE(json["races"][0].contains("finishTime"));

    const auto& video = json["assets"][0];
    EXPECT_EQ(video["url"]["relative"], QUrl::fromLocalFile(f.dir.filePath("media/day one/GX010001.MP4"))
                                            .toString(QUrl::FullyEncoded)
                                            .toStdString());
    EXPECT_NE(video["url"]["relative"].get<std::string>().find("day%20one"), std::string::npos);
    EXPECT_EQ(video["pathRelativeToDocumentDir"], "media/day one/GX010001.MP4");
    EXPECT_FALSE(video.contains("bookmarkData"));
    EXPECT_EQ(video["kind"], "VideoAsset");
    EXPECT_EQ(video["mediaGroup"], "Drone");
    EXPECT_EQ(video["duration"], 95.5);
    EXPECT_EQ(video["fileTimeZone"]["identifier"], "GMT+0200");
    EXPECT_EQ(json["assets"][1]["kind"], "PhotoAsset");

    const auto& logEntry = json["boats"][0]["logAssets"][0];
    std::string uuid = logEntry["uuid"];
    EXPECT_EQ(uuid, f.log->uuid().toString(QUuid::WithoutBraces).toUpper().toStdString());
    EXPECT_EQ(logEntry["offset"], 2.5);
    EXPECT_FALSE(json["boats"][0].contains("isMain"));
    EXPECT_TRUE(QFile::exists(f.package + "/BoatLogs/" + QString::fromStdString(uuid).toLower() + ".hdf5"));

    EXPECT_EQ(DocumentPackageWriter::relativePath("/a/b/c", "/a/d/e.mp4"), "../../d/e.mp4");
    EXPECT_EQ(DocumentPackageWriter::relativePath("/a", "/a/e.mp4"), "e.mp4");
}

TEST(DocumentPackage, OpensWhatItSaved) {
    EventFixture f;
    {
        DiagnosticsCapture quiet;
        ASSERT_FALSE(DocumentPackageWriter::write(f.document, f.package));
    }
    // The package and its media move together; relative paths still find the media.
    QString moved = f.dir.filePath("archive");
    QDir().mkpath(moved);
    ASSERT_TRUE(QDir().rename(f.package, moved + "/Kiel Week.wakeline"));
    ASSERT_TRUE(QDir().rename(f.dir.filePath("media"), moved + "/media"));

    Opened opened = openPackage(moved + "/Kiel Week.wakeline");
    ASSERT_TRUE(opened.document) << opened.progress->lines.join("\n").toStdString();
    const Document& d = *opened.document;
    EXPECT_TRUE(opened.progress->finished);
    EXPECT_FALSE(d.isEdited());
    ASSERT_EQ(d.boats().size(), 1u);
    EXPECT_EQ(d.boats()[0]->shortName(), "ST");
    EXPECT_EQ(Boat::colorText(d.boats()[0]->color()), "007fff");
    ASSERT_EQ(d.logAssets(d.boats()[0]).size(), 1u);
    const auto& log = d.logAssets(d.boats()[0])[0];
    EXPECT_EQ(log->uuid(), f.log->uuid());
    EXPECT_EQ(log->offset(), 2.5);
    EXPECT_EQ(log->fileTimeZone().identifier(), "Europe/Berlin");
    EXPECT_EQ(log->fileStartTime(), f.log->fileStartTime());
    ASSERT_EQ(d.races().size(), 2u);
    EXPECT_EQ(d.races()[1]->finishTime(), Instant::fromUnix(t0 + 6000));
    // The main boat's tack was derived at the end of opening.
    EXPECT_EQ(d.tackTimes(), (std::vector{Instant::fromUnix(t0 + 1)}));
    ASSERT_EQ(d.assets().size(), 2u);
    EXPECT_EQ(d.assets()[0]->url().toLocalFile(), moved + "/media/day one/GX010001.MP4");
    EXPECT_EQ(d.assets()[0]->mediaGroup(), d.mediaGroupNamed("Drone"));
    EXPECT_EQ(d.assets()[0]->startTime(), f.document.assets()[0]->startTime());
    EXPECT_EQ(d.assets()[1]->mediaGroup()->name, "Onboard");
    EXPECT_EQ(d.eventTimezone().identifier(), "Europe/Berlin");
    EXPECT_FALSE(d.eventStartTimeOverride());
    EXPECT_EQ(d.eventEndTimeOverride(), Instant::fromUnix(t0 + 9000));
    EXPECT_EQ(d.eventPlaybackPosition(), Instant::fromUnix(t0 + 100));
}

TEST(DocumentPackage, ReadsOtherWritersFiles) {
    QTemporaryDir dir;
    QString package = dir.filePath("Old.wakeline");
    QString uuid = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
    writeLog(package + "/BoatLogs/" + uuid.toLower() + ".hdf5");
    touch(dir.filePath("elsewhere/deep/IMG_0001.JPG"));
    QFile content(package + "/content.json");
    ASSERT_TRUE(content.open(QIODevice::WriteOnly));
    // Keys in another order, spaces before colons, escaped slashes, unknown keys, an older
    // isMain flag, a log without offset or zone, and a missing second log.
    content.write(R"({
  "mediaGroups" : [ { "name" : "Onboard", "colour" : "blue" } ],
  "boats" : [ {
    "logAssets" : [ { "uuid" : "6F9619FF-8B86-D011-B42D-00C04FC964FF" },
                    { "uuid" : "00000000-0000-0000-0000-000000000001", "offset" : 3 } ],
    "isMain" : true,
    "boat" : { "gpsOffset" : 0.5, "boatLength" : 9, "displayMode" : "Other", "color" : "ff8000",
               "shortName" : "", "fullName" : "Old Boat" } } ],
  "assets" : [ { "kind" : "PhotoAsset", "mediaGroup" : "Onboard", "fileStartTime" : 707745600,
                 "url" : { "relative" : "file:\/\/\/Volumes\/Card\/DCIM\/IMG_0001.JPG" },
                 "pathRelativeToDocumentDir" : "..\/..\/Volumes\/Card\/DCIM\/IMG_0001.JPG",
                 "fileTimeZone" : { "identifier" : "Europe\/Berlin" }, "futureKey" : 1 } ],
  "version" : "1.0",
  "somethingNew" : { "nested" : true }
})");
    content.close();

    Opened opened = openPackage(package);
    ASSERT_TRUE(opened.document);
    const Document& d = *opened.document;
    ASSERT_EQ(d.boats().size(), 1u);
    EXPECT_EQ(d.boats()[0]->displayMode(), Boat::DisplayMode::Main);
    ASSERT_EQ(d.logAssets(d.boats()[0]).size(), 1u);
    EXPECT_EQ(d.logAssets(d.boats()[0])[0]->fileTimeZone(), TimeZone::utc());
    EXPECT_TRUE(opened.progress->lines.contains("Warning: no HDF5 data file found for boat Old Boat"));
    // Found by its name below the package's folder.
    ASSERT_EQ(d.assets().size(), 1u);
    EXPECT_EQ(d.assets()[0]->url().toLocalFile(), dir.filePath("elsewhere/deep/IMG_0001.JPG"));
    EXPECT_EQ(d.assets()[0]->fileTimeZone().identifier(), "Europe/Berlin");
    // Races absent, the current zone when none is stored, position at the derived start.
    EXPECT_TRUE(d.races().empty());
    EXPECT_EQ(d.eventPlaybackPosition(), d.eventStartTime());
}

TEST(DocumentPackage, OpeningErrorsAndSkippedLogs) {
    QTemporaryDir dir;
    EXPECT_EQ(openPackage(dir.filePath("none.wakeline")).error, DocumentLoadingError::missingMetadataFile);
    for (const char* text : {R"({"version": "1.1", "assets": []})", "{not json", R"({"version": "1.0"})",
                             R"({"version": "1.0", "assets": [], "races": [{"name": "x"}]})", "[]"}) {
        QDir().mkpath(dir.filePath("bad.wakeline"));
        QFile file(dir.filePath("bad.wakeline/content.json"));
        file.open(QIODevice::WriteOnly);
        file.write(text);
        file.close();
        EXPECT_EQ(openPackage(dir.filePath("bad.wakeline")).error,
                  DocumentLoadingError::metadataFileInvalidFormat)
            << text;
    }
    EXPECT_EQ(failureReason(DocumentLoadingError::metadataFileInvalidFormat),
              "The document format is invalid.");
    EXPECT_EQ(failureReason(DocumentLoadingError::missingMetadataFile),
              "The document information could not be loaded.");

    // Only a version and assets: an empty event.
    QDir().mkpath(dir.filePath("min.wakeline/BoatLogs"));
    QFile minimal(dir.filePath("min.wakeline/content.json"));
    minimal.open(QIODevice::WriteOnly);
    minimal.write(R"({"version": "1.0", "assets": []})");
    minimal.close();
    Opened empty = openPackage(dir.filePath("min.wakeline"));
    ASSERT_TRUE(empty.document);
    EXPECT_TRUE(empty.document->boats().empty());
    EXPECT_EQ(empty.document->eventTimezone(), TimeZone::current());
    EXPECT_FALSE(empty.document->eventPlaybackPosition());

    // A broken log file is skipped with a message; the document still opens.
    EventFixture f;
    {
        DiagnosticsCapture quiet;
        ASSERT_FALSE(DocumentPackageWriter::write(f.document, f.package));
    }
    QString logPath = f.package + "/BoatLogs/" + f.log->uuid().toString(QUuid::WithoutBraces) + ".hdf5";
    QFile::remove(logPath);
    QFile broken(logPath);
    broken.open(QIODevice::WriteOnly);
    broken.write("truncated");
    broken.close();
    Opened skipped = openPackage(f.package);
    ASSERT_TRUE(skipped.document);
    EXPECT_TRUE(skipped.document->allLogAssets().empty());
    ASSERT_EQ(skipped.progress->lines.size(), 1);
    EXPECT_TRUE(skipped.progress->lines[0].startsWith("Could not load data at " + logPath +
                                                      " for boat Stella, skipping: "))
        << qPrintable(skipped.progress->lines[0]);
    EXPECT_EQ(skipped.document->races().size(), 2u);
}

TEST(DocumentPackage, SavingNeverLosesThePreviousVersion) {
    EventFixture f;
    DiagnosticsCapture quiet;
    ASSERT_FALSE(DocumentPackageWriter::write(f.document, f.package));
    const QByteArray saved = contents(f.package + "/content.json");
    QString logPath = f.package + "/BoatLogs/" + f.log->uuid().toString(QUuid::WithoutBraces) + ".hdf5";
    EXPECT_EQ(f.log->url().toLocalFile(), logPath);
    const ino_t logInode = inode(logPath);

    f.document.races()[0]->setName("Race One");
    f.document.setEdited(true); // as the race editor does
    for (const QString& step :
         QStringList{"content.json", "swap", "BoatLogs/" + QFileInfo(logPath).fileName()}) {
        auto error =
            DocumentPackageWriter::write(f.document, f.package, [&](const QString& s) { return s == step; });
        ASSERT_TRUE(error) << step.toStdString();
        EXPECT_EQ(contents(f.package + "/content.json"), saved) << step.toStdString();
        EXPECT_TRUE(QFile::exists(logPath));
        EXPECT_FALSE(QFileInfo::exists(f.package + ".saving"));
        if (step.startsWith("BoatLogs")) {
            EXPECT_EQ(error->kind, DocumentSavingError::Kind::fileWrapperCreation);
            EXPECT_EQ(error->failureReason(), "The file wrapper for log file asset " +
                                                  f.log->uuid().toString(QUuid::WithoutBraces).toUpper() +
                                                  " could not be created.");
        } else {
            EXPECT_EQ(error->failureReason(), "The document information could not be generated.");
        }
    }

    EXPECT_TRUE(f.document.isEdited());
    // A save that was killed halfway leaves a staging folder; the next save clears it.
    QDir().mkpath(f.package + ".saving/BoatLogs");
    ASSERT_FALSE(DocumentPackageWriter::write(f.document, f.package));
    EXPECT_FALSE(f.document.isEdited());
    EXPECT_NE(contents(f.package + "/content.json"), saved);
    EXPECT_FALSE(QFileInfo::exists(f.package + ".saving"));
    // Saved in place, the log is the same file, not a copy.
    EXPECT_EQ(inode(logPath), logInode);

    // Something that is not a package is never replaced.
    QString notes = f.dir.filePath("notes.wakeline");
    touch(notes + "/readme.txt");
    EXPECT_TRUE(DocumentPackageWriter::write(f.document, notes));
    EXPECT_TRUE(QFile::exists(notes + "/readme.txt"));
}
