#include "app/ProgressViewController.h"
#include "app/ProgressWindowController.h"
#include "core/UserDefaults.h"
#include "media/MediaFixtures.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "presentation/ExportFolder.h"
#include "presentation/MediaExporter.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

using Alert = std::pair<QString, QString>;

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Export : ::testing::Test {
    QTemporaryDir dir;
    QString exports = dir.filePath("Exports");
    MediaExporter exporter;
    std::vector<Alert> alerts;
    int asked = 0;
    TimeZone plusOne = *TimeZone::fromIdentifier("GMT+0100");

    void SetUp() override {
        UserDefaults::standard().remove(ExportFolder::defaultsKey);
        exporter.setAlertPresenter([this](const QString& title, const QString& text) {
            alerts.push_back({title, text});
        });
        exporter.exportFolder().setChooser([this](const QString&) {
            ++asked;
            return exports;
        });
    }

    std::shared_ptr<PhotoAsset> photo(const QString& name, Instant wallClock, const char* zone, double offset,
                                      const std::shared_ptr<MediaGroup>& group) {
        QString path = dir.filePath(name);
        MediaFixtures::writePhoto(path, {{"Exif.Photo.DateTimeOriginal", "2023:06:01 14:00:00"}});
        return std::make_shared<PhotoAsset>(QUrl::fromLocalFile(path), wallClock, offset,
                                            *TimeZone::fromIdentifier(zone), group);
    }
};

} // namespace

TEST(ExportFolder, IsAskedOnceThenRememberedAndAskedAgainOnlyWhenItCannotBeMade) {
    QTemporaryDir dir;
    UserDefaults::standard().remove(ExportFolder::defaultsKey);
    const QString suggestion = dir.filePath("Pictures/Wakeline");
    QString answer = dir.filePath("Chosen");
    QStringList suggested;
    auto chooser = [&](const QString& offered) {
        suggested << offered;
        return answer;
    };
    ExportFolder first(UserDefaults::standard(), suggestion);
    first.setChooser(chooser);
    EXPECT_EQ(first.folder(), answer);
    EXPECT_EQ(suggested, QStringList{suggestion});
    // The chooser opens inside the suggestion, so it exists by then.
    EXPECT_TRUE(QFileInfo(suggestion).isDir());
    EXPECT_TRUE(QFileInfo(answer).isDir());

    // Another window, another day: the remembered folder, unasked, made again if it was removed.
    ExportFolder later(UserDefaults::standard(), suggestion);
    later.setChooser(chooser);
    EXPECT_EQ(later.folder(), answer);
    ASSERT_TRUE(QDir(answer).removeRecursively());
    EXPECT_EQ(later.folder(), answer);
    EXPECT_TRUE(QFileInfo(answer).isDir());
    EXPECT_EQ(suggested.size(), 1);

    // A file where the folder was: it cannot be made, so the user picks again.
    ASSERT_TRUE(QDir(answer).removeRecursively());
    QFile blocker(answer);
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    answer = dir.filePath("Second");
    EXPECT_EQ(later.folder(), answer);
    EXPECT_EQ(suggested.size(), 2);
    EXPECT_EQ(later.rememberedFolder(), answer);

    // Choosing again starts at the current folder; cancelling keeps it.
    answer.clear();
    EXPECT_EQ(later.chooseAgain(), std::nullopt);
    EXPECT_EQ(suggested.last(), dir.filePath("Second"));
    EXPECT_EQ(later.rememberedFolder(), dir.filePath("Second"));
}

TEST_F(Export, ViewIsWrittenAsPngOfItsOwnSizeUnderItsTimeAndNeverOverAnotherFile) {
    const Instant time = Instant::fromUnix(1685622896.78); // 2023-06-01 12:34:56.78 UTC

    EXPECT_EQ(exporter.exportView(QImage(), time, plusOne), QString());
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0], Alert("Nothing to export",
                               "Seek to a point on the timeline where a photo or video is displayed."));
    EXPECT_EQ(asked, 0);

    // A video frame at the video's resolution, larger than any view would show it.
    QImage picture(1921, 1081, QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, qRgb(x % 256, y % 256, (x * y) % 256));

    const QString path = exporter.exportView(picture, time, plusOne);
    EXPECT_EQ(path, QDir(exports).filePath("2023-06-01_13-34-56-7.png"));
    QImage back(path);
    EXPECT_EQ(back.size(), picture.size());
    EXPECT_EQ(back.convertToFormat(QImage::Format_RGB32), picture);

    // The same instant again, with "… 2.png" taken by something else already.
    const QByteArray firstBytes = contents(path);
    ASSERT_TRUE(QDir(exports).mkdir("2023-06-01_13-34-56-7 2.png"));
    QImage other(40, 30, QImage::Format_RGB32);
    other.fill(Qt::red);
    EXPECT_EQ(exporter.exportView(other, time, plusOne),
              QDir(exports).filePath("2023-06-01_13-34-56-7 3.png"));
    EXPECT_EQ(contents(path), firstBytes);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(alerts.size(), 1u);

    // The remembered folder turned into a file, and the user picks a folder inside it: the
    // user learns where the write failed and why.
    ASSERT_TRUE(QDir(exports).removeRecursively());
    MediaFixtures::writeFile(exports, "not a folder");
    exporter.exportFolder().setChooser([&](const QString&) { return exports + "/inside"; });
    EXPECT_EQ(exporter.exportView(other, time, plusOne), QString());
    ASSERT_EQ(alerts.size(), 2u);
    EXPECT_EQ(alerts[1].first, "Could not export the picture");
    EXPECT_TRUE(alerts[1].second.contains(exports + "/inside/2023-06-01_13-34-56-7.png"))
        << alerts[1].second.toStdString();
}

