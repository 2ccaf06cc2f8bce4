#include "app/ShellFixture.h"
#include "config/ZonedDateTimeEdit.h"
#include "document/Document.h"
#include "media/AvHandle.h"
#include "media/VideoDecoder.h"
#include "media/VideoEncoder.h"
#include "media/VideoFixtures.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/ReplayExportDialog.h"
#include "presentation/ReplayExportJob.h"
#include "race/Race.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QProcess>
#include <QTimer>
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

struct Outcome {
    int exitCode = -1;
    QString output;
};

Outcome runProgram(const QString& program, const QStringList& arguments) {
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DISPLAY");
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    Outcome result;
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.output = QString::fromLocal8Bit(process.readAll());
    return result;
}

QJsonObject jsonOf(const QString& output) {
    return QJsonDocument::fromJson(output.mid(output.indexOf('{')).toUtf8()).object();
}

// The numbered test video with a 440 Hz tone under it, 4 s of each.
QString videoWithSound(const QString& folder) {
    const QString path = QDir(folder).filePath("numbered with sound.mp4");
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg",
                 {"-v", "error", "-y", "-i", VideoFixtures::videos().h264, "-f", "lavfi", "-i",
                  "sine=frequency=440:duration=4", "-c:v", "copy", "-c:a", "aac", "-shortest", path});
    ffmpeg.waitForFinished(60000);
    return ffmpeg.exitCode() == 0 ? path : QString();
}

struct StreamFacts {
    AVCodecID codec = AV_CODEC_ID_NONE;
    int format = -1;
    AVRational rate{0, 1};
    std::int64_t frames = 0;
    double seconds = 0.0;
};

// What the film's container says of its first stream of `type`, counting the packets.
std::optional<StreamFacts> streamFacts(const QString& path, AVMediaType type) {
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return std::nullopt;
    AvFormatContextHandle input(opened);
    avformat_find_stream_info(opened, nullptr);
    const int index = av_find_best_stream(opened, type, -1, -1, nullptr, 0);
    if (index < 0)
        return std::nullopt;
    const AVStream* stream = opened->streams[index];
    StreamFacts facts;
    facts.codec = stream->codecpar->codec_id;
    facts.format = stream->codecpar->format;
    facts.rate = stream->avg_frame_rate;
    std::int64_t end = 0;
    AvPacketHandle packet(av_packet_alloc());
    while (av_read_frame(opened, packet.get()) >= 0) {
        if (packet->stream_index == index) {
            ++facts.frames;
            end = std::max(end, packet->pts + packet->duration);
        }
        av_packet_unref(packet.get());
    }
    facts.seconds = double(end) * av_q2d(stream->time_base);
    return facts;
}

// Mean difference of the colour channels of a film frame and a picture of the same size.
double meanDifference(const VideoFrame& frame, const QImage& picture) {
    double sum = 0.0;
    int count = 0;
    for (int y = 0; y < frame.height(); y += 3)
        for (int x = 0; x < frame.width(); x += 3) {
            const QRgb a = frame.pixel(x, y);
            const QRgb b = picture.pixel(x, y);
            sum +=
                std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b));
            count += 3;
        }
    return sum / count;
}

QString unix(double secondsAfterStart) {
    return QString::number(ShellFixture::t0 + secondsAfterStart, 'f', 3);
}

} // namespace

