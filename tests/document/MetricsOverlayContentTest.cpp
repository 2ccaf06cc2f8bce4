#include "document/MetricsOverlayContent.h"

#include "boatlog/LogFileAsset.h"
#include "document/BoatLogLookup.h"
#include "document/Document.h"
#include "document/RaceAtPosition.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QUuid>
#include <gtest/gtest.h>

namespace {

const double t0 = 1686052800.0; // 2023-06-06 12:00:00 UTC

std::shared_ptr<Race> race(const char* name, double gunUnix,
                           std::optional<double> finishUnix = std::nullopt) {
    auto r = std::make_shared<Race>();
    r->setName(name);
    r->setTime(Instant::fromUnix(gunUnix));
    if (finishUnix)
        r->setFinishTime(Instant::fromUnix(*finishUnix));
    return r;
}

struct Event {
    QTemporaryDir dir;
    Document document;
    std::shared_ptr<Boat> main =
        Boat::create("Stella Maris", "STM", {0.0, 0.4, 0.8}, Boat::DisplayMode::Main);
    std::shared_ptr<Boat> other = Boat::create("Blue Note", "", {0.9, 0.5, 0.0}, Boat::DisplayMode::Other);

    Event() {
        LogFixture log;
        log.columns = {"BoatSpeed", "TWA", "TimeToGun", "SOG"};
        log.times = {t0, t0 + 10, t0 + 20};
        log.values = {6.0, 190.0, -20.0, 6.1, //
                      7.0, 40.0,  -10.0, 7.1, //
                      8.0, 42.0,  0.0,   8.1};
        addLog(main, log, "main.hdf5");
        LogFixture second;
        second.columns = {"BoatSpeed"};
        second.times = {t0 + 10, t0 + 20};
        second.values = {5.0, 5.5};
        addLog(other, second, "other.hdf5");
        document.setBoats({main, other});
    }

    void addLog(const std::shared_ptr<Boat>& boat, const LogFixture& log, const QString& name) {
        ASSERT_TRUE(log.addTo(document, boat, dir.filePath(name)));
    }
};

QStringList values(const MetricsOverlayContent::Content& content) {
    QStringList result;
    for (const auto& row : content.rows)
        result << row.value;
    return result;
}

} // namespace

TEST(RaceAtPosition, IsTheRaceNotFinishedYetWithTheEarliestGun) {
    auto second = race("R2", t0 + 7200, t0 + 9000);
    auto first = race("R1", t0 + 600); // no finish: an hour after its gun
    std::vector<std::shared_ptr<Race>> races{second, first};
    EXPECT_EQ(raceAtPosition(races, Instant::fromUnix(t0)), first);
    EXPECT_TRUE(isBeforeGun(races, Instant::fromUnix(t0)));
    EXPECT_FALSE(isBeforeGun(races, Instant::fromUnix(t0 + 600)));
    EXPECT_EQ(raceAtPosition(races, Instant::fromUnix(t0 + 4199)), first);
    // Between the races: the next start sequence.
    EXPECT_EQ(raceAtPosition(races, Instant::fromUnix(t0 + 4200)), second);
    EXPECT_TRUE(isBeforeGun(races, Instant::fromUnix(t0 + 5000)));
    EXPECT_EQ(raceAtPosition(races, Instant::fromUnix(t0 + 9000)), nullptr);
    EXPECT_FALSE(isBeforeGun(races, Instant::fromUnix(t0 + 9500)));
    EXPECT_FALSE(isBeforeGun({}, Instant::fromUnix(t0)));
}

TEST(MetricsOverlayContent, ShowsTheBeforeGunListUntilTheGunAndTheMainBoatBesideTheSecondary) {
    Event event;
    MetricsOverlayContent overlay;
    overlay.setMetrics({"BoatSpeed", "TWA", "Heave"}, {"TimeToGun", "SOG"});

    // No race: the after-gun list, main boat only.
    auto content = overlay.at(event.document, Instant::fromUnix(t0 + 5));
    EXPECT_FALSE(content.beforeGun);
    ASSERT_TRUE(content.mainBoat);
    EXPECT_EQ(content.mainBoat->name, "STM");
    EXPECT_FALSE(content.secondaryBoat);
    ASSERT_EQ(content.rows.size(), 3u);
    EXPECT_EQ(content.rows[0].name, "BSP");
    EXPECT_EQ(content.rows[0].unit, "kn");
    // Blended halfway between the records, read as the metrics table reads them.
    EXPECT_EQ(content.rows[0].value, "6.50");
    auto view = BoatLogLookup::view(event.document, event.main, Instant::fromUnix(t0 + 5));
    ASSERT_TRUE(view);
    EXPECT_EQ(content.rows[1].value,
              MetricPresentation(BoatMetric::Case::TWA).text(view->value(BoatMetric("TWA"))));
    // The catalogue's Heave never has a value.
    EXPECT_EQ(content.rows[2].value, MetricPresentation::noValueText);
    EXPECT_TRUE(content.rows[0].secondaryValue.isEmpty());

    // A race whose gun is at t0 + 20: the start list until then, the race list from the gun on.
    event.document.setRaces({race("R1", t0 + 20, t0 + 3600)});
    content = overlay.at(event.document, Instant::fromUnix(t0 + 10));
    EXPECT_TRUE(content.beforeGun);
    EXPECT_EQ(values(content), (QStringList{"-00:10", "7.10"}));
    EXPECT_EQ(content.rows[0].unit, "");
    content = overlay.at(event.document, Instant::fromUnix(t0 + 19.99));
    EXPECT_TRUE(content.beforeGun);
    content = overlay.at(event.document, Instant::fromUnix(t0 + 20));
    EXPECT_FALSE(content.beforeGun);
    EXPECT_EQ(content.rows[0].name, "BSP");

    // A secondary boat gets its own column; where its log is silent, "—".
    event.document.setRaces({});
    event.document.setDisplayMode(event.other, Boat::DisplayMode::Secondary);
    content = overlay.at(event.document, Instant::fromUnix(t0 + 15));
    ASSERT_TRUE(content.secondaryBoat);
    EXPECT_EQ(content.secondaryBoat->name, "Blue Note");
    EXPECT_EQ(content.rows[0].value, "7.50");
    EXPECT_EQ(content.rows[0].secondaryValue, "5.25");
    content = overlay.at(event.document, Instant::fromUnix(t0 + 2));
    EXPECT_EQ(content.rows[0].secondaryValue, MetricPresentation::noValueText);

    // Without a position every value is absent; the rows stay.
    content = overlay.at(event.document, std::nullopt);
    EXPECT_EQ(values(content), (QStringList{"—", "—", "—"}));
    overlay.setMetrics({}, {});
    EXPECT_TRUE(overlay.at(event.document, Instant::fromUnix(t0 + 5)).rows.empty());

    // A main boat without logs: nothing to show.
    overlay.setMetrics({"BoatSpeed"}, {});
    Document bare;
    bare.setBoats({Boat::create("New", "", {1, 0, 0}, Boat::DisplayMode::Main)});
    EXPECT_TRUE(overlay.at(bare, Instant::fromUnix(t0 + 5)).rows.empty());
    EXPECT_FALSE(overlay.at(bare, Instant::fromUnix(t0 + 5)).mainBoat);
}
