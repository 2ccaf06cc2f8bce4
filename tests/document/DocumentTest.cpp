#include "document/Document.h"

#include "boatlog/LogFileAsset.h"
#include "media/MediaGroup.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using Mode = Boat::DisplayMode;

namespace {
std::shared_ptr<Boat> boat(const char* name, Mode mode = Mode::Other) {
    return Boat::create(name, "", RgbColor::pureRed(), mode);
}

void handleQueuedEvents() {
    QCoreApplication::processEvents();
}
} // namespace

TEST(Document, NewDocumentIsEmptyPausedAndUnedited) {
    Document document;
    EXPECT_TRUE(document.boats().empty());
    EXPECT_TRUE(document.races().empty());
    EXPECT_TRUE(document.assets().empty());
    EXPECT_FALSE(document.isPlaying());
    EXPECT_FALSE(document.eventPlaybackPosition());
    EXPECT_FALSE(document.eventStartTimeOverride());
    EXPECT_FALSE(document.isDocumentEdited());
    EXPECT_EQ(document.eventTimezone(), TimeZone::current());
    EXPECT_FALSE(document.mainBoat());
}

TEST(Document, DisplayBoatOfAnEmptyDocumentIsCreatedOnce) {
    Document document;
    QSignalSpy boatsUpdated(&document, &Document::documentBoatsUpdated);
    auto first = document.displayBoat();
    auto second = document.displayBoat();
    EXPECT_EQ(first, second);
    ASSERT_EQ(document.boats().size(), 1u);
    EXPECT_EQ(first->fullName(), "My Boat");
    EXPECT_EQ(first->shortName(), "");
    EXPECT_EQ(first->color(), RgbColor::pureRed());
    EXPECT_EQ(first->displayMode(), Mode::Main);
    EXPECT_FALSE(document.isEdited());
    // Announced after the current event has been handled, not in the middle of it.
    EXPECT_EQ(boatsUpdated.count(), 0);
    handleQueuedEvents();
    EXPECT_EQ(boatsUpdated.count(), 1);

    Document withBoats;
    auto a = boat("A");
    auto b = boat("B");
    withBoats.setBoats({a, b});
    EXPECT_EQ(withBoats.displayBoat(), a);
    withBoats.setDisplayMode(b, Mode::Main);
    EXPECT_EQ(withBoats.displayBoat(), b);
}

TEST(Document, DisplayModesAreExclusive) {
    Document document;
    auto a = boat("A", Mode::Main);
    auto b = boat("B", Mode::Secondary);
    auto c = boat("C");
    document.setBoats({a, b, c});
    document.setEdited(false);
    QSignalSpy boatsUpdated(&document, &Document::documentBoatsUpdated);

    document.setDisplayMode(c, Mode::Main);
    EXPECT_EQ(a->displayMode(), Mode::Other);
    EXPECT_EQ(b->displayMode(), Mode::Secondary);
    EXPECT_EQ(document.mainBoat(), c);
    document.setDisplayMode(a, Mode::Secondary);
    EXPECT_EQ(b->displayMode(), Mode::Other);
    EXPECT_EQ(document.secondaryBoat(), a);
    // Giving Main to the secondary boat moves it; nobody else changes.
    document.setDisplayMode(a, Mode::Main);
    EXPECT_EQ(c->displayMode(), Mode::Other);
    EXPECT_FALSE(document.secondaryBoat());
    EXPECT_EQ(boatsUpdated.count(), 3);
    EXPECT_TRUE(document.isEdited());
}

TEST(Document, LogAssetsFollowTheirBoats) {
    QTemporaryDir dir;
    LogFixture fixture;
    fixture.columns = {"TWS"};
    fixture.times = {1686052800.0};
    fixture.values = {10};
    ASSERT_TRUE(fixture.write(dir.filePath("a.hdf5")));
    DiagnosticsCapture quiet;

    Document document;
    auto a = boat("A");
    auto b = boat("B");
    document.setBoats({a, b});
    auto open = [&](const std::shared_ptr<Boat>& owner) {
        return std::shared_ptr<LogFileAsset>(
            LogFileAsset::open(dir.filePath("a.hdf5"), owner, QUuid::createUuid(), 0, TimeZone::utc()));
    };
    auto b1 = open(b);
    auto a1 = open(a);
    auto a2 = open(a);
    document.addLogAsset(b, b1);
    document.addLogAsset(a, a1);
    document.addLogAsset(a, a2);
    EXPECT_EQ(document.logAssets(a), (std::vector{a1, a2}));
    // All log assets come in boat order, not in the order added.
    EXPECT_EQ(document.allLogAssets(), (std::vector{a1, a2, b1}));

    document.removeLogAsset(a1);
    EXPECT_EQ(document.logAssets(a), (std::vector{a2}));
    document.removeBoat(a);
    EXPECT_TRUE(document.logAssets(a).empty());
    EXPECT_EQ(document.allLogAssets(), (std::vector{b1}));
    EXPECT_EQ(document.boats(), (std::vector{b}));
}