TEST(ExportVideo, WritesEveryFrameOfTheRangeAsTheScreenDrawsItWithTheVideosSound) {
    QTemporaryDir media;
    const QString video = videoWithSound(media.path());
    ASSERT_FALSE(video.isEmpty());
    ShellFixture fixture(video);
    const QString film = fixture.dir.filePath("replay.mp4");
    // One second from 1 s into the video: frames 25 to 49. The overlays stay off the numbered blocks.
    const double from = ShellFixture::videoStart + 1.0;
    Outcome exported =
        runProgram(WAKELINE_PROGRAM, {"export-video", fixture.package, "--from", unix(from), "--to",
                                      unix(from + 1.0), "--layout", "video", "--size", "640x480", "--fps",
                                      "25", "--metrics", "", "--metrics-before-gun", "", "-o", film});
    ASSERT_EQ(exported.exitCode, 0) << qPrintable(exported.output);
    const QJsonObject summary = jsonOf(exported.output);
    EXPECT_EQ(summary.value("frames").toInt(), 25);
    EXPECT_DOUBLE_EQ(summary.value("duration").toDouble(), 1.0);
    EXPECT_GT(summary.value("secondsTaken").toDouble(), 0.0);
    EXPECT_FALSE(QFile::exists(VideoEncoder::partialPath(film)));

    auto picture = streamFacts(film, AVMEDIA_TYPE_VIDEO);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->codec, AV_CODEC_ID_H264);
    EXPECT_EQ(picture->frames, 25);
    EXPECT_EQ(av_cmp_q(picture->rate, AVRational{25, 1}), 0);
    EXPECT_NEAR(picture->seconds, 1.0, 1e-6);
    auto sound = streamFacts(film, AVMEDIA_TYPE_AUDIO);
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound->codec, AV_CODEC_ID_AAC);
    // AAC comes in frames of 1024 samples; the last may be padded out.
    EXPECT_NEAR(sound->seconds, 1.0, 1024.0 / 48000.0 + 1e-6);

    // Every picture holds the video frame of its instant.
    auto decoder = VideoDecoder::open(film);
    ASSERT_TRUE(decoder);
    for (int i = 0; i < 25; ++i) {
        VideoFrame frame = decoder->frameAt(i / 25.0 + 0.001);
        ASSERT_FALSE(frame.isNull()) << i;
        EXPECT_EQ(VideoFixtures::shownIndex(frame), 25 + i) << i;
    }

    // The first and the last picture are what `render` draws at those instants.
    for (int i : {0, 24}) {
        const QString still = fixture.dir.filePath(QString("still %1.png").arg(i));
        Outcome rendered =
            runProgram(WAKELINE_PROGRAM,
                       {"render", fixture.package, "--at", unix(from + i / 25.0), "--layout", "video",
                        "--size", "640x480", "--metrics", "", "--metrics-before-gun", "", "-o", still});
        ASSERT_EQ(rendered.exitCode, 0) << qPrintable(rendered.output);
        QImage image(still);
        ASSERT_EQ(image.size(), QSize(640, 480));
        VideoFrame frame = decoder->frameAt(i / 25.0 + 0.001);
        EXPECT_LT(meanDifference(frame, image), 4.0) << i;
    }
}

TEST(ExportVideo, OverlaysAloneAreTransparentProRes) {
    ShellFixture fixture;
    const QString film = fixture.dir.filePath("overlays.mov");
    // After the gun (120 s): BSP and TWS in the lower corners, nothing else.
    Outcome exported = runProgram(WAKELINE_PROGRAM, {"export-video", fixture.package, "--from", unix(200),
                                                     "--to", unix(200.2), "--overlay-only", "--size",
                                                     "640x360", "--metrics", "BoatSpeed,TWS", "-o", film});
    ASSERT_EQ(exported.exitCode, 0) << qPrintable(exported.output);
    auto picture = streamFacts(film, AVMEDIA_TYPE_VIDEO);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->codec, AV_CODEC_ID_PRORES);
    // ProRes 4444 keeps the alpha; the decoder may report it at 10 or 12 bits.
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(AVPixelFormat(picture->format));
    ASSERT_TRUE(format);
    EXPECT_TRUE(format->flags & AV_PIX_FMT_FLAG_ALPHA) << format->name;
    EXPECT_EQ(picture->frames, 5);
    EXPECT_FALSE(streamFacts(film, AVMEDIA_TYPE_AUDIO));

    const QString png = fixture.dir.filePath("first.png");
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-v", "error", "-y", "-i", film, "-frames:v", "1", "-pix_fmt", "rgba", png});
    ASSERT_TRUE(ffmpeg.waitForFinished(60000));
    QImage first(png);
    ASSERT_EQ(first.size(), QSize(640, 360));
    EXPECT_EQ(qAlpha(first.pixel(320, 100)), 0);
    int opaque = 0;
    for (int y = 180; y < 360; y += 4)
        for (int x = 0; x < 640; x += 4)
            opaque += qAlpha(first.pixel(x, y)) > 128;
    EXPECT_GT(opaque, 100);

    // The overlay file must be QuickTime; the layouts' MP4.
    Outcome wrongName = runProgram(WAKELINE_PROGRAM, {"export-video", fixture.package, "--from", unix(200),
                                                      "--to", unix(201), "--overlay-only", "--size",
                                                      "640x360", "-o", fixture.dir.filePath("o.mp4")});
    EXPECT_EQ(wrongName.exitCode, 2);
    EXPECT_TRUE(wrongName.output.contains(".mov")) << qPrintable(wrongName.output);
}

