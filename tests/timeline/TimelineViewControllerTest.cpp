#include "timeline/TimelineViewController.h"

#include "core/UserDefaults.h"
#include "document/Document.h"
#include "presentation/PresentationWindowController.h"
#include "race/Race.h"
#include "timeline/TimelineView.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QTest>
#include <QToolButton>
#include <gtest/gtest.h>

namespace {

const Instant gun1 = Instant::fromUnix(1'686'052'800);
const Instant gun2 = gun1 + 7200.0;

std::shared_ptr<Race> race(const QString& name, Instant gun, std::optional<Instant> finish) {
    auto r = std::make_shared<Race>();
    r->setName(name);
    r->setTime(gun);
    r->setFinishTime(finish);
    return r;
}

struct CountingWindow : PresentationWindowController {
    int addAssetsCount = 0;
    void addAssets() override { ++addAssetsCount; }
};

// A timeline in its own window, on screen, showing the window's document.
struct Timeline {
    CountingWindow window;
    TimelineViewController controller;

    explicit Timeline(Document* document) {
        window.setCurrentDocument(document);
        controller.setWindowController(&window);
        controller.resize(900, 130);
        controller.show();
    }

    QStringList items() const {
        QStringList titles;
        for (int i = 0; i < controller.raceSelector()->count(); ++i)
            titles << controller.raceSelector()->itemText(i);
        return titles;
    }
    int selected() const { return controller.raceSelector()->currentIndex(); }
    // As the user does it: the selector's own action.
    void choose(int index) {
        controller.raceSelector()->setCurrentIndex(index);
        emit controller.raceSelector()->activated(index);
    }
    std::optional<std::pair<Instant, Instant>> shown() const {
        return std::pair{controller.timelineView()->startTime(), controller.timelineView()->endTime()};
    }
};

struct TwoDocuments {
    Document a;
    Document b;
    std::shared_ptr<Race> windward = race("Windward 1", gun1, gun1 + 1800.0);
    std::shared_ptr<Race> unnamed = race("", gun2, std::nullopt);

    TwoDocuments() {
        UserDefaults::standard().setValue("writeTimestampMode", 0);
        a.setEventTimezone(TimeZone::utc());
        b.setEventTimezone(TimeZone::utc());
        a.setRaces({windward, unnamed});
        b.setRaces({race("Practice Start 1", gun1 + 600.0, gun1 + 900.0)});
        QCoreApplication::processEvents();
    }
};

} // namespace

TEST(TimelineViewController, RaceSelectorFollowsTheRacesOfItsDocument) {
    TwoDocuments d;
    Timeline t(&d.a);
    EXPECT_EQ(t.items(), (QStringList{"Whole Event", "Windward 1", "Race 2"}));
    EXPECT_EQ(t.selected(), 0);
    EXPECT_FALSE(t.controller.selectedRace());
    EXPECT_EQ(t.controller.focusedRange(), (std::pair{gun1 - 600.0, gun2 + 3600.0 + 600.0}));
    EXPECT_EQ(t.shown(), t.controller.focusedRange());

    // The chosen race stays chosen while the list around it changes, by identity.
    t.choose(2);
    EXPECT_EQ(t.controller.selectedRace(), d.unnamed);
    auto final = race("Final", gun2 + 7200.0, std::nullopt);
    d.a.setRaces({d.unnamed, final});
    QCoreApplication::processEvents();
    EXPECT_EQ(t.items(), (QStringList{"Whole Event", "Race 1", "Final"}));
    EXPECT_EQ(t.selected(), 1);
    EXPECT_EQ(t.controller.selectedRace(), d.unnamed);

    // A renamed race is renamed in the selector; a moved one moves the focus.
    final->setName("Medal Race");
    EXPECT_EQ(t.items().last(), "Medal Race");
    d.unnamed->setTime(gun2 + 60.0);
    EXPECT_EQ(t.shown(), (std::pair{gun2 + 60.0 - 600.0, gun2 + 60.0 + 3600.0 + 60.0}));

    // When the chosen race goes, the whole event is shown.
    d.a.setRaces({final});
    QCoreApplication::processEvents();
    EXPECT_EQ(t.selected(), 0);
    EXPECT_FALSE(t.controller.selectedRace());
    EXPECT_EQ(t.shown(), t.controller.focusedRange());

    // The window's document changes: its races, and no race of the old document stays chosen.
    t.choose(1);
    t.window.setCurrentDocument(&d.b);
    EXPECT_EQ(t.items(), (QStringList{"Whole Event", "Practice Start 1"}));
    EXPECT_EQ(t.selected(), 0);
}

TEST(TimelineViewController, ChoosingARaceFocusesEveryWindowOfThatDocumentOnly) {
    TwoDocuments d;
    Timeline first(&d.a);
    Timeline second(&d.a);
    Timeline other(&d.b);
    auto otherRange = other.controller.focusedRange();

    first.choose(1);
    // 600 s before the gun to 60 s after the finish, the playback at the start sequence.
    const std::pair focus{gun1 - 600.0, gun1 + 1800.0 + 60.0};
    for (Timeline* t : {&first, &second}) {
        EXPECT_EQ(t->selected(), 1);
        EXPECT_EQ(t->controller.selectedRace(), d.windward);
        EXPECT_EQ(t->controller.focusedRange(), focus);
        EXPECT_EQ(t->shown(), focus);
        EXPECT_EQ(t->controller.timelineView()->playbackTime(), gun1 - 300.0);
    }
    EXPECT_EQ(d.a.eventPlaybackPosition(), gun1 - 300.0);
    EXPECT_EQ(other.selected(), 0);
    EXPECT_EQ(other.controller.focusedRange(), otherRange);
    EXPECT_FALSE(d.b.eventPlaybackPosition());

    // An index at or beyond the items, or below them, changes nothing.
    for (int index : {3, 17, -1}) {
        d.a.postRaceIndexSelected(index);
        EXPECT_EQ(first.selected(), 1) << index;
        EXPECT_EQ(second.shown(), focus) << index;
    }

    // The whole event, chosen in the other window, leaves the playback where it is.
    second.choose(0);
    EXPECT_EQ(first.selected(), 0);
    EXPECT_FALSE(first.controller.selectedRace());
    EXPECT_EQ(first.shown(), (std::pair{gun1 - 600.0, gun2 + 3600.0 + 600.0}));
    EXPECT_EQ(d.a.eventPlaybackPosition(), gun1 - 300.0);

    // A timeline off screen hears nothing; back on screen, it follows again.
    second.controller.hide();
    first.choose(2);
    EXPECT_EQ(second.selected(), 0);
    second.controller.show();
    first.choose(1);
    EXPECT_EQ(second.selected(), 1);

    // The window's "focus on selected race" command returns to the start sequence.
    d.a.setPlaybackPosition(gun2, true);
    second.controller.focusSelectedRace();
    EXPECT_EQ(d.a.eventPlaybackPosition(), gun1 - 300.0);

    // A click on the timeline seeks the document through its controller.
    QTest::mouseClick(first.controller.timelineView(), Qt::LeftButton, {},
                      QPoint(first.controller.timelineView()->width(), 60));
    EXPECT_EQ(d.a.eventPlaybackPosition(), focus.second);
    EXPECT_EQ(second.controller.timelineView()->playbackTime(), focus.second);
}

TEST(TimelineViewController, PlayPauseAndAddMediaButtons) {
    TwoDocuments d;
    d.a.setPlaybackPosition(gun1, true);
    Timeline first(&d.a);
    Timeline second(&d.a);
    EXPECT_EQ(first.controller.playPauseImageName(), "Play");

    QTest::mouseClick(first.controller.playPauseButton(), Qt::LeftButton);
    EXPECT_TRUE(d.a.isPlaying());
    EXPECT_EQ(first.controller.playPauseImageName(), "Pause");
    EXPECT_EQ(second.controller.playPauseImageName(), "Pause");
    EXPECT_EQ(first.controller.playPauseButton()->toolTip(), "Pause");

    QTest::mouseClick(second.controller.playPauseButton(), Qt::LeftButton);
    EXPECT_FALSE(d.a.isPlaying());
    EXPECT_EQ(first.controller.playPauseImageName(), "Play");

    // Another document's playback is not this window's.
    d.b.setPlaybackPosition(gun1, true);
    d.b.play();
    EXPECT_EQ(first.controller.playPauseImageName(), "Play");
    d.b.pause();

    // A timeline that appears while playing shows it.
    d.a.play();
    Timeline late(&d.a);
    EXPECT_EQ(late.controller.playPauseImageName(), "Pause");
    d.a.pause();

    QTest::mouseClick(first.controller.addAssetsButton(), Qt::LeftButton);
    EXPECT_EQ(first.window.addAssetsCount, 1);
    EXPECT_EQ(second.window.addAssetsCount, 0);
}
