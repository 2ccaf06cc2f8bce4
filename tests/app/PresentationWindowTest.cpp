#include "app/AppDelegate.h"
#include "app/DocumentController.h"
#include "app/ShellFixture.h"
#include "app/WindowController.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "presentation/DocumentObservingViewController.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoPlaybackViewController.h"
#include "race/Race.h"
#include "timeline/TimelineViewController.h"

#include <QAction>
#include <QApplication>
#include <QTest>
#include <gtest/gtest.h>

namespace {

QStringList viewClasses(const PresentationWindowController& window) {
    QStringList names;
    for (auto* view : window.rootViews())
        names << view->metaObject()->className();
    return names;
}

struct Clean {
    Clean() {
        registerViewsOnce();
        for (const char* key : {"PresentationWindowState", "DocumentWindowState", "boatLength"})
            UserDefaults::standard().remove(key);
    }
};

} // namespace

TEST(AppDelegate, RegistersDefaultsWithoutOverwritingTheUsersValues) {
    Clean clean;
    UserDefaults::standard().setValue("boatLength", 9);
    AppDelegate::registerDefaults();
    auto& defaults = UserDefaults::standard();
    EXPECT_EQ(defaults.value("writeTimestampFrequency").toString(), "1.0");
    EXPECT_EQ(defaults.integerValue("boatLength"), 9);
    UserDefaults::standard().remove("boatLength");
    EXPECT_EQ(defaults.integerValue("boatLength"), 12);
    EXPECT_TRUE(defaults.boolValue("AssetShiftMoveVideo"));
    EXPECT_FALSE(defaults.boolValue("preferFileMtime"));
    // The track intervals are instants whose time of day is the interval: 5 minutes past.
    EXPECT_EQ(defaults.value("pastBoatTrackInterval").toDateTime().toUTC().time(), QTime(0, 5));
    EXPECT_EQ(defaults.value("pastAuxBoatTrackInterval").toDateTime().toUTC().time(), QTime(0, 1));
}

TEST(AppDelegate, SavesVisiblePresentationWindowsAndRestoresThemAtTheNextLaunch) {
    Clean clean;
    {
        AppDelegate delegate;
        delegate.applicationDidFinishLaunching(false);
        EXPECT_TRUE(delegate.presentationWindowControllers().empty());
        auto* shown = delegate.newPresentationWindow();
        auto* hidden = delegate.newPresentationWindow();
        shown->setLayout(PresentationLayout::mapTimeline);
        shown->applyLayout();
        hidden->hide();
        delegate.applicationWillTerminate();
    }
    QVariantList saved = UserDefaults::standard().value("PresentationWindowState").toList();
    ASSERT_EQ(saved.size(), 1);
    EXPECT_EQ(saved[0].toMap().value("layout").toString(), "mapTimeline");

    AppDelegate next;
    next.applicationDidFinishLaunching(false);
    ASSERT_EQ(next.presentationWindowControllers().size(), 1u);
    EXPECT_EQ(next.presentationWindowControllers()[0]->layout(), PresentationLayout::mapTimeline);

    // Anything but a list is ignored.
    UserDefaults::standard().setValue("PresentationWindowState", "garbage");
    AppDelegate third;
    third.applicationDidFinishLaunching(false);
    EXPECT_TRUE(third.presentationWindowControllers().empty());
}

TEST(PresentationWindow, RestoresLayoutsAndChoicesFromStateRecords) {
    Clean clean;
    Document document;
    auto boatGroup = std::make_shared<MediaGroup>("Boat");
    document.setMediaGroups({std::make_shared<MediaGroup>("Drone"), boatGroup});

    PresentationWindowController frameOnly;
    frameOnly.setCurrentDocument(&document);
    frameOnly.applyLayout();
    frameOnly.restoreState({{"frame", "40 60 900 600 0 0 1920 1080"}});
    EXPECT_EQ(frameOnly.geometry().size(), QSize(900, 600));
    EXPECT_EQ(frameOnly.layout(), PresentationLayout::videoMapTimeline);

    PresentationWindowController full;
    full.setCurrentDocument(&document);
    full.restoreState({{"layout", "videoMapTimeline"},
                       {"initialDisplayedMetrics", QStringList{"SOG", "TWS"}},
                       {"initialDisplayedMetricsBeforeGun", QStringList{"TimeToGun"}},
                       {"initialMediaGroup", "Boat"}});
    EXPECT_EQ(viewClasses(full), QStringList({"VideoPlaybackViewController", "RaceMapViewController",
                                              "TimelineViewController"}));
    EXPECT_EQ(full.displayedMetrics(), QStringList({"SOG", "TWS"}));
    EXPECT_EQ(full.displayedMetricsBeforeGun(), QStringList({"TimeToGun"}));
    ASSERT_NE(full.videoViewController(), nullptr);
    EXPECT_EQ(full.videoViewController()->mediaGroup(), boatGroup);
    EXPECT_FALSE(full.videoViewController()->muteAudio()); // absent reads as sound on

    // Each layout places its own views; a wrong type or an unknown layout changes nothing.
    full.restoreState({{"layout", "metrics"}, {"muteAudio", "yes"}});
    EXPECT_EQ(viewClasses(full), QStringList({"MetricsTableViewController"}));
    full.restoreState({{"layout", "sideBySide"}, {"initialDisplayedMetrics", 5}});
    EXPECT_EQ(full.layout(), PresentationLayout::metrics);
    EXPECT_EQ(full.displayedMetrics(), QStringList({"SOG", "TWS"}));
    full.restoreState({{"layout", "videoTimeline"}, {"muteAudio", true}});
    EXPECT_EQ(viewClasses(full), QStringList({"VideoPlaybackViewController", "TimelineViewController"}));
    EXPECT_TRUE(full.videoViewController()->muteAudio());

    // What a window writes, it restores.
    QVariantMap record = full.stateRecord();
    EXPECT_EQ(record.value("layout").toString(), "videoTimeline");
    PresentationWindowController copy;
    copy.setCurrentDocument(&document);
    copy.restoreState(record);
    EXPECT_EQ(copy.layout(), PresentationLayout::videoTimeline);
    EXPECT_EQ(copy.videoViewController()->mediaGroup(), boatGroup);
    EXPECT_TRUE(copy.videoViewController()->muteAudio());
}

