#include "app/StandardViews.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "media/MediaGroup.h"
#include "media/VideoAsset.h"
#include "media/VideoFixtures.h"
#include "presentation/AssetShiftViewController.h"
#include "presentation/ExportFolder.h"
#include "presentation/MediaCommands.h"
#include "presentation/MediaExporter.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoFrameView.h"
#include "presentation/VideoPlaybackViewController.h"
#include "presentation/VideoSound.h"

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>

using namespace VideoFixtures;

namespace {

constexpr int patience = 20000; // ms; a wait that runs out is a failure, not a measurement
const Instant t0 = Instant::fromUnix(1686052800.0);
const Instant videoStart = t0 + 100.0;

struct VideoView : ::testing::Test {
    Document document;
    PresentationWindowController window;
    std::shared_ptr<MediaGroup> deck = std::make_shared<MediaGroup>("Deck");
    VideoPlaybackViewController* view = nullptr;
    std::vector<std::pair<QString, QString>> alerts;

    void SetUp() override {
        StandardViews::registerAll();
        // Each test chooses its own export folder.
        UserDefaults::standard().remove(ExportFolder::defaultsKey);
        document.setMediaGroups({deck});
        window.setLayout(PresentationLayout::video);
        window.setCurrentDocument(&document);
        window.applyLayout();
        window.resize(640, 480);
        window.show();
        view = window.videoViewController();
        ASSERT_TRUE(view);
        view->setAlertPresenter([this](const QString& message, const QString& informative) {
            alerts.emplace_back(message, informative);
        });
    }

    std::shared_ptr<VideoAsset> addVideo(const QString& path, double duration = 4.0) {
        auto video = std::make_shared<VideoAsset>(QUrl::fromLocalFile(path), videoStart, duration, 0.0,
                                                  TimeZone::utc(), deck);
        document.addAsset(video, deck);
        return video;
    }

    // The frame index on screen once the view has the frame of the position.
    int settledIndex() {
        EXPECT_TRUE(QTest::qWaitFor([&] { return view->isSettled(); }, patience));
        return shownIndex(view->videoPlayer()->frame());
    }

    void seek(double secondsIntoVideo) { document.setPlaybackPosition(videoStart + secondsIntoVideo, true); }

    void command(const char* identifier) { window.mediaCommands()->action(identifier)->trigger(); }
};

} // namespace

TEST_F(VideoView, ShowsTheExactFrameOfThePositionAfterSeeksAndSteps) {
    addVideo(videos().h264);
    seek(1.02);
    EXPECT_EQ(settledIndex(), 25);
    seek(2.5);
    EXPECT_EQ(settledIndex(), 62);
    seek(0.3); // back past a keyframe
    EXPECT_EQ(settledIndex(), 7);
    seek(1.999); // the last instant of frame 49
    EXPECT_EQ(settledIndex(), 49);
    // Positions on the very start of each frame, reached by adding frames as the clock does: the
    // frame of that start shows.
    Instant position = videoStart + 1.0;
    for (int i = 25; i < 50; ++i, position += 0.04) {
        document.setPlaybackPosition(position, true);
        EXPECT_EQ(settledIndex(), i);
    }
    seek(1.999);

    command("NextFrame");
    EXPECT_EQ(settledIndex(), 50);
    command("PreviousFrame");
    command("PreviousFrame");
    EXPECT_EQ(settledIndex(), 48);
    for (int i = 0; i < 12; ++i) // held down, across a keyframe
        command("PreviousFrame");
    EXPECT_EQ(settledIndex(), 36);
    EXPECT_FALSE(document.isPlaying());

    // The picture an export writes is the exact frame at the video's own size.
    QImage picture = view->currentPicture();
    EXPECT_EQ(picture.size(), QSize(320, 240));
    EXPECT_EQ(picture.pixel(40, 30), view->videoPlayer()->frame().pixel(40, 30));

    // Playing, the frames follow the clock; after a pause a step back is one frame.
    document.play();
    QTest::qWait(600);
    // The sound plays along (silently on a machine without a device); the window's mute reaches it.
    ASSERT_TRUE(view->sound());
    command("MuteAudio");
    EXPECT_TRUE(view->muteAudio());
    EXPECT_TRUE(view->sound()->isMuted());
    window.validatePlaybackActions();
    EXPECT_TRUE(window.mediaCommands()->action("MuteAudio")->isChecked());
    EXPECT_TRUE(window.stateRecord().value("muteAudio").toBool());
    command("MuteAudio");
    EXPECT_FALSE(view->sound()->isMuted());
    document.pause();
    const int played = settledIndex();
    EXPECT_GT(played, 40);
    command("PreviousFrame");
    EXPECT_EQ(settledIndex(), played - 1);

    // Before the video starts the clock shows something else; a frame step then moves 0.04 s.
    seek(-10);
    EXPECT_FALSE(view->currentAsset());
    command("NextFrame");
    EXPECT_NEAR(*document.eventPlaybackPosition() - videoStart, -10 + MediaCommands::defaultFrameStep, 1e-6);
}

