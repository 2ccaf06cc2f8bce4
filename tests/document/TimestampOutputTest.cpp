#include "document/TimestampOutput.h"

#include "core/UserDefaults.h"
#include "document/Document.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace {

// Points the home folder at a temporary one for the lifetime of a test.
struct TemporaryHome {
    QTemporaryDir dir;
    QByteArray previous = qgetenv("HOME");
    TemporaryHome() { qputenv("HOME", dir.path().toUtf8()); }
    ~TemporaryHome() { qputenv("HOME", previous); }
};

QString utf16(const QByteArray& bytes) {
    return QString::fromUtf16(reinterpret_cast<const char16_t*>(bytes.constData()), bytes.size() / 2);
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

} // namespace

TEST(TimestampOutput, Formats) {
    EXPECT_EQ(TimestampOutput::text(Instant::fromUnix(0), TimestampFormat::DelphiMsecInt), "2209161600000");
    EXPECT_EQ(TimestampOutput::text(Instant::fromUnix(1623412345.25), TimestampFormat::UnixSecFloat),
              "1623412345.25");
    EXPECT_EQ(TimestampOutput::text(Instant::fromUnix(1623412345.75), TimestampFormat::UnixSecInt),
              "1623412345");
    EXPECT_EQ(TimestampOutput::text(Instant::fromUnix(-1.5), TimestampFormat::UnixSecInt), "-1");
    EXPECT_EQ(TimestampOutput::text(Instant::fromUnix(1.0009), TimestampFormat::DelphiMsecInt),
              "2209161601000");
}

TEST(TimestampOutputDeathTest, IntegerFormatsOfImpossibleTimesStop) {
    EXPECT_DEATH(TimestampOutput::text(Instant(NAN), TimestampFormat::UnixSecInt), "out of range");
    EXPECT_DEATH(TimestampOutput::text(Instant(1e300), TimestampFormat::DelphiMsecInt), "out of range");
}

TEST(TimestampOutput, FileModeHoldsTheLatestTimeOnly) {
    TemporaryHome home;
    const Instant start = Instant::fromUnix(1'686'052'800);
    Instant wallClock = Instant::fromUnix(1'700'000'000);
    Document document;
    document.setWallClock([&] { return wallClock; });

    // Disabled: no file, no timer.
    UserDefaults::standard().setValue("writeTimestampMode", 0);
    document.setPlaybackPosition(start, true);
    document.play();
    EXPECT_FALSE(QFile::exists(TimestampOutput::path()));
    document.timestampWriteTick();
    EXPECT_FALSE(QFile::exists(TimestampOutput::path()));
    document.pause();

    UserDefaults::standard().setValue("writeTimestampMode", 1);
    UserDefaults::standard().setValue("writeTimestampFrequency", "abc");
    // A stale file from an earlier run is replaced.
    QDir().mkpath(QFileInfo(TimestampOutput::path()).absolutePath());
    QFile stale(TimestampOutput::path());
    stale.open(QIODevice::WriteOnly);
    stale.write("stale stale stale stale stale stale");
    stale.close();

    document.setPlaybackPosition(start, true);
    // A seek writes its position once through a fresh output.
    EXPECT_EQ(utf16(readAll(TimestampOutput::path())),
              QString::fromStdString(TimestampOutput::text(start, TimestampFormat::DelphiMsecInt)));
    document.play();
    EXPECT_EQ(document.timestampMode(), TimestampWriteMode::File);
    for (int i = 0; i < 3; ++i) {
        wallClock += 1;
        document.timestampWriteTick();
    }
    QByteArray bytes = readAll(TimestampOutput::path());
    EXPECT_EQ(bytes.size(), 26); // 13 digits, two bytes each, no terminator
    EXPECT_EQ(utf16(bytes),
              QString::fromStdString(TimestampOutput::text(start + 3, TimestampFormat::DelphiMsecInt)));
    EXPECT_EQ(bytes.at(1), '\0'); // little-endian
    document.pause();
    UserDefaults::standard().setValue("writeTimestampMode", 0);
}

TEST(TimestampOutput, PipeModeStreamsTimesToAReader) {
    TemporaryHome home;
    UserDefaults::standard().setValue("writeTimestampMode", 2);
    const Instant start = Instant::fromUnix(1'686'052'800);
    Instant wallClock = Instant::fromUnix(1'700'000'000);
    Document document;
    document.setWallClock([&] { return wallClock; });
    document.setPlaybackPosition(start, false);

    QByteArray received;
    std::thread reader([&] {
        // Wait for the FIFO to appear, then read until the writer closes it.
        struct stat info;
        while (::stat(QFile::encodeName(TimestampOutput::path()).constData(), &info) != 0 ||
               !S_ISFIFO(info.st_mode))
            std::this_thread::yield();
        QFile fifo(TimestampOutput::path());
        if (fifo.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            received = fifo.readAll();
    });
    document.play(); // opening waits for the reader
    wallClock += 1;
    document.timestampWriteTick();
    wallClock += 1;
    document.timestampWriteTick();
    document.pause();
    reader.join();
    UserDefaults::standard().setValue("writeTimestampMode", 0);

    QString expected =
        QString::fromStdString(TimestampOutput::text(start + 1, TimestampFormat::DelphiMsecInt) +
                               TimestampOutput::text(start + 2, TimestampFormat::DelphiMsecInt));
    EXPECT_EQ(utf16(received), expected);
}
