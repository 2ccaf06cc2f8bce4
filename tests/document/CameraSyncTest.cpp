#include "document/CameraSync.h"

#include "support/SailingTrack.h"

#include <gtest/gtest.h>

namespace {

// The camera's ten minutes at 18 Hz; the boat's log at 1 Hz around it, its clock `offset` seconds off.
struct Pair {
    CameraSync::Series camera, boat;
};

Pair pair(const SailingTrack& cameraMotion, const SailingTrack& boatMotion, double offset, unsigned seed) {
    return {cameraMotion.sample(0.0, 600.0, 1.0 / 18.0, 0.0, 1.5, 0.15, seed),
            boatMotion.sample(-1400.0, 2000.0, 1.0, offset, 2.0, 0.1, seed + 1)};
}

} // namespace

TEST(CameraSync, FindsTheOffsetToATenthOfASecond) {
    const SailingTrack motion(3);
    unsigned seed = 10;
    for (double offset : {-597.35, -42.0, 0.0, 3.42, 311.87, 599.5}) {
        Pair data = pair(motion, motion, offset, seed += 2);
        auto result = CameraSync::find(data.camera, data.boat);
        ASSERT_TRUE(result) << offset;
        EXPECT_NEAR(result->offset, offset, 0.1);
        EXPECT_TRUE(result->confident) << result->summary();
        ASSERT_TRUE(result->positionResidual);
        EXPECT_LT(*result->positionResidual, 5.0);

        // Speeds alone, as with a log without positions, still find it.
        data.camera.latitudes.clear(), data.camera.longitudes.clear();
        data.boat.latitudes.clear(), data.boat.longitudes.clear();
        auto bySpeed = CameraSync::find(data.camera, data.boat);
        ASSERT_TRUE(bySpeed);
        EXPECT_NEAR(bySpeed->offset, offset, 0.1);
        EXPECT_FALSE(bySpeed->positionResidual);
    }
}

TEST(CameraSync, IsNotConfidentAboutDataThatDoesNotMatch) {
    // Another day's sailing at the same hours: the best lag is noise.
    const SailingTrack today(3), anotherDay(4);
    Pair other = pair(today, anotherDay, 0.0, 50);
    auto result = CameraSync::find(other.camera, other.boat);
    ASSERT_TRUE(result);
    EXPECT_FALSE(result->confident) << result->summary();
    EXPECT_NE(result->summary().find("not confident"), std::string::npos);

    // A log that ends before the video could start, whatever the shift within ten minutes.
    Pair apart = pair(today, today, 0.0, 60);
    for (double& t : apart.boat.times)
        t -= 4000.0;
    EXPECT_FALSE(CameraSync::find(apart.camera, apart.boat));
    EXPECT_FALSE(CameraSync::find({}, apart.boat));
}

TEST(CameraSync, SummarisesTheResultForTheUser) {
    CameraSync::Result result;
    result.offset = 3.42;
    result.positionResidual = 2.07;
    result.confident = true;
    EXPECT_EQ(result.summary(), "+3.42 s, position residual 2.1 m, confident");
}
