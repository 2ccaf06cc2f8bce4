#include "core/UserDefaults.h"
#include "media/VideoDecoder.h"
#include "media/VideoFixtures.h"
#include "media/VideoProxyJob.h"
#include "media/VideoProxyPolicy.h"
#include "media/VideoProxyStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

using namespace VideoFixtures;

namespace {

QByteArray run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(120000) || process.exitCode() != 0)
        ADD_FAILURE() << program.toStdString() << " " << arguments.join(' ').toStdString() << ": "
                      << process.readAllStandardError().toStdString();
    return process.readAllStandardOutput();
}

// Clips beyond the shared numbered ones: wider than a proxy, long enough to stop half-way, with sound.
struct Clips {
    QString wide;      // 1280 × 720, 1 s
    QString long720p;  // 1280 × 720, 20 s
    QString aacSound;  // `h264` with AAC sound, MP4
    QString pcmSound;  // `h264` with PCM sound, QuickTime
    QString oggSound;  // `h264` with Vorbis sound, Matroska
    QString transport; // `h264` in an MPEG transport stream, whose clock does not start at zero
};

const Clips& clips() {
    static QTemporaryDir directory;
    static const Clips made = [] {
        Clips out{directory.filePath("wide.mp4"),   directory.filePath("long.mp4"),
                  directory.filePath("aac.mp4"),    directory.filePath("pcm.mov"),
                  directory.filePath("vorbis.mkv"), directory.filePath("transport.ts")};
        const QStringList quiet{"-v", "error", "-y"};
        run("ffmpeg",
            quiet + QStringList{"-f", "lavfi", "-i", "testsrc=s=1280x720:r=25:d=1", "-c:v", "libx264",
                                "-preset", "ultrafast", "-pix_fmt", "yuv420p", out.wide});
        run("ffmpeg",
            quiet + QStringList{"-f", "lavfi", "-i", "testsrc=s=1280x720:r=25:d=20", "-c:v", "libx264",
                                "-preset", "ultrafast", "-pix_fmt", "yuv420p", out.long720p});
        const QStringList withSound =
            quiet +
            QStringList{"-i",   videos().h264, "-f",   "lavfi", "-i",   "sine=frequency=440:duration=4",
                        "-map", "0:v",         "-map", "1:a",   "-c:v", "copy"};
        run("ffmpeg", withSound + QStringList{"-c:a", "aac", out.aacSound});
        run("ffmpeg", withSound + QStringList{"-c:a", "pcm_s16le", out.pcmSound});
        run("ffmpeg", withSound + QStringList{"-c:a", "libvorbis", out.oggSound});
        run("ffmpeg", quiet + QStringList{"-i", videos().h264, "-c", "copy", "-bsf:v", "h264_mp4toannexb",
                                          out.transport});
        return out;
    }();
    return made;
}

QString makeProxy(const QString& original, const QTemporaryDir& folder) {
    const QString proxy = folder.filePath(QFileInfo(original).completeBaseName() + ".mov");
    VideoProxyJob job(original, proxy);
    EXPECT_EQ(job.run(), VideoProxyJob::Outcome::finished) << job.failure().toStdString();
    EXPECT_DOUBLE_EQ(job.progress(), 1.0);
    return proxy;
}

std::unique_ptr<VideoDecoder> openVideo(const QString& path) {
    QString failure;
    auto decoder = VideoDecoder::open(path, &failure);
    EXPECT_TRUE(decoder) << path.toStdString() << ": " << failure.toStdString();
    return decoder;
}

QJsonArray probe(const QString& path, const QString& entries, const QStringList& more = {}) {
    const QByteArray json =
        run("ffprobe",
            QStringList{"-v", "error", "-of", "json", "-show_entries", entries} + more + QStringList{path});
    const QJsonObject top = QJsonDocument::fromJson(json).object();
    return top.value(top.contains("packets") ? "packets" : "streams").toArray();
}

QStringList filesIn(const QString& folder) {
    return QDir(folder).entryList(QDir::Files);
}

void setModified(const QString& path, std::chrono::hours ago) {
    std::filesystem::last_write_time(QFile::encodeName(path).toStdString(),
                                     std::filesystem::file_time_type::clock::now() - ago);
}

} // namespace