TEST_F(VideoView, AVideoThatCannotBePlayedSaysWhy) {
    for (const QString& path :
         {QStringLiteral("/nonexistent/GX010042.MP4"), videos().unknownCodec, videos().text}) {
        while (!document.assets().empty())
            document.removeAsset(document.assets().front());
        addVideo(path);
        seek(1.0);
        ASSERT_TRUE(QTest::qWaitFor([&] { return view->isSettled(); }, patience)) << path.toStdString();
        EXPECT_FALSE(view->videoFailure().isEmpty()) << path.toStdString();
        EXPECT_TRUE(view->noContentInfoLabel()->isVisible());
        EXPECT_TRUE(
            view->noContentInfoLabel()->text().startsWith(VideoPlaybackViewController::cannotPlayPrefix));
        EXPECT_FALSE(view->videoPlayer()->isVisible());
        EXPECT_TRUE(view->currentPicture().isNull());
        // The clock carries on: a frame step is a tick's worth.
        command("NextFrame");
        EXPECT_NEAR(*document.eventPlaybackPosition() - videoStart, 1.04, 1e-6);
    }
}

TEST_F(VideoView, ShiftPanelAndKeysMoveTheAssetAgainstTheData) {
    UserDefaults::standard().remove("AssetShiftApplyToAllAssetsInGroup");
    UserDefaults::standard().remove("AssetShiftMoveVideo");
    // Nothing displayed: an alert and no panel.
    view->toggleAssetShift();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].first, "No asset displayed");
    EXPECT_EQ(alerts[0].second,
              "There is no asset visible in this window. Please seek to a different playpack "
              "position or adjust this window's media group settings.");
    EXPECT_FALSE(view->shiftAssetPopover());

    auto video = addVideo(videos().h264);
    seek(1.02);
    EXPECT_EQ(settledIndex(), 25);
    document.setEdited(false);
    view->toggleAssetShift();
    AssetShiftViewController* panel = view->shiftAssetPopover();
    ASSERT_TRUE(panel);
    EXPECT_TRUE(panel->isVisible());
    // Wider than the view, it still lies whole on the screen.
    const QRect screen = window.screen()->availableGeometry();
    EXPECT_TRUE(screen.contains(panel->frameGeometry())) << panel->frameGeometry().x();
    EXPECT_EQ(panel->assetOffsetString(), "0.000");
    EXPECT_EQ(panel->assetMediaGroupName(), "Deck");
    EXPECT_EQ(panel->eventPlaybackPositionString(), "12:01:41.0");
    QStringList titles;
    for (auto* button : panel->shiftButtons())
        titles << button->text();
    EXPECT_EQ(titles,
              QStringList({"−10 s", "−1 s", "−0.1 s", "−1 frame", "+1 frame", "+0.1 s", "+1 s", "+10 s"}));
    EXPECT_EQ(panel->shiftButtons()[4]->property("tag").toInt(), 40);

    // The position moves along: the same frame stays on screen while the data moves.
    panel->shiftButtons()[5]->click();
    EXPECT_EQ(panel->assetOffsetString(), "0.100");
    EXPECT_EQ(panel->findChild<QLabel*>("assetOffset")->text(), "0.100");
    EXPECT_NEAR(*document.eventPlaybackPosition() - t0, 101.12, 1e-6);
    EXPECT_EQ(settledIndex(), 25);
    EXPECT_TRUE(document.isEdited());

    // Moving the picture instead: the position stays, the frame changes.
    panel->moveVideoBox()->setChecked(true);
    EXPECT_TRUE(UserDefaults::standard().boolValue("AssetShiftMoveVideo"));
    panel->shiftButtons()[3]->click(); // one frame earlier: the frame after comes into the position
    EXPECT_NEAR(video->offset(), 0.06, 1e-9);
    EXPECT_NEAR(*document.eventPlaybackPosition() - t0, 101.12, 1e-6);
    EXPECT_EQ(settledIndex(), 26);
    view->toggleAssetShift();
    EXPECT_FALSE(view->shiftAssetPopover());

    // The keys, without the panel: Alt+. one frame later, Alt+Shift+, a tenth earlier.
    QTest::keyClick(&window, Qt::Key_Period, Qt::AltModifier);
    EXPECT_NEAR(video->offset(), 0.1, 1e-9);
    QTest::keyClick(&window, Qt::Key_Comma, Qt::AltModifier | Qt::ShiftModifier);
    EXPECT_NEAR(video->offset(), 0.0, 1e-9);
    UserDefaults::standard().remove("AssetShiftMoveVideo");
}

