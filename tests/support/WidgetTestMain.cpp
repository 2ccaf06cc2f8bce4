#include "core/UserDefaults.h"

#include <QApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// Widget tests need a QApplication; like every test binary they get settings in a temporary file.
int main(int argc, char** argv) {
    // Listing the tests at build time runs this without the test environment.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QTemporaryDir settingsDir;
    UserDefaults::useFile(settingsDir.filePath("settings.ini"));
    // Crash reports and recovery copies of the documents the tests open stay out of the user's
    // own state folder.
    qputenv("XDG_STATE_HOME", settingsDir.filePath("state").toLocal8Bit());
    // Proxies made by tests stay out of the user's cache.
    qputenv("XDG_CACHE_HOME", settingsDir.filePath("cache").toLocal8Bit());
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    return RUN_ALL_TESTS();
}
