#include "core/UserDefaults.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// Every test binary runs with an event loop available and with settings in a temporary file,
// so that no test reads or writes the user's own settings.
int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QTemporaryDir settingsDir;
    UserDefaults::useFile(settingsDir.filePath("settings.ini"));
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    return RUN_ALL_TESTS();
}