TEST(PresentationWindow, EnablesAndRunsThePlaybackCommandsByTheDocumentsState) {
    Clean clean;
    PresentationWindowController window;
    window.applyLayout();
    window.show(); // the views listen to their document only while on screen
    auto enabled = [&](const char* identifier) {
        return window.validateMenuItem(window.playbackAction(identifier));
    };
    for (const QString& identifier : PresentationWindowController::playbackCommandIdentifiers())
        EXPECT_FALSE(window.validateMenuItem(window.playbackAction(identifier))) << qPrintable(identifier);

    // An empty document has nowhere to play or seek.
    Document document;
    window.setCurrentDocument(&document);
    EXPECT_FALSE(enabled("PlayPause"));
    EXPECT_FALSE(enabled("SeekForward1"));

    auto group = std::make_shared<MediaGroup>("Boat");
    document.setMediaGroups({group});
    window.restoreState({{"layout", "videoTimeline"}, {"initialMediaGroup", "Boat"}});
    for (double start : {100.0, 400.0})
        document.addAsset(std::make_shared<PhotoAsset>(QUrl::fromLocalFile("/nowhere/p.jpg"),
                                                       ShellFixture::at(start), 0, TimeZone::utc(), nullptr),
                          group);
    auto race = std::make_shared<Race>();
    race->setTime(ShellFixture::at(300));
    document.setRaces({race});
    QCoreApplication::processEvents();
    EXPECT_TRUE(enabled("PlayPause"));
    EXPECT_TRUE(enabled("SeekBack01"));

    // Seeks step from the position (or the event start) and pause.
    document.setPlaybackPosition(ShellFixture::at(250), true);
    document.play();
    window.seekMenuAction(window.playbackAction("SeekForward10"));
    EXPECT_FALSE(document.isPlaying());
    EXPECT_NEAR(*document.eventPlaybackPosition() - ShellFixture::at(260), 0, 1e-6);
    window.seekMenuAction(window.playbackAction("SeekBack01"));
    EXPECT_NEAR(*document.eventPlaybackPosition() - ShellFixture::at(259.9), 0, 1e-6);
    window.seekMenuAction(window.playbackAction("PlayPause"));
    EXPECT_TRUE(document.isPlaying());
    window.seekMenuAction(window.playbackAction("PlayPause"));
    EXPECT_FALSE(document.isPlaying());

    // Previous and next asset of the window's group, and nothing past either end.
    window.seekMenuAction(window.playbackAction("SeekNextAsset"));
    EXPECT_EQ(*document.eventPlaybackPosition(), ShellFixture::at(400));
    EXPECT_FALSE(enabled("SeekNextAsset"));
    EXPECT_TRUE(enabled("SeekPreviousAsset"));
    window.seekMenuAction(window.playbackAction("SeekPreviousAsset"));
    EXPECT_EQ(*document.eventPlaybackPosition(), ShellFixture::at(100));
    EXPECT_FALSE(enabled("SeekPreviousAsset"));

    // Focus needs a race chosen in the window's timeline.
    EXPECT_FALSE(enabled("FocusRace"));
    auto* timeline = window.rootView<TimelineViewController>();
    ASSERT_NE(timeline, nullptr);
    document.postRaceIndexSelected(1);
    EXPECT_TRUE(enabled("FocusRace"));
}

TEST(PresentationWindowDeathTest, StopsOnProgrammingErrors) {
    Clean clean;
    Document document;
    DocumentController documents;
    EXPECT_DEATH(
        {
            WindowController window(&document, documents);
            window.setCurrentDocument(nullptr);
        },
        "Should not be setting currentDocument here");
    EXPECT_DEATH(
        {
            PresentationWindowController window;
            QObject stranger;
            window.seekMenuAction(&stranger);
        },
        "Unhandled action from sender");
}