TEST(VideoProxyTest, ShowsTheOriginalsFrameAtEveryTime) {
    QTemporaryDir folder;
    for (const QString& original : {videos().h264, videos().cut, videos().lateStart, videos().variableRate,
                                    clips().aacSound, clips().transport}) {
        SCOPED_TRACE(original.toStdString());
        auto before = openVideo(original);
        auto proxy = openVideo(makeProxy(original, folder));
        ASSERT_TRUE(before && proxy);
        EXPECT_EQ(proxy->info().codecName, "h264");
        EXPECT_NEAR(proxy->info().duration, before->info().duration, 0.001);
        // Every frame of the original, where it begins and just before, and beyond both ends.
        int frames = 0;
        for (VideoFrame at = before->frameAt(-1.0); !at.isNull() && frames < 200; ++frames) {
            const VideoFrame same = proxy->frameAt(at.time());
            EXPECT_EQ(shownIndex(same), shownIndex(at)) << "at " << at.time();
            EXPECT_NEAR(same.time(), at.time(), 1e-6);
            const double justBefore = at.time() - 1e-4;
            EXPECT_EQ(shownIndex(proxy->frameAt(justBefore)), shownIndex(before->frameAt(justBefore)))
                << "just before " << at.time();
            const double next = at.time() + at.duration();
            if (next > before->info().duration)
                break;
            at = before->frameAt(next);
        }
        EXPECT_GE(frames, 49);
        EXPECT_EQ(shownIndex(proxy->frameAt(1000.0)), shownIndex(before->frameAt(1000.0)));
        // The edit list and the late start are kept, not flattened to a stream starting at zero.
        if (original == videos().cut) {
            EXPECT_EQ(shownIndex(proxy->frameAt(0.0)), 30);
        }
        if (original == videos().lateStart) {
            EXPECT_EQ(shownIndex(proxy->frameAt(0.5 + 0.04)), 1);
        }
    }
}

TEST(VideoProxyTest, IsNarrowUprightAndQuickToSeek) {
    QTemporaryDir folder;
    // Wide: 960 across, even height, the shape kept.
    const QString wide = makeProxy(clips().wide, folder);
    auto decoder = openVideo(wide);
    ASSERT_TRUE(decoder);
    EXPECT_EQ(decoder->info().width, 960);
    EXPECT_EQ(decoder->info().height, 540);

    // Short GOP without B-frames: keyframes at most 12 frames apart, packets in presentation order.
    const QJsonArray packets = probe(wide, "packet=pts,flags", {"-select_streams", "v"});
    ASSERT_EQ(packets.size(), 25);
    qint64 previousPts = -1;
    int sinceKeyframe = 0;
    for (const QJsonValue& packet : packets) {
        const qint64 pts = packet["pts"].toInteger();
        EXPECT_GT(pts, previousPts);
        previousPts = pts;
        sinceKeyframe = packet["flags"].toString().startsWith('K') ? 0 : sinceKeyframe + 1;
        EXPECT_LT(sinceKeyframe, 12);
    }

    // Pixels 4:3 wide become square ones: the picture is as wide on screen as the original.
    auto hevc = openVideo(makeProxy(videos().hevc, folder));
    ASSERT_TRUE(hevc);
    EXPECT_EQ(hevc->info().width, 426);
    EXPECT_EQ(hevc->info().height, 240);
    EXPECT_EQ(hevc->info().displayWidth, 426);

    // A phone held upright: the turn travels with the proxy and the decoder applies it.
    for (const auto& [path, rotation] :
         {std::pair{videos().turnedRight, 90}, std::pair{videos().turnedLeft, 270}}) {
        auto turned = openVideo(makeProxy(path, folder));
        ASSERT_TRUE(turned);
        EXPECT_EQ(turned->info().rotation, rotation);
        EXPECT_EQ(turned->info().width, 240);
        EXPECT_EQ(turned->info().height, 320);
        for (int k : {0, 37, 99})
            EXPECT_EQ(shownIndex(turned->frameAt(k * 0.04), rotation), k);
    }
}

TEST(VideoProxyTest, KeepsTheSoundItCanHold) {
    QTemporaryDir folder;
    for (const auto& [original, codec] :
         {std::pair{clips().aacSound, "aac"}, std::pair{clips().pcmSound, "pcm_s16le"}}) {
        const QString proxy = folder.filePath("sound.mov");
        VideoProxyJob job(original, proxy);
        ASSERT_EQ(job.run(), VideoProxyJob::Outcome::finished) << job.failure().toStdString();
        EXPECT_TRUE(job.warning().isEmpty());
        const QJsonArray streams = probe(proxy, "stream=codec_type,codec_name,duration");
        ASSERT_EQ(streams.size(), 2) << codec;
        const QJsonObject sound = streams[streams[0]["codec_type"].toString() == "audio" ? 0 : 1].toObject();
        EXPECT_EQ(sound["codec_name"].toString(), codec);
        EXPECT_NEAR(sound["duration"].toString().toDouble(), 4.0, 0.05) << codec;
    }
    // Vorbis does not go into a QuickTime file: a silent proxy, and the user is told.
    const QString proxy = folder.filePath("vorbis.mov");
    VideoProxyJob job(clips().oggSound, proxy);
    ASSERT_EQ(job.run(), VideoProxyJob::Outcome::finished) << job.failure().toStdString();
    EXPECT_TRUE(job.warning().contains("vorbis")) << job.warning().toStdString();
    EXPECT_EQ(probe(proxy, "stream=codec_type").size(), 1);
}

