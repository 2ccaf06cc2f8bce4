#include "metrics/Boat.h"

#include "core/DecodingError.h"
#include "core/UserDefaults.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {
ordered_json boatJson() {
    return ordered_json::parse(
        R"({"fullName":"Stella","shortName":"ST","color":"00FF00","displayMode":"Secondary","boatLength":12.5,"gpsOffset":3})");
}
} // namespace

TEST(Boat, ColourText) {
    EXPECT_EQ(Boat::colorFromText("ff0000"), RgbColor::pureRed());
    EXPECT_EQ(Boat::colorText(Boat::colorFromText("ff0000")), "ff0000");
    EXPECT_EQ(Boat::colorFromText("00FF00"), (RgbColor{0, 1, 0}));
    EXPECT_EQ(Boat::colorText(Boat::colorFromText("00FF00")), "00ff00");
    EXPECT_EQ(Boat::colorText(Boat::colorFromText("1a2b3c")), "1a2b3c");
    EXPECT_EQ(Boat::colorFromText("#00ff00"), RgbColor::pureRed());
    EXPECT_EQ(Boat::colorFromText("00gg00"), RgbColor::pureRed());
    EXPECT_EQ(Boat::colorFromText(""), RgbColor::pureRed());
    // Components are truncated, not rounded.
    EXPECT_EQ(Boat::colorText({0.999, 0.5, 0.0}), "fe7f00");
}

TEST(Boat, DecodesAndEncodesItsSixKeysInOrder) {
    auto boat = Boat::decode(boatJson());
    EXPECT_EQ(boat->fullName(), "Stella");
    EXPECT_EQ(boat->displayMode(), Boat::DisplayMode::Secondary);
    EXPECT_EQ(boat->boatLength(), 12.5);
    EXPECT_EQ(boat->gpsOffset(), 3.0);
    EXPECT_EQ(
        boat->encode().dump(),
        R"({"fullName":"Stella","shortName":"ST","color":"00ff00","displayMode":"Secondary","boatLength":12.5,"gpsOffset":3.0})");

    auto json = boatJson();
    json["displayMode"] = "main";
    EXPECT_EQ(Boat::decode(json)->displayMode(), Boat::DisplayMode::Other);
    json["color"] = "not a colour";
    EXPECT_EQ(Boat::decode(json)->color(), RgbColor::pureRed());

    for (const char* key : {"fullName", "shortName", "color", "displayMode", "boatLength", "gpsOffset"}) {
        auto missing = boatJson();
        missing.erase(key);
        EXPECT_THROW(Boat::decode(missing), DecodingError) << key;
    }
    auto wrongType = boatJson();
    wrongType["boatLength"] = "12";
    EXPECT_THROW(Boat::decode(wrongType), DecodingError);
    EXPECT_THROW(Boat::decode(ordered_json::array()), DecodingError);
}

TEST(Boat, NewBoatsTakeLengthAndAntennaFromThePreferences) {
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath("boat.ini"));
    Boat unset("A", "", RgbColor::pureRed(), Boat::DisplayMode::Other, defaults);
    EXPECT_EQ(unset.boatLength(), 0.0);
    EXPECT_EQ(unset.gpsOffset(), 0.0);
    defaults.setValue("boatLength", 12.5);
    defaults.setValue("gpsAntennaLoc", 3);
    Boat set("B", "", RgbColor::pureRed(), Boat::DisplayMode::Other, defaults);
    EXPECT_EQ(set.boatLength(), 12.5);
    EXPECT_EQ(set.gpsOffset(), 3.0);

    QSignalSpy spy(&set, &Boat::displayModeChanged);
    set.setDisplayMode(Boat::DisplayMode::Main);
    EXPECT_EQ(spy.count(), 1);
}
