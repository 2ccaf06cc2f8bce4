#include "app/ShellFixture.h"
#include "media/VideoFixtures.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <gtest/gtest.h>

namespace {

struct Outcome {
    int exitCode = -1;
    QString output;
};

Outcome runProgram(const QString& program, const QStringList& arguments,
                   const QProcessEnvironment& environment, int timeoutMs = 60000) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    Outcome result;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        result.output = "timed out: " + QString::fromLocal8Bit(process.readAll());
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.output = QString::fromLocal8Bit(process.readAll());
    return result;
}

// How many different colours a picture holds, sampled on a grid: a drawn window has many, a
// blank or black one very few.
int colourCount(const QImage& image) {
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 7)
        for (int x = 0; x < image.width(); x += 7)
            colours.insert(image.pixel(x, y));
    return colours.size();
}

// The index a numbered test video shows in `picture` (the video scaled to fill it): blocks 0 to 11
// hold its bits, block 14 is black and block 15 white; -1 when those two are not so.
int shownIndex(const QImage& picture) {
    auto white = [&](int block) {
        const int x = (block % 4 * 2 + 1) * picture.width() / 8;
        const int y = (block / 4 * 2 + 1) * picture.height() / 8;
        return qGreen(picture.pixel(x, y)) > 128;
    };
    if (!white(15) || white(14))
        return -1;
    int index = 0;
    for (int bit = 0; bit < 12; ++bit)
        if (white(bit))
            index |= 1 << bit;
    return index;
}

} // namespace

TEST(RenderCommand, DrawsTheVideoFrameOfTheInstant) {
    ShellFixture fixture(VideoFixtures::videos().h264);
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DISPLAY");
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    const QString out = fixture.dir.filePath("still.png");
    // Frames of 1/25 s: 2.50 s into the video is frame 62, 3.02 s frame 75 (a long way from the
    // keyframe before it).
    for (auto [seconds, index] : {std::pair{2.50, 62}, std::pair{3.02, 75}}) {
        const QString at = QString::number(ShellFixture::t0 + ShellFixture::videoStart + seconds, 'f', 2);
        // Without overlays, which would cover the frame's lower blocks.
        Outcome rendered = runProgram(WAKELINE_PROGRAM,
                                      {"render", fixture.package, "--at", at, "--layout", "video", "--size",
                                       "640x480", "-o", out, "--metrics", "", "--metrics-before-gun", ""},
                                      environment);
        ASSERT_EQ(rendered.exitCode, 0) << qPrintable(rendered.output);
        QImage image(out);
        ASSERT_EQ(image.size(), QSize(640, 480));
        EXPECT_EQ(shownIndex(image), index) << seconds;
        EXPECT_TRUE(rendered.output.contains("\"rows\": []")) << qPrintable(rendered.output);
    }

    // With overlays: the race's gun is at 120 s, the video at 200 s, so the after-gun list shows,
    // and the numbers are drawn over the frame's lower corners.
    const QString at = QString::number(ShellFixture::t0 + ShellFixture::videoStart + 2.5, 'f', 2);
    Outcome rendered =
        runProgram(WAKELINE_PROGRAM,
                   {"render", fixture.package, "--at", at, "--layout", "video", "--size", "640x480", "-o",
                    out, "--metrics", "BoatSpeed,TWS", "--metrics-before-gun", "SOG"},
                   environment);
    ASSERT_EQ(rendered.exitCode, 0) << qPrintable(rendered.output);
    auto json = QJsonDocument::fromJson(rendered.output.mid(rendered.output.indexOf('{')).toUtf8()).object();
    QJsonObject overlay = json.value("overlay").toObject();
    EXPECT_FALSE(overlay.value("beforeGun").toBool());
    QJsonArray rows = overlay.value("rows").toArray();
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[0].toObject().value("name").toString(), "BSP");
    EXPECT_EQ(rows[0].toObject().value("unit").toString(), "kn");
    EXPECT_EQ(rows[1].toObject().value("name").toString(), "TWS");
    QImage image(out);
    EXPECT_EQ(shownIndex(image), -1);
}

TEST(RenderCommand, DrawsOneFrameOfALayoutOffscreen) {
    ShellFixture fixture;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DISPLAY");
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    const QString out = fixture.dir.filePath("frame.png");
    Outcome rendered = runProgram(WAKELINE_PROGRAM,
                                  {"render", fixture.package, "--at", "2023-06-06T12:03:20Z", "--layout",
                                   "mapTimeline", "--size", "800x500", "-o", out},
                                  environment);
    ASSERT_EQ(rendered.exitCode, 0) << qPrintable(rendered.output);
    QImage image(out);
    ASSERT_EQ(image.size(), QSize(800, 500));
    EXPECT_GT(colourCount(image), 8);
    EXPECT_TRUE(rendered.output.contains("\"layout\": \"mapTimeline\"")) << qPrintable(rendered.output);

    // Bad arguments: exit 2 and no picture; a missing document: exit 1.
    EXPECT_EQ(runProgram(WAKELINE_PROGRAM, {"render", fixture.package, "--layout", "grid", "-o", out + "2"},
                         environment)
                  .exitCode,
              2);
    EXPECT_EQ(runProgram(WAKELINE_PROGRAM, {"render", fixture.package, "--size", "big", "-o", out + "2"},
                         environment)
                  .exitCode,
              2);
    EXPECT_FALSE(QFile::exists(out + "2"));
    EXPECT_EQ(runProgram(WAKELINE_PROGRAM, {"render", fixture.dir.filePath("none.wakeline"), "-o", out + "2"},
                         environment)
                  .exitCode,
              1);
}

TEST(DesktopSmoke, OpensADocumentInARealWindowUnderXvfbAndQuitsCleanly) {
#ifndef XVFB_RUN
    GTEST_SKIP() << "xvfb-run is not installed (scripts/setup installs it)";
#else
    ShellFixture fixture;
    QTemporaryDir home;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove("QT_QPA_PLATFORM");
    environment.insert("QT_QPA_PLATFORM", "xcb");
    environment.insert("HOME", home.path());
    environment.insert("XDG_CONFIG_HOME", home.filePath("config"));
    environment.insert("XDG_STATE_HOME", home.filePath("state"));
    const QString shot = fixture.dir.filePath("screen.png");
    Outcome smoke = runProgram(
        XVFB_RUN,
        {"-a", "-s", "-screen 0 1280x800x24", WAKELINE_PROGRAM, "--screenshot", shot, fixture.package},
        environment, 90000);
    ASSERT_EQ(smoke.exitCode, 0) << qPrintable(smoke.output);
    QImage image(shot);
    ASSERT_FALSE(image.isNull()) << qPrintable(smoke.output);
    EXPECT_EQ(image.size(), QSize(1280, 800));
    EXPECT_GT(colourCount(image), 20) << "the window was not drawn";
    // A clean quit leaves no crash report, and the window's state was saved.
    EXPECT_FALSE(QDir(home.filePath("state/Wakeline/crashes")).exists() &&
                 !QDir(home.filePath("state/Wakeline/crashes")).entryList(QDir::Files).isEmpty());
    EXPECT_TRUE(QFile::exists(home.filePath("config/Wakeline/Wakeline.conf")));
#endif
}
