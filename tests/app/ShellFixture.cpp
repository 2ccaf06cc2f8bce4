#include "app/ShellFixture.h"

#include "app/StandardViews.h"
#include "boatlog/LogFileAsset.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "document/DocumentPackageWriter.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QDir>
#include <QImage>
#include <QSignalSpy>
#include <QUuid>
#include <cmath>
#include <gtest/gtest.h>

ShellFixture::ShellFixture(const QString& video) {
    DiagnosticsCapture quiet;
    LogFixture log;
    log.columns = {"Lat", "Lon", "Heading", "BoatSpeed", "TWD", "TWS", "TWA"};
    for (int i = 0; i < 600; ++i) {
        double heading = i < 300 ? 200.0 : 280.0;
        log.times.push_back(t0 + i);
        for (double value : {54.45 + i * 1e-5, 10.25 - i * 1e-5, heading, 6.5, 240.0, 12.0, 240.0 - heading})
            log.values.push_back(value);
    }
    QDir().mkpath(dir.filePath("import"));
    EXPECT_TRUE(log.write(dir.filePath("import/log.hdf5")));

    Document document;
    auto boat = Boat::create("Stella Maris", "GER 7", {0.1, 0.4, 0.8}, Boat::DisplayMode::Main);
    document.setBoats({boat});
    document.addLogAsset(boat, LogFileAsset::open(dir.filePath("import/log.hdf5"), boat, QUuid::createUuid(),
                                                  0, TimeZone::utc()));
    auto race = std::make_shared<Race>();
    race->setName("Race 1");
    race->setTime(at(120));
    race->setFinishTime(at(540));
    document.setRaces({race});
    auto onboard = std::make_shared<MediaGroup>("Boat");
    document.setMediaGroups({onboard, std::make_shared<MediaGroup>("Drone")});
    QImage photo(320, 200, QImage::Format_RGB32);
    photo.fill(QColor(200, 120, 40));
    EXPECT_TRUE(photo.save(dir.filePath("photo.jpg")));
    document.addAsset(std::make_shared<PhotoAsset>(QUrl::fromLocalFile(dir.filePath("photo.jpg")),
                                                   Instant::fromUnix(t0 + 200), 0, TimeZone::utc(), nullptr),
                      onboard);
    if (!video.isEmpty())
        document.addAsset(std::make_shared<VideoAsset>(QUrl::fromLocalFile(video), at(videoStart), 4.0, 0.0,
                                                       TimeZone::utc(), onboard),
                          onboard);
    EXPECT_FALSE(DocumentPackageWriter::write(document, package));
}

QString ShellFixture::logPath() const {
    const QStringList logs = QDir(package + "/BoatLogs").entryList({"*.hdf5"});
    return logs.isEmpty() ? QString() : package + "/BoatLogs/" + logs.first();
}

DocumentHarness::DocumentHarness() {
    registerViewsOnce();
    UserDefaults::standard().remove("DocumentWindowState");
    DocumentController::clearRecentDocuments();
    AppDelegate::registerDefaults();
    documents.setErrorPresenter(
        [this](const QString& message, const QString& info) { errors << message + " " + info; });
    documents.setSaveChangesQuestion([this](Document&) {
        ++questions;
        auto answer = answers.empty() ? DocumentController::SaveChangesAnswer::cancel : answers.front();
        if (!answers.empty())
            answers.erase(answers.begin());
        return answer;
    });
    documents.setSaveLocationQuestion([this](Document&) { return saveLocation; });
}

Document* DocumentHarness::open(const QString& path) {
    QSignalSpy opened(&documents, &DocumentController::documentOpened);
    Document* document = documents.openDocument(path);
    if (document && !opened.wait(10000))
        ADD_FAILURE() << "the document did not finish opening";
    return document;
}

void registerViewsOnce() {
    static bool registered = false;
    if (!registered)
        StandardViews::registerAll();
    registered = true;
}