TEST(VideoProxyTest, StoreFindsAProxyBySizeAndTimeOfItsOriginal) {
    QTemporaryDir cache;
    QTemporaryDir cards;
    qputenv("XDG_CACHE_HOME", cache.path().toUtf8());
    const VideoProxyStore store;
    qunsetenv("XDG_CACHE_HOME");
    EXPECT_EQ(store.folder(), cache.filePath("Wakeline/proxies"));

    const QString original = cards.filePath("GX010042.MP4");
    ASSERT_TRUE(QFile::copy(videos().h264, original));
    EXPECT_TRUE(store.find(original).isEmpty());
    const QString path = store.proxyPath(original);
    ASSERT_FALSE(path.isEmpty());
    EXPECT_TRUE(path.startsWith(store.folder()));
    EXPECT_TRUE(QFileInfo(path).fileName().contains("GX010042"));

    // Until the job is done only its partial file exists, and that is not a proxy.
    QFile partial(VideoProxyStore::partialPath(path));
    ASSERT_TRUE(partial.open(QIODevice::WriteOnly));
    partial.close();
    EXPECT_TRUE(store.find(original).isEmpty());
    VideoProxyJob job(original, path);
    ASSERT_EQ(job.run(), VideoProxyJob::Outcome::finished) << job.failure().toStdString();
    EXPECT_FALSE(QFile::exists(partial.fileName()));
    EXPECT_EQ(store.find(original), path);

    // Another run of the program, the card copied elsewhere and renamed: the same proxy.
    const QString moved = cards.filePath("renamed/race-3.mp4");
    QDir().mkpath(QFileInfo(moved).path());
    ASSERT_TRUE(QFile::rename(original, moved));
    EXPECT_EQ(VideoProxyStore(cache.filePath("Wakeline/proxies")).find(moved), path);
    // A file of the same size written at another time is another video.
    QFile copy(cards.filePath("copy.mp4"));
    ASSERT_TRUE(QFile::copy(moved, copy.fileName()));
    ASSERT_TRUE(copy.open(QIODevice::ReadWrite));
    ASSERT_TRUE(
        copy.setFileTime(QFileInfo(moved).lastModified().addSecs(1), QFileDevice::FileModificationTime));
    copy.close();
    EXPECT_TRUE(store.find(copy.fileName()).isEmpty());
    // An original that changes gets a proxy of its own.
    QFile changed(moved);
    ASSERT_TRUE(changed.open(QIODevice::Append));
    changed.write("more");
    changed.close();
    EXPECT_TRUE(store.find(moved).isEmpty());
    EXPECT_NE(store.proxyPath(moved), path);
    EXPECT_TRUE(store.find(cards.filePath("gone.mp4")).isEmpty());
    EXPECT_TRUE(store.proxyPath(cards.filePath("gone.mp4")).isEmpty());

    // Clearing up: proxies unused for long and partial files nobody writes to go; the rest stays.
    const QString recent = store.folder() + "/1-2-recent.mov";
    const QString abandoned = VideoProxyStore::partialPath(store.folder() + "/3-4-crashed.mov");
    const QString writing = VideoProxyStore::partialPath(store.folder() + "/5-6-writing.mov");
    for (const QString& name : {recent, abandoned, writing}) {
        QFile file(name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    setModified(path, std::chrono::hours(24 * 40));
    setModified(abandoned, std::chrono::hours(2));
    EXPECT_EQ(store.removeStale(QDateTime::currentDateTime().addDays(-30)), 2);
    EXPECT_EQ(filesIn(store.folder()), (QStringList{"1-2-recent.mov", "5-6-writing.mov.part"}));
}

TEST(VideoProxyTest, LeavesNoFileWhenItDoesNotFinish) {
    QTemporaryDir folder;
    const QString proxy = folder.filePath("proxy.mov");
    auto waitForWork = [](const VideoProxyJob& job) {
        while (job.progress() < 0.1 && job.outcome() == VideoProxyJob::Outcome::pending)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    };

    // Cancelled half-way, on its own thread, and before it began.
    {
        VideoProxyJob job(clips().long720p, proxy);
        std::atomic<bool> called{false};
        job.start([&](VideoProxyJob::Outcome outcome) {
            EXPECT_EQ(outcome, VideoProxyJob::Outcome::cancelled);
            called = true;
        });
        waitForWork(job);
        job.cancel();
        job.wait();
        EXPECT_TRUE(called);
        EXPECT_EQ(job.outcome(), VideoProxyJob::Outcome::cancelled);
        EXPECT_LT(job.progress(), 1.0);
        EXPECT_TRUE(filesIn(folder.path()).isEmpty());
    }
    {
        VideoProxyJob job(videos().h264, proxy);
        job.cancel();
        EXPECT_EQ(job.run(), VideoProxyJob::Outcome::cancelled);
        EXPECT_TRUE(filesIn(folder.path()).isEmpty());
    }

    // The original changed while its proxy was made: that proxy would stand for the old file.
    {
        QTemporaryDir cards;
        const QString original = cards.filePath("changing.mp4");
        ASSERT_TRUE(QFile::copy(clips().long720p, original));
        VideoProxyJob job(original, proxy);
        job.start();
        waitForWork(job);
        setModified(original, std::chrono::hours(1));
        job.wait();
        EXPECT_EQ(job.outcome(), VideoProxyJob::Outcome::failed);
        EXPECT_EQ(job.failure(), "the file changed while its proxy was being made");
        EXPECT_TRUE(filesIn(folder.path()).isEmpty());
    }

    // Files that do not play get the reason playback gives.
    for (const QString& bad : {videos().text, videos().soundOnly, videos().unknownCodec, videos().truncated,
                               folder.filePath("missing.mp4")}) {
        SCOPED_TRACE(bad.toStdString());
        QString playbackReason;
        EXPECT_FALSE(VideoDecoder::open(bad, &playbackReason));
        VideoProxyJob job(bad, proxy);
        EXPECT_EQ(job.run(), VideoProxyJob::Outcome::failed);
        EXPECT_FALSE(job.failure().isEmpty());
        EXPECT_EQ(job.failure(), playbackReason);
        EXPECT_TRUE(filesIn(folder.path()).isEmpty());
    }
    VideoProxyJob text(videos().text, proxy);
    text.run();
    EXPECT_EQ(text.failure(), "it is not a video file");

    // A proxy that cannot be written says where.
    VideoProxyJob nowhere(videos().h264, "/dev/null/proxies/proxy.mov");
    EXPECT_EQ(nowhere.run(), VideoProxyJob::Outcome::failed);
    EXPECT_TRUE(nowhere.failure().contains("/dev/null/proxies")) << nowhere.failure().toStdString();
}

TEST(VideoProxyTest, PolicyAsksForAProxyWhenDecodingCannotKeepUp) {
    VideoStreamInfo uhd;
    uhd.width = 3840;
    uhd.height = 2160;
    uhd.frameRate = 60;
    uhd.codecName = "hevc";
    const VideoProxyPolicy twoCores(2);
    // A two-core laptop decodes 4K60 HEVC at about 20 frames per second.
    EXPECT_NEAR(twoCores.estimatedDecodeRate(uhd), 20, 2);
    EXPECT_TRUE(twoCores.needsProxy(uhd));
    EXPECT_FALSE(VideoProxyPolicy(16).needsProxy(uhd));
    VideoStreamInfo hardware = uhd;
    hardware.hardwareDecoding = true;
    EXPECT_FALSE(twoCores.needsProxy(hardware));

    VideoStreamInfo hd = uhd;
    hd.width = 1920;
    hd.height = 1080;
    hd.frameRate = 30;
    hd.codecName = "h264";
    EXPECT_FALSE(twoCores.needsProxy(hd));
    // What playback measured outweighs the estimate, both ways.
    EXPECT_TRUE(twoCores.needsProxy(hd, 31.0));
    EXPECT_FALSE(twoCores.needsProxy(uhd, 90.0));
    EXPECT_FALSE(twoCores.needsProxy(VideoStreamInfo{}));

    const QTemporaryDir settings;
    UserDefaults defaults(settings.filePath("settings.ini"));
    EXPECT_EQ(VideoProxyPolicy::fromDefaults(defaults, 2).choice(), VideoProxyPolicy::Choice::automatic);
    defaults.setValue(VideoProxyPolicy::defaultsKey, "Always");
    EXPECT_TRUE(VideoProxyPolicy::fromDefaults(defaults, 2).needsProxy(hd));
    defaults.setValue(VideoProxyPolicy::defaultsKey, "never");
    EXPECT_FALSE(VideoProxyPolicy::fromDefaults(defaults, 2).needsProxy(uhd));
}
