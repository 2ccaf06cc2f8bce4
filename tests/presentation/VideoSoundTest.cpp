#include "presentation/VideoSound.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

// The sound system is chosen once per process, so each case runs in a process of its own (a death
// test that must exit cleanly), with the sound server its environment names.

namespace {

constexpr double beepAmplitude = 0.5;
// Heard and clock times agree within this: a tick of the clock, and the steps in which the device
// tells its position.
constexpr double inStep = 0.08;
// Two beeps heard may each be that much off, the other way.
constexpr double beepSpacing = 0.12;
constexpr int deviceRate = 48000;

struct Fixtures {
    QString beeps; // AAC, 4 s, 0.1 s beeps at 1.0, 2.5 and 3.5 s
    QString text;
};

// Made once by the test's first process; the processes it starts find them through the environment.
const Fixtures& fixtures() {
    static const Fixtures made = [] {
        const QString given = qEnvironmentVariable("WAKELINE_TEST_SOUND_FIXTURES");
        // Only the first process makes a folder: the others end without cleaning up.
        static std::unique_ptr<QTemporaryDir> directory;
        if (given.isEmpty())
            directory = std::make_unique<QTemporaryDir>();
        const QDir folder(given.isEmpty() ? directory->path() : given);
        Fixtures out{folder.filePath("beeps.m4a"), folder.filePath("notes.mp4")};
        if (!given.isEmpty())
            return out;
        QProcess ffmpeg;
        ffmpeg.start("ffmpeg",
                     {"-v", "error", "-y", "-f", "lavfi", "-i",
                      QString("aevalsrc=exprs='%1*sin(2*PI*1000*t)*(between(t,1,1.1)+between(t,2.5,2.6)+"
                              "between(t,3.5,3.6))':s=48000:d=4")
                          .arg(beepAmplitude),
                      "-ac", "2", "-c:a", "aac", out.beeps});
        if (!ffmpeg.waitForFinished(60000) || ffmpeg.exitCode() != 0)
            ADD_FAILURE() << "ffmpeg: " << ffmpeg.readAllStandardError().toStdString();
        QFile text(out.text);
        if (!text.open(QIODevice::WriteOnly) || text.write("Start postponed.\n") < 0)
            ADD_FAILURE() << "cannot write " << out.text.toStdString();
        return out;
    }();
    return made;
}

class ScopedVariable {
public:
    ScopedVariable(const char* name, const QByteArray& value)
        : name_(name), had_(qEnvironmentVariableIsSet(name)), old_(qgetenv(name)) {
        qputenv(name, value);
    }
    ~ScopedVariable() {
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

// A sound server of the test's own that plays into a named pipe in real time, as a sound card
// would, so that the test hears what was played. In the process a death test runs in, the server of
// the process that started it is used.
class SoundServer {
public:
    SoundServer() {
        folder_ = qEnvironmentVariable("WAKELINE_TEST_SOUND_SERVER");
        if (!folder_.isEmpty())
            return;
        const QString program = QStandardPaths::findExecutable("pulseaudio");
        if (program.isEmpty() || !directory_.isValid())
            return;
        const QString folder = directory_.path();
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", folder);
        environment.insert("XDG_RUNTIME_DIR", folder);
        environment.insert("XDG_CONFIG_HOME", folder);
        process_.setProcessEnvironment(environment);
        process_.start(program,
                       {"-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                        "--log-level=error", "--log-target=stderr", "-L",
                        "module-native-protocol-unix auth-anonymous=1 socket=" + folder + "/native", "-L",
                        QString("module-pipe-sink sink_name=card file=%1/card.pcm format=s16le rate=%2 "
                                "channels=2 use_system_clock_for_timing=yes")
                            .arg(folder)
                            .arg(deviceRate)});
        QElapsedTimer waited;
        waited.start();
        while (process_.state() != QProcess::NotRunning && waited.elapsed() < 10000 &&
               !(QFile::exists(folder + "/native") && QFile::exists(folder + "/card.pcm")))
            QThread::msleep(20);
        if (QFile::exists(folder + "/native"))
            folder_ = folder;
    }
    ~SoundServer() {
        if (process_.state() != QProcess::NotRunning) {
            process_.terminate();
            if (!process_.waitForFinished(5000))
                process_.kill();
            process_.waitForFinished(5000);
        }
    }
    bool running() const { return !folder_.isEmpty(); }
    const QString& folder() const { return folder_; }

private:
    QTemporaryDir directory_;
    QProcess process_;
    QString folder_;
};

// Reads what the server plays, from its pipe, on a thread of its own.
class Capture {
public:
    explicit Capture(const QString& pipe)
        : descriptor_(::open(QFile::encodeName(pipe).constData(), O_RDONLY)) {
        if (descriptor_ >= 0)
            thread_ = std::thread([this] { loop(); });
    }
    ~Capture() {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    bool isOpen() const { return descriptor_ >= 0; }
    std::int64_t frames() const {
        std::lock_guard lock(mutex_);
        return static_cast<std::int64_t>(left_.size());
    }
    // Seconds after `from` at which a beep begins: loud after at least 50 ms of quiet.
    std::vector<double> onsets(std::int64_t from, std::int64_t to) const {
        std::lock_guard lock(mutex_);
        std::vector<double> found;
        constexpr std::int64_t quiet = deviceRate / 20;
        std::int64_t lastLoud = from - quiet;
        for (std::int64_t frame = from; frame < std::min<std::int64_t>(to, left_.size()); ++frame) {
            if (std::abs(left_[static_cast<std::size_t>(frame)]) < 0.4 * beepAmplitude * 32768)
                continue;
            if (frame - lastLoud >= quiet)
                found.push_back(static_cast<double>(frame - from) / deviceRate);
            lastLoud = frame;
        }
        return found;
    }

private:
    void loop() {
        std::vector<std::int16_t> block(4096);
        while (!stop_) {
            const ssize_t got = ::read(descriptor_, block.data(), block.size() * sizeof(std::int16_t));
            if (got <= 0)
                return;
            std::lock_guard lock(mutex_);
            for (std::size_t i = 0; i + 1 < static_cast<std::size_t>(got) / sizeof(std::int16_t); i += 2)
                left_.push_back(block[i]);
        }
    }

    int descriptor_;
    std::atomic<bool> stop_{false};
    mutable std::mutex mutex_;
    std::vector<std::int16_t> left_;
    std::thread thread_;
};

struct Problems {
    QStringList list;
    void check(bool ok, const QString& what) {
        if (!ok)
            list << what;
    }
};

// Ends the process of a death test: clean when nothing went wrong, else with the problems on stderr.
[[noreturn]] void exitWith(const QStringList& problems) {
    for (const QString& problem : problems)
        std::fprintf(stderr, "%s\n", qPrintable(problem));
    std::fflush(stderr);
    // Quick exit: the sound system's threads are still about.
    std::_Exit(problems.isEmpty() ? 0 : 1);
}

// Runs the clock from `from` for `seconds` of real time and tells the sound the clock's time on every
// tick, as the media view does. Returns the clock's time at the end.
double runClock(VideoSound& sound, double from, double seconds) {
    QElapsedTimer timer;
    timer.start();
    double now = from;
    while (timer.nsecsElapsed() < static_cast<qint64>(seconds * 1e9)) {
        QTest::qWait(40);
        now = from + static_cast<double>(timer.nsecsElapsed()) / 1e9;
        sound.sync(now);
    }
    return now;
}

QString offBy(VideoSound& sound, double clock) {
    const auto heard = sound.position();
    return heard ? QString::number(*heard - clock, 'f', 3) + " s off the clock"
                 : QStringLiteral("no position");
}

bool inStepAt(VideoSound& sound, double clock) {
    const auto heard = sound.position();
    return heard && std::abs(*heard - clock) <= inStep;
}

QStringList withoutDevice() {
    Problems problems;
    VideoSound sound(fixtures().beeps);
    QSignalSpy failed(&sound, &VideoSound::failed);
    problems.check(!sound.hasSound(), "sound without a device");
    problems.check(sound.failure() == "there is no sound output device", "reason: " + sound.failure());
    sound.setMuted(true);
    sound.play(1.0);
    sound.sync(1.04);
    sound.setMuted(false);
    sound.sync(3.0);
    problems.check(!sound.position(), "a position without a device");
    sound.pause();
    sound.play(0.5);
    problems.check(failed.wait(5000) && failed.count() == 1,
                   "failed told " + QString::number(failed.count()) + " times");
    problems.check(!sound.hasSound(), "sound after failing");
    return problems.list;
}

QStringList onADevice(const QString& pipe) {
    Problems problems;
    Capture card(pipe);
    problems.check(card.isOpen(), "cannot read the server's pipe");

    // A file without sound says so and stays quiet.
    {
        VideoSound text(fixtures().text);
        QSignalSpy failed(&text, &VideoSound::failed);
        problems.check(failed.wait(5000), "no failure for a text file");
        problems.check(text.failure() == "it is not a video or sound file", "reason: " + text.failure());
        text.play(0.0);
        text.sync(0.5);
        problems.check(!text.hasSound() && !text.position(), "a text file sounds");
    }

    VideoSound sound(fixtures().beeps);
    QSignalSpy opened(&sound, &VideoSound::opened);
    problems.check(opened.wait(5000) && sound.hasSound() && sound.failure().isEmpty(),
                   "not opened: " + sound.failure());
    if (!sound.hasSound())
        return problems.list;

    // In step from a start at 0.4 s, then the clock jumps from 1.3 s to 2.0 s: heard are the beeps at
    // 1.0 s and, 0.8 s later, the one at 2.5 s. Paused at 3.3 s, the beep at 3.5 s is never heard,
    // though the device holds it already.
    const std::int64_t first = card.frames();
    sound.play(0.4);
    double clock = runClock(sound, 0.4, 0.9);
    problems.check(inStepAt(sound, clock), "after starting: " + offBy(sound, clock));
    sound.sync(2.0);
    clock = runClock(sound, 2.0, 1.3);
    problems.check(inStepAt(sound, clock), "after the jump: " + offBy(sound, clock));
    problems.check(clock < 3.45, QString("paused late, at %1 s").arg(clock));
    sound.pause();
    problems.check(!sound.position(), "a position while paused");
    QTest::qWait(600);
    const std::vector<double> beeps = card.onsets(first, card.frames());
    QStringList heard;
    for (double beep : beeps)
        heard << QString::number(beep, 'f', 3);
    problems.check(beeps.size() == 2, "around the jump beeps heard at " + heard.join(", ") + " s");
    if (beeps.size() == 2)
        problems.check(std::abs(beeps[1] - beeps[0] - 0.8) <= beepSpacing,
                       QString("beeps %1 s apart around the jump").arg(beeps[1] - beeps[0]));

    // Muted nothing is heard, and the position follows the clock; unmuted the sound comes back in step.
    const std::int64_t muted = card.frames();
    sound.setMuted(true);
    sound.play(0.7);
    clock = runClock(sound, 0.7, 0.6);
    problems.check(inStepAt(sound, clock), "muted: " + offBy(sound, clock));
    problems.check(card.onsets(muted, card.frames()).empty(), "a beep while muted");
    const std::int64_t unmuted = card.frames();
    sound.setMuted(false);
    clock = runClock(sound, clock, 1.4);
    problems.check(inStepAt(sound, clock), "unmuted: " + offBy(sound, clock));
    sound.pause();
    QTest::qWait(300);
    problems.check(card.onsets(unmuted, card.frames()).size() == 1, "the beep at 2.5 s after unmuting");

    // Past the end of the sound: silence, and the position goes on with the clock.
    sound.play(3.8);
    clock = runClock(sound, 3.8, 0.8);
    problems.check(inStepAt(sound, clock), "past the end: " + offBy(sound, clock));
    return problems.list;
}

} // namespace

TEST(VideoSoundTest, WithoutAnOutputDeviceEverythingIsAQuietNoOp) {
    ScopedVariable made("WAKELINE_TEST_SOUND_FIXTURES", QFileInfo(fixtures().beeps).path().toLocal8Bit());
    ScopedVariable server("PULSE_SERVER", "unix:/nonexistent/native");
    EXPECT_EXIT(exitWith(withoutDevice()), ::testing::ExitedWithCode(0), "");
}

TEST(VideoSoundTest, FollowsTheClockOnADevice) {
    SoundServer server;
    if (!server.running())
        GTEST_SKIP() << "pulseaudio is not installed: no sound device to play on";
    ScopedVariable made("WAKELINE_TEST_SOUND_FIXTURES", QFileInfo(fixtures().beeps).path().toLocal8Bit());
    ScopedVariable folder("WAKELINE_TEST_SOUND_SERVER", server.folder().toLocal8Bit());
    ScopedVariable socket("PULSE_SERVER", ("unix:" + server.folder() + "/native").toLocal8Bit());
    EXPECT_EXIT(exitWith(onADevice(server.folder() + "/card.pcm")), ::testing::ExitedWithCode(0), "");
}
