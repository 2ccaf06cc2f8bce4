#include "document/LegDerivation.h"

#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "race/Race.h"
#include "support/LogFixture.h"

#include <QDateTime>
#include <QTemporaryDir>
#include <QTimeZone>
#include <gtest/gtest.h>

namespace {

const double t0 = 1686052800.0; // 2023-06-06T12:00:00Z

std::string at(int seconds) {
    return QDateTime::fromSecsSinceEpoch(static_cast<qint64>(t0) + seconds, QTimeZone::utc())
        .toString("yyyy-MM-dd'T'HH:mm:ss.0+0000")
        .toStdString();
}

// A document whose main boat carries one log with the given segment metadata.
struct DerivationFixture {
    QTemporaryDir dir;
    Document document;
    std::shared_ptr<Boat> main = Boat::create("Main", "", RgbColor::pureRed(), Boat::DisplayMode::Main);

    explicit DerivationFixture(const std::string& meta0) {
        LogFixture log;
        log.columns = {"TWS"};
        log.times = {t0};
        log.values = {10};
        log.meta0 = meta0;
        log.write(dir.filePath("main.hdf5"));
        DiagnosticsCapture quiet;
        document.setBoats({main});
        document.addLogAsset(main, LogFileAsset::open(dir.filePath("main.hdf5"), main, QUuid::createUuid(), 0,
                                                      TimeZone::utc()));
    }
};

} // namespace

TEST(LegDerivation, RacesTacksAndGybes) {
    DerivationFixture f(R"({"races": [
        {"time": ")" + at(0) +
                        R"(", "raceType": "PracticeStart", "raceDuration": 300},
        {"time": ")" + at(600) +
                        R"(", "raceType": "PracticeStart"},
        {"time": ")" + at(1200) +
                        R"(", "raceDuration": 1800, "Portlat": 54.5, "Portlon": 10.25, "Stbdlat": 54.501,
         "Stbdlon": 10.2501, "raceType": "Race"},
        {"time": "not a time", "raceType": "Race"}],
      "events": [{"eventType": "Tack", "time": ")" +
                        at(1300) + R"("},
                 {"eventType": "Gybe", "time": "2023-06-06T12:30:00+0000"},
                 {"eventType": "tack", "time": ")" +
                        at(1400) + R"("}],
      "legs": []})");
    LegDerivation::apply(f.document);
    const auto& races = f.document.races();
    ASSERT_EQ(races.size(), 3u);
    EXPECT_EQ(races[0]->name(), "Practice Start 1");
    EXPECT_EQ(races[1]->name(), "Practice Start 2");
    EXPECT_EQ(races[2]->name(), "Race 1");
    EXPECT_EQ(races[0]->finishTime(), Instant::fromUnix(t0 + 300));
    // No duration, no finish: the race shows one hour long.
    EXPECT_FALSE(races[1]->finishTime());
    EXPECT_EQ(races[1]->bestGuessFinishTime(), Instant::fromUnix(t0 + 600 + 3600));
    EXPECT_EQ(races[2]->pinLat(), "54.5");
    EXPECT_EQ(races[2]->pinLon(), "10.25");
    EXPECT_EQ(races[2]->rcLat(), "54.501");
    EXPECT_EQ(races[2]->rcLon(), "10.2501");
    EXPECT_EQ(races[0]->pinLat(), "");
    EXPECT_EQ(f.document.tackTimes(), (std::vector{Instant::fromUnix(t0 + 1300)}));
    EXPECT_EQ(f.document.gybeTimes(), (std::vector{Instant::fromUnix(t0 + 1800)}));
}

TEST(LegDerivation, LegsAreFilteredAndClippedToTheRaces) {
    const std::string legs = R"("legs": [
        {"time": ")" + at(100) +
                             R"(", "eventType": "Upwind", "duration": 59.9},
        {"time": ")" + at(100) +
                             R"(", "eventType": "Upwind", "duration": 60},
        {"time": ")" + at(200) +
                             R"(", "eventType": "Reaching", "duration": 600},
        {"time": ")" + at(300) +
                             R"(", "eventType": "Reach", "duration": 600},
        {"time": ")" + at(2000) +
                             R"(", "eventType": "Downwind", "duration": 400},
        {"time": ")" + at(4000) +
                             R"(", "eventType": "Downwind"}])";

    DerivationFixture noRaces(R"({"races": [], "events": [], )" + legs + "}");
    LegDerivation::apply(noRaces.document);
    // Without races legs keep their full length.
    EXPECT_EQ(noRaces.document.legs(),
              (std::vector<SailingLeg>{
                  {Instant::fromUnix(t0 + 100), Instant::fromUnix(t0 + 160), SailingLegType::Upwind},
                  {Instant::fromUnix(t0 + 300), Instant::fromUnix(t0 + 900), SailingLegType::Reaching},
                  {Instant::fromUnix(t0 + 2000), Instant::fromUnix(t0 + 2400), SailingLegType::Downwind}}));

    // Races from 0 to 500 s and from 2200 to 3000 s: the leg between them disappears, the others
    // are cut to their race.
    DerivationFixture raced(R"({"races": [{"time": ")" + at(0) + R"(", "raceDuration": 500},
                                           {"time": ")" +
                            at(2200) + R"(", "raceDuration": 800}],
                                "events": [], )" +
                            legs + "}");
    LegDerivation::apply(raced.document);
    EXPECT_EQ(raced.document.legs(),
              (std::vector<SailingLeg>{
                  {Instant::fromUnix(t0 + 100), Instant::fromUnix(t0 + 160), SailingLegType::Upwind},
                  {Instant::fromUnix(t0 + 300), Instant::fromUnix(t0 + 500), SailingLegType::Reaching},
                  {Instant::fromUnix(t0 + 2200), Instant::fromUnix(t0 + 2400), SailingLegType::Downwind}}));
}

TEST(LegDerivation, WithoutAMainBoatNothingIsDerived) {
    DerivationFixture f(R"({"races": [{"time": "2023-06-06T12:00:00.0+0000"}],
                            "events": [{"eventType": "Tack", "time": "2023-06-06T12:00:10.0+0000"}], "legs": []})");
    auto keep = std::make_shared<Race>();
    f.document.setRaces({keep});
    f.document.setTackTimes({Instant(1)});
    f.document.setDisplayMode(f.main, Boat::DisplayMode::Other);
    LegDerivation::apply(f.document);
    EXPECT_TRUE(f.document.tackTimes().empty());
    EXPECT_TRUE(f.document.legs().empty());
    EXPECT_EQ(f.document.races(), (std::vector{keep}));

    EXPECT_EQ(LegDerivation::parseTime("2023-06-06T12:00:00+0200"), Instant::fromUnix(t0 - 7200));
    EXPECT_EQ(LegDerivation::parseTime("2023-06-06T12:00:00.5Z"), Instant::fromUnix(t0 + 0.5));
    EXPECT_FALSE(LegDerivation::parseTime("2023-06-06 12:00:00"));
}