TEST_F(VideoView, SnapshotIsTheExactFrameAtTheVideosOwnSize) {
    QTemporaryDir folder;
    int asked = 0;
    view->exporter()->exportFolder().setChooser([&](const QString&) {
        ++asked;
        return folder.path();
    });
    command("ExportView");
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].first, "Nothing to export");

    addVideo(videos().h264);
    seek(2.5);
    EXPECT_EQ(settledIndex(), 62);
    command("ExportView");
    // 12:01:42.5 in the event zone (UTC here).
    QImage written(folder.filePath("2023-06-06_12-01-42-5.png"));
    ASSERT_FALSE(written.isNull());
    EXPECT_EQ(written.size(), QSize(320, 240));
    EXPECT_EQ(written.pixel(40, 30), view->videoPlayer()->frame().pixel(40, 30));
    EXPECT_EQ(written.pixel(280, 210), view->videoPlayer()->frame().pixel(280, 210));
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(alerts.size(), 1u);
}

TEST_F(VideoView, AHeavyVideoPlaysFromAProxyOnceItIsMadeAtTheSameFrames) {
    UserDefaults::standard().setValue("videoProxies", "always");
    auto video = addVideo(videos().h264);
    seek(1.02);
    EXPECT_EQ(settledIndex(), 25);
    EXPECT_EQ(view->playbackPath(), videos().h264);
    // The copy is made in the background; the view moves over to it and keeps the exact frame.
    ASSERT_TRUE(QTest::qWaitFor([&] { return view->playbackPath() != videos().h264; }, 60000));
    EXPECT_TRUE(view->playbackPath().contains("/Wakeline/proxies/"));
    EXPECT_EQ(settledIndex(), 25);
    seek(3.32);
    EXPECT_EQ(settledIndex(), 83);

    QTemporaryDir folder;
    view->exporter()->exportFolder().setChooser([&](const QString&) { return folder.path(); });
    command("ExportView");
    const QString written = folder.filePath("2023-06-06_12-01-43-3.png");
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFile::exists(written); }, patience));
    QImage still(written);
    EXPECT_EQ(still.size(), QSize(320, 240));
    UserDefaults::standard().remove("videoProxies");
}
