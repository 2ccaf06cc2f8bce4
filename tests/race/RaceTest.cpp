#include "race/Race.h"

#include "core/DecodingError.h"

#include <QSignalSpy>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {
ordered_json raceJson() {
    return ordered_json::parse(
        R"({"name":"Race 1","time":707745600.5,"pinLat":"54.45","pinLon":"10.25","rcLat":"","rcLon":""})");
}
} // namespace

TEST(Race, DefaultsAndBestGuessFinish) {
    Instant before = Instant::now();
    Race race;
    EXPECT_EQ(race.name(), "");
    EXPECT_GE(race.time(), before);
    EXPECT_LE(race.time(), Instant::now());
    EXPECT_FALSE(race.finishTime());
    EXPECT_EQ(race.bestGuessFinishTime(), race.time() + 3600.0);
    race.setFinishTime(race.time() + 1800.0);
    EXPECT_EQ(race.bestGuessFinishTime(), race.time() + 1800.0);
}

TEST(Race, KeyedEncoding) {
    auto race = Race::decode(raceJson());
    EXPECT_EQ(race->name(), "Race 1");
    EXPECT_EQ(race->time(), Instant(707745600.5));
    EXPECT_FALSE(race->finishTime());
    EXPECT_EQ(race->bestGuessFinishTime(), Instant(707745600.5 + 3600.0));
    EXPECT_EQ(race->pinLat(), "54.45");
    // An absent finish is left out, never written as null.
    EXPECT_EQ(race->encode().dump(), raceJson().dump());

    auto withFinish = raceJson();
    withFinish["finishTime"] = 707749200.0;
    auto finished = Race::decode(withFinish);
    EXPECT_EQ(finished->finishTime(), Instant(707749200.0));
    EXPECT_EQ(
        finished->encode().dump(),
        R"({"name":"Race 1","time":707745600.5,"finishTime":707749200.0,"pinLat":"54.45","pinLon":"10.25","rcLat":"","rcLon":""})");

    for (const char* key : {"name", "time", "pinLat", "pinLon", "rcLat", "rcLon"}) {
        auto missing = raceJson();
        missing.erase(key);
        EXPECT_THROW(Race::decode(missing), DecodingError) << key;
    }
    auto badTime = raceJson();
    badTime["time"] = "yesterday";
    EXPECT_THROW(Race::decode(badTime), DecodingError);
    auto badFinish = raceJson();
    badFinish["finishTime"] = "soon";
    EXPECT_THROW(Race::decode(badFinish), DecodingError);
}

TEST(Race, EveryChangeAnnouncesItselfOnce) {
    Race race;
    QSignalSpy spy(&race, &Race::raceUpdated);
    race.setName("Race 2");
    EXPECT_EQ(spy.count(), 1);
    race.setTime(Instant(1.0));
    race.setFinishTime(std::nullopt);
    race.setPinLat("1");
    race.setPinLon("2");
    race.setRcLat("3");
    race.setRcLon("4");
    EXPECT_EQ(spy.count(), 7);
}