TEST_F(Export, AllPhotosAreCopiedUnderTheirTimesAndOneThatCannotBeWrittenStopsNoOther) {
    auto deck = std::make_shared<MediaGroup>("Deck");
    auto drone = std::make_shared<MediaGroup>("Drone");
    const Instant noon = Instant::fromUnix(1685620800.0); // 2023-06-01 12:00:00 as a wall-clock reading
    std::vector<std::shared_ptr<MediaAsset>> assets{
        std::make_shared<VideoAsset>(QUrl::fromLocalFile(dir.filePath("clip.mp4")), noon, 60.0, 0.0,
                                     TimeZone::utc(), deck),
        photo("drone.jpg", noon, "UTC", 0.0, drone)};

    EXPECT_FALSE(exporter.exportAllPhotos(assets, deck, plusOne));
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0], Alert("No photos in selected media group",
                               "The media group Deck does not contain any photos. Select a different media "
                               "group. For video snapshots, export snapshots one by one."));
    EXPECT_EQ(asked, 0);

    // Read at 14:00 in Berlin (12:00 UTC), moved 3.45 s by the user: 13:00:03.4 in the event zone.
    assets.push_back(photo("a.jpg", noon + 2 * 3600, "Europe/Berlin", 3.45, deck));
    // The same instant from a second camera.
    assets.push_back(photo("b.jpg", noon + 3.45, "UTC", 0.0, deck));
    assets.push_back(photo("c.JPG", noon + 60, "UTC", 0.0, deck));
    assets.push_back(photo("d.jpg", noon + 120, "UTC", 0.0, deck));
    assets.push_back(photo("e.jpg", noon + 180, "UTC", 0.0, deck));
    ASSERT_TRUE(QDir().mkpath(QDir(exports).filePath("2023-06-01_13-02-00-0.jpg"))); // d's name
    MediaFixtures::writeFile(QDir(exports).filePath("2023-06-01_13-03-00-0.jpg"), "an earlier export of e");

    QSignalSpy finished(&exporter, &MediaExporter::photoExportFinished);
    ASSERT_TRUE(exporter.exportAllPhotos(assets, deck, plusOne));
    ProgressWindowController* progress = exporter.progressWindow();
    ASSERT_NE(progress, nullptr);
    EXPECT_TRUE(progress->isVisible());
    EXPECT_TRUE(progress->contentViewController()->cancelButton()->isVisible());
    ASSERT_TRUE(finished.wait(20000));
    EXPECT_EQ(finished[0], QVariantList({4, 1, false}));

    const QDir out(exports);
    const std::vector<std::pair<QString, QString>> copies{{"a.jpg", "2023-06-01_13-00-03-4.jpg"},
                                                          {"b.jpg", "2023-06-01_13-00-03-4 2.jpg"},
                                                          {"c.JPG", "2023-06-01_13-01-00-0.JPG"},
                                                          {"e.jpg", "2023-06-01_13-03-00-0.jpg"}};
    for (const auto& [source, target] : copies) {
        // Byte for byte: the EXIF of the original comes along.
        EXPECT_EQ(contents(out.filePath(target)), contents(dir.filePath(source))) << target.toStdString();
    }
    EXPECT_EQ(out.entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot).size(), 5);

    // The window stays with the warning until dismissed.
    ASSERT_TRUE(progress);
    EXPECT_TRUE(progress->isVisible());
    const QString log = progress->contentViewController()->logTextView()->toPlainText();
    EXPECT_TRUE(
        log.contains("Warning: could not write photo to " + out.filePath("2023-06-01_13-02-00-0.jpg") + "\n"))
        << log.toStdString();
    EXPECT_TRUE(
        progress->contentViewController()->descriptionLabel()->text().startsWith("Exporting photos..."));
    QProgressBar* bar = progress->contentViewController()->progressIndicator();
    EXPECT_EQ(bar->value(), bar->maximum());
    EXPECT_GT(bar->maximum(), 0);
}

TEST_F(Export, CancelStopsAfterTheCurrentPhotoAndKeepsWhatWasWritten) {
    auto deck = std::make_shared<MediaGroup>("Deck");
    const Instant noon = Instant::fromUnix(1685620800.0);
    std::vector<std::shared_ptr<MediaAsset>> assets;
    for (int i = 0; i < 4; ++i)
        assets.push_back(photo(QString("p%1.jpg").arg(i), noon + i, "UTC", 0.0, deck));

    QSignalSpy finished(&exporter, &MediaExporter::photoExportFinished);
    int written = 0;
    QObject::connect(&exporter, &MediaExporter::photoWritten, [&] {
        if (++written == 1)
            exporter.progressWindow()->contentViewController()->cancelButton()->click();
    });
    ASSERT_TRUE(exporter.exportAllPhotos(assets, deck, TimeZone::utc()));
    ASSERT_TRUE(finished.wait(20000));
    EXPECT_EQ(finished[0], QVariantList({1, 0, true}));
    EXPECT_EQ(QDir(exports).entryList(QDir::Files), QStringList{"2023-06-01_12-00-00-0.jpg"});
    ProgressWindowController* progress = exporter.progressWindow();
    ASSERT_NE(progress, nullptr);
    EXPECT_TRUE(progress->isVisible());
    EXPECT_TRUE(progress->contentViewController()->logTextView()->toPlainText().contains("Export cancelled"));

    // A later export starts afresh.
    EXPECT_TRUE(exporter.exportAllPhotos(assets, deck, TimeZone::utc()));
    ASSERT_TRUE(finished.wait(20000));
    EXPECT_EQ(finished[1], QVariantList({4, 0, false}));
    EXPECT_EQ(QDir(exports).entryList(QDir::Files).size(), 4);
}
