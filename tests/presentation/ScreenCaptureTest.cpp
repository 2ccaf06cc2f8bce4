#include "presentation/ScreenCapture.h"

#include "core/TimeZone.h"
#include "core/UserDefaults.h"
#include "presentation/ExportFolder.h"
#include "presentation/RegionGrabOverlay.h"
#include "support/LogFixture.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>

namespace {

using Alert = std::pair<QString, QString>;
using Tool = ScreenCapture::Tool;

// Sets an environment variable for the scope of a test.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const QByteArray& value)
        : name_(name), had_(qEnvironmentVariableIsSet(name)), old_(qgetenv(name)) {
        if (value.isNull())
            qunsetenv(name);
        else
            qputenv(name, value);
    }
    ~ScopedEnvironment() {
        if (had_)
            qputenv(name_, old_);
        else
            qunsetenv(name_);
    }

private:
    const char* name_;
    bool had_;
    QByteArray old_;
};

struct Capture : ::testing::Test {
    QTemporaryDir dir;
    QString exports = dir.filePath("Exports");
    ScreenCapture capture;
    std::vector<Alert> alerts;
    const Instant time = Instant::fromUnix(1685622896.78); // 2023-06-01 12:34:56.78 UTC

    void SetUp() override {
        UserDefaults::standard().remove(ExportFolder::defaultsKey);
        capture.setAlertPresenter([this](const QString& title, const QString& text) {
            alerts.push_back({title, text});
        });
        capture.exportFolder().setChooser([this](const QString&) { return exports; });
    }
};

} // namespace

TEST(ScreenCaptureTool, TheDesktopsOwnToolComesFirstAndOnlyToolsThatWorkInTheSessionAreUsed) {
    QStringList installed;
    auto lookup = [&](const QString& program) {
        return installed.contains(program) ? "/usr/bin/" + program : QString();
    };
    auto choose = [&](const char* desktop, bool wayland) {
        return ScreenCapture::chooseTool(desktop, wayland, lookup).tool;
    };

    installed = {"gnome-screenshot", "spectacle", "grim", "slurp", "import"};
    EXPECT_EQ(choose("ubuntu:GNOME", false), Tool::gnomeScreenshot);
    EXPECT_EQ(choose("KDE", true), Tool::spectacle);
    EXPECT_EQ(choose("sway", true), Tool::grimAndSlurp);
    EXPECT_EQ(choose("XFCE", false), Tool::gnomeScreenshot);
    ScreenCapture::ToolChoice both = ScreenCapture::chooseTool("sway", true, lookup);
    EXPECT_EQ(both.programs, QStringList({"/usr/bin/slurp", "/usr/bin/grim"}));

    // grim cannot read GNOME's or KDE's screen, nor any X11 one; import sees no Wayland window.
    installed = {"grim", "slurp", "import"};
    EXPECT_EQ(choose("GNOME", true), Tool::regionGrab);
    EXPECT_EQ(choose("XFCE", false), Tool::imageMagickImport);
    EXPECT_EQ(choose("", true), Tool::grimAndSlurp);
    installed = {"grim", "import"}; // grim alone cannot ask for a region
    EXPECT_EQ(choose("sway", true), Tool::regionGrab);
    installed = {};
    EXPECT_EQ(choose("KDE", false), Tool::regionGrab);
}

