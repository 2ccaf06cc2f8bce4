#include "document/Document.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoPlaybackViewController.h"

#include <QFile>
#include <QImage>
#include <QLabel>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <deque>
#include <gtest/gtest.h>

namespace {

const Instant t0 = Instant::fromUnix(1686052800.0);

// Decoding work held back until the test runs it, so results can arrive late on purpose.
struct HeldWork {
    std::deque<std::function<void()>> jobs;
    VideoPlaybackViewController::Executor executor() {
        return [this](std::function<void()> job) { jobs.push_back(std::move(job)); };
    }
    void runFirst() {
        auto job = std::move(jobs.front());
        jobs.pop_front();
        job();
        QCoreApplication::processEvents();
    }
};

struct VideoPlayback : ::testing::Test {
    QTemporaryDir dir;
    Document document;
    PresentationWindowController window;
    VideoPlaybackViewController view;
    std::shared_ptr<MediaGroup> deck = std::make_shared<MediaGroup>("Deck");
    std::shared_ptr<MediaGroup> drone = std::make_shared<MediaGroup>("Drone");

    void SetUp() override {
        document.setMediaGroups({deck, drone});
        window.setCurrentDocument(&document);
        view.setWindowController(&window);
        view.resize(640, 360);
        view.show();
        ASSERT_TRUE(view.isObserving());
    }

    QString makePhoto(const QString& name, QSize size, QColor color) {
        QImage image(size, QImage::Format_RGB32);
        image.fill(color);
        QString path = dir.filePath(name);
        EXPECT_TRUE(image.save(path, "JPG"));
        return path;
    }

    std::shared_ptr<PhotoAsset> addPhoto(const QString& path, Instant time,
                                         const std::shared_ptr<MediaGroup>& group) {
        auto photo =
            std::make_shared<PhotoAsset>(QUrl::fromLocalFile(path), time, 0.0, TimeZone::utc(), group);
        document.addAsset(photo, group);
        return photo;
    }

    void seek(double seconds) { document.setPlaybackPosition(t0 + seconds, true); }

    bool showsMessage(const QString& text) const {
        return view.noContentInfoLabel()->isVisible() && view.noContentInfoLabel()->text() == text;
    }
};

bool isMostly(const QImage& image, QColor color) {
    QColor centre = image.pixelColor(image.width() / 2, image.height() / 2);
    return std::abs(centre.red() - color.red()) < 16 && std::abs(centre.green() - color.green()) < 16 &&
           std::abs(centre.blue() - color.blue()) < 16;
}

} // namespace

TEST_F(VideoPlayback, SaysWhetherTheGroupHasNoAssetsOrNoneHere) {
    EXPECT_TRUE(showsMessage(VideoPlaybackViewController::noAssetsText));
    EXPECT_EQ(VideoPlaybackViewController::noAssetsText,
              "No video or photo content available.\nAdd assets in the assets panel.");

    // Without a group of its own the view shows the document's first.
    EXPECT_EQ(view.mediaGroup(), deck);
    addPhoto(makePhoto("drone.jpg", {32, 32}, Qt::green), t0, drone);
    seek(0);
    EXPECT_TRUE(showsMessage(VideoPlaybackViewController::noAssetsText));

    view.setMediaGroup(drone);
    seek(30);
    EXPECT_FALSE(view.currentAsset());
    EXPECT_TRUE(showsMessage(VideoPlaybackViewController::nothingVisibleText));
    EXPECT_EQ(VideoPlaybackViewController::nothingVisibleText,
              "No video or photo content at the current playback position.\nSelect another playback position "
              "in the timeline, or change this window's media group.");
}