TEST(ExportVideo, CancelAndBadPathsLeaveNoFile) {
    registerViewsOnce();
    ShellFixture fixture(VideoFixtures::videos().h264);
    DocumentHarness harness;
    Document* document = harness.open(fixture.package);
    ASSERT_TRUE(document);

    ReplayExportJob::Settings settings;
    settings.from = ShellFixture::at(ShellFixture::videoStart);
    settings.to = settings.from + 3.0;
    settings.layout = PresentationLayout::videoMapTimeline;
    settings.size = QSize(640, 360);
    settings.output = fixture.dir.filePath("cancelled.mp4");
    const std::optional<Instant> userPosition = document->eventPlaybackPosition();
    {
        ReplayExportJob job(*document, settings);
        EXPECT_EQ(job.totalFrames(), 75);
        QEventLoop loop;
        QObject::connect(&job, &ReplayExportJob::progressed, &job, [&job] {
            if (job.framesEncoded() >= 3)
                job.cancel();
        });
        QObject::connect(&job, &ReplayExportJob::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        ASSERT_TRUE(job.start()) << qPrintable(job.failure());
        loop.exec();
        EXPECT_EQ(job.outcome(), ReplayExportJob::Outcome::cancelled);
        EXPECT_LT(job.framesEncoded(), 75);
    }
    EXPECT_FALSE(QFile::exists(settings.output));
    EXPECT_FALSE(QFile::exists(VideoEncoder::partialPath(settings.output)));
    // The export moved a copy of the document; the user's stayed where it was.
    EXPECT_EQ(document->eventPlaybackPosition(), userPosition);

    // A folder that is not there: refused at the start, with the reason.
    settings.output = fixture.dir.filePath("missing/replay.mp4");
    ReplayExportJob missing(*document, settings);
    EXPECT_FALSE(missing.start());
    EXPECT_TRUE(missing.failure().contains("does not exist")) << qPrintable(missing.failure());
    EXPECT_EQ(missing.outcome(), ReplayExportJob::Outcome::failed);
    Outcome refused =
        runProgram(WAKELINE_PROGRAM, {"export-video", fixture.package, "--from", unix(300), "--to", unix(301),
                                      "--size", "640x360", "-o", settings.output});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.output.contains("does not exist")) << qPrintable(refused.output);

    // An odd size, an empty range: refused before anything runs.
    settings.output = fixture.dir.filePath("odd.mp4");
    settings.size = QSize(641, 360);
    EXPECT_FALSE(ReplayExportJob::problem(settings).isEmpty());
    settings.size = QSize(640, 360);
    settings.to = settings.from;
    EXPECT_FALSE(ReplayExportJob::problem(settings).isEmpty());
    EXPECT_FALSE(QFile::exists(settings.output));
}

TEST(ExportVideo, DialogOffersTheRaceTheTimelineOrTwoTimesAndSaysWhatIsMissing) {
    registerViewsOnce();
    ShellFixture fixture(VideoFixtures::videos().h264);
    DocumentHarness harness;
    Document* document = harness.open(fixture.package);
    ASSERT_TRUE(document);
    ASSERT_FALSE(document->races().empty());
    const auto& race = document->races().front();
    document->setPlaybackPosition(race->time() + 10.0, true);
    PresentationWindowController window;
    window.setCurrentDocument(document);
    window.setLayout(PresentationLayout::videoMapTimeline);
    window.applyLayout();

    ReplayExportDialog dialog(window);
    // The race at the position comes first: from five minutes before its gun to its finish.
    QComboBox* ranges = dialog.rangeChooser();
    ASSERT_EQ(ranges->count(), 3);
    EXPECT_TRUE(ranges->itemText(0).contains(race->name()));
    EXPECT_EQ(dialog.fromEdit()->instant(), std::optional(race->time() - 300.0));
    EXPECT_EQ(dialog.toEdit()->instant(), std::optional(race->bestGuessFinishTime()));
    EXPECT_FALSE(dialog.fromEdit()->isEnabled());
    // The window's own layout is offered first, and the video's own size beside the standard ones.
    EXPECT_EQ(dialog.layoutChooser()->currentData().toString(), "videoMapTimeline");
    EXPECT_GE(dialog.sizeChooser()->findText("320×240", Qt::MatchContains), 0);

    // A film is named after the range's start until the user names it; without a name Export waits.
    EXPECT_TRUE(dialog.outputField()->text().endsWith("Wakeline/2023-06-06_11-57-00-0.mp4"))
        << qPrintable(dialog.outputField()->text());
    dialog.outputField()->clear();
    EXPECT_FALSE(dialog.problem().isEmpty());
    dialog.outputField()->setText(fixture.dir.filePath("race.mp4"));
    EXPECT_TRUE(dialog.problem().isEmpty()) << qPrintable(dialog.problem());
    ReplayExportJob::Settings settings = dialog.settings();
    EXPECT_EQ(settings.layout, PresentationLayout::videoMapTimeline);
    EXPECT_TRUE(settings.sound);

    // Sound only at real time; two times are the user's to set.
    dialog.speedChooser()->setCurrentIndex(dialog.speedChooser()->findData(4.0));
    EXPECT_FALSE(dialog.soundCheckBox()->isEnabled());
    EXPECT_FALSE(dialog.settings().sound);
    ranges->setCurrentIndex(ranges->findData(2));
    EXPECT_TRUE(dialog.fromEdit()->isEnabled());

    // Overlays alone are QuickTime: the file's ending follows the choice.
    dialog.layoutChooser()->setCurrentIndex(dialog.layoutChooser()->findData("overlaysOnly"));
    EXPECT_TRUE(dialog.outputField()->text().endsWith("race.mov"));
    EXPECT_FALSE(dialog.settings().layout.has_value());
    EXPECT_TRUE(dialog.problem().isEmpty()) << qPrintable(dialog.problem());
}