TEST_F(Capture, RunsTheDesktopToolAndTellsSuccessCancelAndFailureApart) {
    // A stand-in for gnome-screenshot: it records its arguments, then does what `mode` says.
    QImage shot(120, 80, QImage::Format_RGB32);
    shot.fill(Qt::darkCyan);
    // Saved as PNG whatever the name asks for, as some tools do.
    ASSERT_TRUE(shot.save(dir.filePath("shot.png"), "PNG"));
    const QString script = QString("#!/bin/sh\n"
                                   "echo \"$@\" > '%1/arguments'\n"
                                   "case \"$(cat '%1/mode')\" in\n"
                                   "  write) cp '%1/shot.png' \"$3\" ;;\n"
                                   "  fail) echo 'cannot open display'; exit 3 ;;\n"
                                   "esac\n")
                               .arg(dir.path());
    QDir(dir.path()).mkdir("bin");
    const QString tool = dir.filePath("bin/gnome-screenshot");
    {
        QFile file(tool);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(script.toUtf8());
        file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
    }
    ScopedEnvironment path("PATH", (dir.filePath("bin") + ":" + qgetenv("PATH")).toLocal8Bit());
    ScopedEnvironment desktop("XDG_CURRENT_DESKTOP", "GNOME");
    ScopedEnvironment wayland("WAYLAND_DISPLAY", QByteArray());
    auto setMode = [&](const QByteArray& mode) {
        QFile file(dir.filePath("mode"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(mode);
    };
    auto arguments = [&] {
        QFile file(dir.filePath("arguments"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
    };
    QSignalSpy finished(&capture, &ScreenCapture::finished);
    const QString named = QDir(exports).filePath("2023-06-01_12-34-56-7.jpg");

    setMode("write");
    ASSERT_TRUE(capture.capture(time, TimeZone::utc()));
    // The main thread is not held while the user picks a region.
    EXPECT_TRUE(capture.isCapturing());
    EXPECT_FALSE(capture.capture(time, TimeZone::utc()));
    ASSERT_TRUE(finished.wait(10000));
    EXPECT_EQ(finished.takeFirst().at(0).toString(), named);
    EXPECT_EQ(arguments(), "-a -f " + named);
    QImageReader written(named);
    EXPECT_EQ(written.format(), "jpeg");
    EXPECT_EQ(written.size(), shot.size());

    // The user pressed Esc in the tool: no file, no alert. The first capture is not written over.
    setMode("none");
    ASSERT_TRUE(capture.capture(time, TimeZone::utc()));
    ASSERT_TRUE(finished.wait(10000));
    EXPECT_EQ(finished.takeFirst().at(0).toString(), QString());
    EXPECT_EQ(arguments(), "-a -f " + QDir(exports).filePath("2023-06-01_12-34-56-7 2.jpg"));
    EXPECT_TRUE(alerts.empty());

    setMode("fail");
    DiagnosticsCapture diagnostics;
    ASSERT_TRUE(capture.capture(time, TimeZone::utc()));
    ASSERT_TRUE(finished.wait(10000));
    EXPECT_EQ(finished.takeFirst().at(0).toString(), QString());
    EXPECT_EQ(alerts, std::vector<Alert>(
                          {{"Could not capture screen", "Something went wrong capturing the screen"}}));
    EXPECT_NE(diagnostics.text().find("Warning: termination status: 3\n"), std::string::npos)
        << diagnostics.text();
    EXPECT_EQ(QDir(exports).entryList(QDir::Files), QStringList{"2023-06-01_12-34-56-7.jpg"});
    EXPECT_FALSE(capture.isCapturing());
}

TEST_F(Capture, WithoutAToolTheUserDragsARegionOnAGrabOfTheScreen) {
    capture.setToolLookup([](const QString&) { return QString(); });
    QSignalSpy finished(&capture, &ScreenCapture::finished);

    ASSERT_TRUE(capture.capture(time, TimeZone::utc()));
    RegionGrabOverlay* overlay = capture.regionGrabOverlay();
    ASSERT_NE(overlay, nullptr) << (alerts.empty() ? "" : alerts[0].second.toStdString());
    EXPECT_TRUE(overlay->isVisible());
    // Dragged up and to the left.
    QTest::mousePress(overlay, Qt::LeftButton, {}, QPoint(300, 200));
    QTest::mouseMove(overlay, QPoint(200, 120));
    QTest::mouseRelease(overlay, Qt::LeftButton, {}, QPoint(100, 50));
    ASSERT_TRUE(finished.count() == 1 || finished.wait(10000));
    const QString named = QDir(exports).filePath("2023-06-01_12-34-56-7.jpg");
    EXPECT_EQ(finished.takeFirst().at(0).toString(), named);
    QImageReader written(named);
    EXPECT_EQ(written.format(), "jpeg");
    EXPECT_EQ(written.size(), QSize(200, 150));

    // Esc gives up quietly.
    ASSERT_TRUE(capture.capture(time, TimeZone::utc()));
    overlay = capture.regionGrabOverlay();
    ASSERT_NE(overlay, nullptr);
    QTest::mousePress(overlay, Qt::LeftButton, {}, QPoint(10, 10));
    QTest::keyClick(overlay, Qt::Key_Escape);
    ASSERT_TRUE(finished.count() == 1 || finished.wait(10000));
    EXPECT_EQ(finished.takeFirst().at(0).toString(), QString());
    EXPECT_TRUE(alerts.empty());
    EXPECT_EQ(QDir(exports).entryList(QDir::Files).size(), 1);
}