TEST_F(VideoPlayback, ShowsThePhotoOfThePositionAndOfTheGroup) {
    auto red = addPhoto(makePhoto("red.jpg", {64, 48}, Qt::red), t0, deck);
    auto blue = addPhoto(makePhoto("blue.jpg", {48, 64}, Qt::blue), t0 + 60, deck);
    auto green = addPhoto(makePhoto("green.jpg", {40, 40}, Qt::green), t0 + 61, drone);
    QSignalSpy shown(&view, &VideoPlaybackViewController::photoShown);

    // Decoded on the thread pool, shown on the main thread.
    seek(1);
    EXPECT_EQ(view.currentAsset(), red);
    ASSERT_TRUE(shown.wait());
    EXPECT_EQ(view.displayedImage().size(), QSize(64, 48));
    EXPECT_TRUE(isMostly(view.displayedImage(), Qt::red));
    EXPECT_TRUE(view.imageView()->isVisible());
    EXPECT_FALSE(view.noContentInfoLabel()->isVisible());
    // Scaled to fit the view, keeping its shape.
    QPixmap onScreen = view.imageView()->pixmap();
    EXPECT_EQ(onScreen.size(), QSize(64, 48).scaled(view.imageView()->size(), Qt::KeepAspectRatio));

    seek(59);
    EXPECT_EQ(view.currentAsset(), blue);
    EXPECT_TRUE(view.displayedImage().isNull()); // the red photo is gone at once
    ASSERT_TRUE(shown.wait());
    EXPECT_EQ(view.displayedImage().size(), QSize(48, 64));
    EXPECT_TRUE(isMostly(view.displayedImage(), Qt::blue));

    // Another group at the same position.
    QSignalSpy changed(&view, &VideoPlaybackViewController::currentAssetChanged);
    view.setMediaGroup(drone);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(view.currentAsset(), green);
    ASSERT_TRUE(shown.wait());
    EXPECT_TRUE(isMostly(view.displayedImage(), Qt::green));

    // Ticks within one photo's time change nothing.
    seek(62);
    EXPECT_EQ(changed.count(), 1);
}

TEST_F(VideoPlayback, DropsPhotosThatArriveAfterTheChoiceMovedOn) {
    HeldWork work;
    view.setPhotoDecodingExecutor(work.executor());
    addPhoto(makePhoto("red.jpg", {64, 48}, Qt::red), t0, deck);
    auto blue = addPhoto(makePhoto("blue.jpg", {48, 64}, Qt::blue), t0 + 60, deck);

    seek(1);
    seek(59);
    ASSERT_EQ(work.jobs.size(), 2u);
    // The red photo finishes first, after the blue one was chosen: it must not show.
    work.runFirst();
    EXPECT_EQ(view.currentAsset(), blue);
    EXPECT_TRUE(view.displayedImage().isNull());
    work.runFirst();
    EXPECT_TRUE(isMostly(view.displayedImage(), Qt::blue));

    // Back to red, then away from every photo before it is decoded.
    seek(1);
    seek(30);
    work.runFirst();
    EXPECT_TRUE(view.displayedImage().isNull());
    EXPECT_TRUE(showsMessage(VideoPlaybackViewController::nothingVisibleText));
    EXPECT_FALSE(view.imageView()->isVisible());
}

TEST_F(VideoPlayback, TurnsPhotosAsTheCameraSays) {
    QString path = makePhoto("portrait.jpg", {64, 48}, Qt::red);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QByteArray jpeg = file.readAll();
    file.close();
    // An EXIF segment whose one tag, Orientation 6, says: turn 90° clockwise to view.
    const char exif[] = "\xFF\xE1\x00\x22"
                        "Exif\0\0"
                        "MM\x00\x2A\x00\x00\x00\x08"
                        "\x00\x01"
                        "\x01\x12\x00\x03\x00\x00\x00\x01\x00\x06\x00\x00"
                        "\x00\x00\x00\x00";
    jpeg.insert(2, QByteArray(exif, sizeof exif - 1));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(jpeg);
    file.close();

    HeldWork work;
    view.setPhotoDecodingExecutor(work.executor());
    addPhoto(path, t0, deck);
    seek(0);
    work.runFirst();
    EXPECT_EQ(view.displayedImage().size(), QSize(48, 64));
}

TEST_F(VideoPlayback, AnUnreadablePhotoShowsAMessage) {
    HeldWork work;
    view.setPhotoDecodingExecutor(work.executor());
    QString path = dir.filePath("broken.jpg");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("not a photo at all");
    file.close();
    addPhoto(path, t0, deck);

    seek(0);
    work.runFirst();
    EXPECT_TRUE(view.displayedImage().isNull());
    EXPECT_TRUE(view.noContentInfoLabel()->isVisible());
    EXPECT_TRUE(view.noContentInfoLabel()->text().contains("broken.jpg"));
}
