#include "core/UserDefaults.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

TEST(UserDefaults, RegisteredDefaultsNeverHideTheUsersValue) {
    QTemporaryDir dir;
    {
        UserDefaults defaults(dir.filePath("a.ini"));
        defaults.setValue("boatLength", 9.5);
        defaults.sync();
    }
    UserDefaults defaults(dir.filePath("a.ini"));
    defaults.registerDefaults(
        {{"boatLength", 12}, {"writeTimestampFrequency", "1.0"}, {"preferFileMtime", false}});
    EXPECT_DOUBLE_EQ(defaults.doubleValue("boatLength"), 9.5);
    EXPECT_EQ(defaults.stringValue("writeTimestampFrequency"), "1.0");
    EXPECT_FALSE(defaults.boolValue("preferFileMtime"));

    // Values read back from the file arrive as text and still read as their types.
    defaults.setValue("writeTimestampMode", 2);
    defaults.setValue("AssetShiftMoveVideo", true);
    defaults.sync();
    UserDefaults reread(dir.filePath("a.ini"));
    EXPECT_EQ(reread.integerValue("writeTimestampMode"), 2);
    EXPECT_TRUE(reread.boolValue("AssetShiftMoveVideo"));

    // Missing keys read as zero, false and none.
    EXPECT_EQ(reread.doubleValue("gpsAntennaLoc"), 0.0);
    EXPECT_EQ(reread.integerValue("nothing"), 0);
    EXPECT_FALSE(reread.stringValue("nothing"));
    reread.remove("writeTimestampMode");
    EXPECT_FALSE(reread.contains("writeTimestampMode"));
}
