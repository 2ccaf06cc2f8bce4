#include "media/VideoFixtures.h"

#include "media/VideoFrame.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace VideoFixtures {

namespace {

// geq's luma: block number into register 0, then white for the fixed white block and the index's
// set bits.
const QString indexBlocks = "geq=lum='st(0,floor(X/80)+4*floor(Y/60));"
                            "if(eq(ld(0),15),235,if(eq(ld(0),14),16,"
                            "if(mod(floor(N/pow(2,ld(0))),2),235,16)))':cb=128:cr=128";

void ffmpeg(const QStringList& arguments) {
    QProcess process;
    process.start("ffmpeg", QStringList{"-v", "error", "-y"} + arguments);
    if (!process.waitForFinished(120000) || process.exitCode() != 0)
        ADD_FAILURE() << "ffmpeg " << arguments.join(' ').toStdString() << ": "
                      << process.readAllStandardError().toStdString();
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        ADD_FAILURE() << "cannot read " << path.toStdString();
    return file.readAll();
}

void writeAll(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        ADD_FAILURE() << "cannot write " << path.toStdString();
}

QStringList source(double seconds) {
    return {"-f", "lavfi", "-i", QString("color=c=gray:s=320x240:r=25:d=%1").arg(seconds)};
}

} // namespace

double variableRateTime(int index) {
    if (index < 20)
        return index * 0.04;
    if (index < 30)
        return 0.8 + (index - 20) * 0.1;
    return 1.8 + (index - 30) * 0.02;
}

const Videos& videos() {
    static QTemporaryDir directory;
    static const Videos made = [] {
        auto path = [](const char* name) { return directory.filePath(name); };
        Videos out;
        out.h264 = path("h264.mp4");
        out.cut = path("cut.mp4");
        out.lateStart = path("late-start.mp4");
        out.hevc = path("hevc.mp4");
        out.turnedRight = path("turned-right.mp4");
        out.turnedLeft = path("turned-left.mp4");
        out.variableRate = path("variable-rate.mp4");
        out.soundOnly = path("sound.m4a");
        out.text = path("notes.mp4");
        out.truncated = path("truncated.mp4");
        out.truncatedEarlyIndex = path("truncated-index-first.mp4");
        out.unknownCodec = path("unknown-codec.mp4");
        const QString earlyIndex = path("index-first.mp4");

        // The blocks are drawn once (geq is slow); one more run makes the others from that video.
        ffmpeg(source(4) + QStringList{"-vf", indexBlocks, "-c:v", "libx264", "-bf", "3", "-g", "12",
                                       "-pix_fmt", "yuv420p", out.h264});
        QStringList derived{
            "-i",  out.h264, "-ss",    "1.2", "-i",    out.h264, "-itsoffset",
            "0.5", "-i",     out.h264, "-f",  "lavfi", "-i",     "sine=frequency=440:duration=1"};
        auto output = [&derived](const char* options, const QString& path) {
            derived << QString(options).split(' ') << path;
        };
        output("-map 0:v -c copy -movflags +faststart", earlyIndex);
        output("-map 1:v -c copy", out.cut);
        output("-map 2:v -c copy", out.lateStart);
        // FFmpeg 5.1 writes the "rotate" tag as a display matrix turning the other way.
        output("-map 0:v -c copy -metadata:s:v rotate=270", out.turnedRight);
        output("-map 0:v -c copy -metadata:s:v rotate=90", out.turnedLeft);
        output("-map 0:v -frames:v 50 -vf setsar=4/3 "
               "-c:v libx265 -tag:v hvc1 -x265-params log-level=error -g 12",
               out.hevc);
        output("-map 0:v -frames:v 50 -vf settb=1/1000,setpts='if(lt(N,20),N*40,if(lt(N,30),800+(N-20)*100,"
               "1800+(N-30)*20))' -fps_mode passthrough -enc_time_base 1/1000 -c:v libx264 -bf 2 -g 10",
               out.variableRate);
        output("-map 3:a -c:a aac", out.soundOnly);
        ffmpeg(derived);

        writeAll(out.text, "Notes from the regatta: the start was postponed.\n");
        const QByteArray whole = readAll(out.h264);
        writeAll(out.truncated, whole.left(whole.size() / 2));
        const QByteArray indexFirst = readAll(earlyIndex);
        writeAll(out.truncatedEarlyIndex, indexFirst.left(indexFirst.size() / 2));
        QByteArray renamed = whole;
        const qsizetype entry = renamed.indexOf("avc1", renamed.indexOf("stsd"));
        if (entry < 0)
            ADD_FAILURE() << "no avc1 sample entry";
        else
            renamed.replace(entry, 4, "zzzz");
        writeAll(out.unknownCodec, renamed);
        return out;
    }();
    return made;
}

int shownIndex(const VideoFrame& frame, int rotation) {
    if (frame.isNull())
        return -1;
    // The unturned picture's size: 320 × 240, or smaller when decoded scaled down.
    const bool sideways = rotation == 90 || rotation == 270;
    const int width = sideways ? frame.height() : frame.width();
    const int height = sideways ? frame.width() : frame.height();
    auto white = [&](int block) {
        // The block's centre in the unturned picture, then where the turn took it.
        const int x = (block % 4 * 80 + 40) * width / 320;
        const int y = (block / 4 * 60 + 30) * height / 240;
        int turnedX = x;
        int turnedY = y;
        if (rotation == 90) {
            turnedX = height - 1 - y;
            turnedY = x;
        } else if (rotation == 270) {
            turnedX = y;
            turnedY = width - 1 - x;
        } else if (rotation == 180) {
            turnedX = width - 1 - x;
            turnedY = height - 1 - y;
        }
        const std::uint32_t pixel = frame.pixel(turnedX, turnedY);
        return ((pixel >> 8) & 0xff) > 128; // green
    };
    if (!white(15) || white(14))
        return -1;
    int index = 0;
    for (int bit = 0; bit < 12; ++bit)
        if (white(bit))
            index |= 1 << bit;
    return index;
}

} // namespace VideoFixtures