TEST(Document, RacesAreAnnouncedAfterTheBatch) {
    Document document;
    QSignalSpy racesUpdated(&document, &Document::documentRacesUpdated);
    std::vector<Race*> raceUpdated;
    QObject::connect(&document, &Document::raceUpdated, [&](Race* race) { raceUpdated.push_back(race); });
    auto r1 = std::make_shared<Race>();
    auto r2 = std::make_shared<Race>();
    document.setRaces({r1, r2});
    EXPECT_EQ(racesUpdated.count(), 0);
    handleQueuedEvents();
    EXPECT_EQ(racesUpdated.count(), 1);

    // A race's own change reaches the document's observers, tagged with the race.
    r2->setName("Race 2");
    EXPECT_EQ(raceUpdated, std::vector<Race*>{r2.get()});
    // Once replaced, a race no longer speaks for the document.
    document.setRaces({r2});
    r1->setName("gone");
    EXPECT_EQ(raceUpdated.size(), 1u);

    // Another document's race never reaches this one.
    Document other;
    auto foreign = std::make_shared<Race>();
    other.setRaces({foreign});
    foreign->setName("elsewhere");
    EXPECT_EQ(raceUpdated.size(), 1u);
    handleQueuedEvents();
    EXPECT_EQ(racesUpdated.count(), 2);
}

TEST(Document, MediaGroupsAndAssets) {
    Document document;
    QSignalSpy assetsUpdated(&document, &Document::documentAssetsUpdated);
    auto onboard = std::make_shared<MediaGroup>("Onboard");
    auto drone = std::make_shared<MediaGroup>("Drone");
    auto second = std::make_shared<MediaGroup>("Onboard");
    document.setMediaGroups({onboard, drone});
    document.addMediaGroup(second);
    EXPECT_EQ(document.mediaGroupNamed("Onboard"), onboard);
    EXPECT_EQ(document.mediaGroupNamed("Chase"), nullptr);

    auto video = std::make_shared<VideoAsset>(QUrl::fromLocalFile("/v.mp4"), Instant(), 10, 0,
                                              TimeZone::utc(), nullptr);
    auto photo =
        std::make_shared<PhotoAsset>(QUrl::fromLocalFile("/p.jpg"), Instant(), 0, TimeZone::utc(), nullptr);
    document.addAsset(video, drone);
    document.addAsset(photo, onboard);
    EXPECT_EQ(video->mediaGroup(), drone);
    EXPECT_EQ(document.assets().size(), 2u);

    document.removeMediaGroup(drone);
    EXPECT_EQ(document.assets(), (std::vector<Document::AssetPtr>{photo}));
    document.removeAsset(photo);
    EXPECT_TRUE(document.assets().empty());
    EXPECT_EQ(assetsUpdated.count(), 6);
    EXPECT_TRUE(document.isEdited());
}

TEST(Document, EditedMark) {
    Document document;
    QSignalSpy edited(&document, &Document::editedChanged);
    document.addBoat(boat("A"));
    EXPECT_TRUE(document.isDocumentEdited());
    document.addBoat(boat("B"));
    EXPECT_EQ(edited.count(), 1);
    document.setEdited(false);
    EXPECT_FALSE(document.isDocumentEdited());
    EXPECT_EQ(edited.count(), 2);
    // Time zone and overrides are plain setters; their editors decide what to announce.
    document.setEventTimezone(*TimeZone::fromIdentifier("Europe/Berlin"));
    document.setEventStartTimeOverride(Instant(5));
    EXPECT_EQ(document.eventStartTimeOverride(), Instant(5));
    EXPECT_FALSE(document.isDocumentEdited());
}
