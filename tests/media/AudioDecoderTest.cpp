#include "media/AudioDecoder.h"

#include "media/VideoDecoder.h"
#include "media/VideoFixtures.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <optional>
#include <vector>

using namespace VideoFixtures;

namespace {

// Where a beep begins, found in decoded sound, may be off by this much: the sine reaches the
// threshold within a few samples, and what AAC smears ahead of a beep stays below it.
constexpr double onsetTolerance = 0.002;
constexpr double beepAmplitude = 0.5;

// Sounds with 0.1 s beeps of 1 kHz on silence, made once by the ffmpeg program beside the index videos.
struct Sounds {
    QString beeps;     // `h264` with AAC stereo at 44.1 kHz beeping at 1.0, 2.5 and 3.5 s
    QString cut;       // `beeps` from 1.2 s on by stream copy: edit lists on both streams
    QString lateVideo; // the picture starts 0.5 s into the file, the sound at 0
    QString lateSound; // the sound, mono at 48 kHz, starts 0.5 s into the file: beeps at 1.5, 3.0, 4.0 s
    QString opus;      // the beeps in Opus in Matroska, whose times are whole milliseconds
};

void ffmpeg(const QStringList& arguments) {
    QProcess process;
    process.start("ffmpeg", QStringList{"-v", "error", "-y"} + arguments);
    if (!process.waitForFinished(120000) || process.exitCode() != 0)
        ADD_FAILURE() << "ffmpeg " << arguments.join(' ').toStdString() << ": "
                      << process.readAllStandardError().toStdString();
}

const Sounds& sounds() {
    static QTemporaryDir directory;
    static const Sounds made = [] {
        auto path = [](const char* name) { return directory.filePath(name); };
        Sounds out;
        out.beeps = path("beeps.mp4");
        out.cut = path("beeps-cut.mp4");
        out.lateVideo = path("late-video.mp4");
        out.lateSound = path("late-sound.mp4");
        out.opus = path("beeps.mkv");
        const QString wave = path("beeps.wav");
        ffmpeg({"-f", "lavfi", "-i",
                QString("aevalsrc=exprs='%1*sin(2*PI*1000*t)*(between(t,1,1.1)+between(t,2.5,2.6)+"
                        "between(t,3.5,3.6))':s=44100:d=4")
                    .arg(beepAmplitude),
                "-ac", "2", wave});
        ffmpeg({"-i", videos().h264, "-i", wave, "-map", "0:v", "-map", "1:a", "-c:v", "copy", "-c:a", "aac",
                out.beeps});
        ffmpeg({"-ss", "1.2", "-i", out.beeps, "-c", "copy", out.cut});
        ffmpeg({"-itsoffset", "0.5", "-i", videos().h264, "-i", wave, "-map", "0:v", "-map", "1:a", "-c:v",
                "copy", "-c:a", "aac", out.lateVideo});
        ffmpeg({"-i", videos().h264, "-itsoffset", "0.5", "-i", wave, "-map", "0:v", "-map", "1:a", "-c:v",
                "copy", "-c:a", "aac", "-ac", "1", "-ar", "48000", out.lateSound});
        ffmpeg({"-i", wave, "-c:a", "libopus", out.opus});
        return out;
    }();
    return made;
}

std::unique_ptr<AudioDecoder> openSound(const QString& path, const AudioDecoder::Format& format) {
    QString failure;
    auto decoder = AudioDecoder::open(path, format, &failure);
    EXPECT_TRUE(decoder) << path.toStdString() << ": " << failure.toStdString();
    return decoder;
}

AudioDecoder::Format format(int rate, int channels, AudioDecoder::SampleType type) {
    AudioDecoder::Format out;
    out.sampleRate = rate;
    out.channels = channels;
    out.sampleType = type;
    return out;
}

// Decoded sound as numbers: frames × channels, at most `seconds` long.
struct Pcm {
    int rate = 0;
    int channels = 0;
    std::vector<float> samples;

    std::int64_t frames() const { return static_cast<std::int64_t>(samples.size()) / channels; }
    float at(std::int64_t frame, int channel) const {
        return samples[static_cast<std::size_t>(frame * channels + channel)];
    }
};

Pcm readSeconds(AudioDecoder& decoder, double seconds) {
    const AudioDecoder::Format& format = decoder.format();
    Pcm pcm{format.sampleRate, format.channels, {}};
    const auto wanted = static_cast<std::int64_t>(seconds * format.sampleRate);
    // Odd block sizes: the blocks read need not match the codec's frames.
    std::vector<std::uint8_t> block(static_cast<std::size_t>(997 * format.bytesPerFrame()));
    while (pcm.frames() < wanted) {
        const std::int64_t count =
            decoder.read(block.data(), std::min<std::int64_t>(997, wanted - pcm.frames()));
        if (count == 0)
            break;
        for (std::int64_t i = 0; i < count * format.channels; ++i) {
            if (format.sampleType == AudioDecoder::SampleType::int16)
                pcm.samples.push_back(reinterpret_cast<const std::int16_t*>(block.data())[i] / 32768.0f);
            else
                pcm.samples.push_back(reinterpret_cast<const float*>(block.data())[i]);
        }
    }
    return pcm;
}

// Seconds after the start of `pcm` at which a beep begins: loud after at least 50 ms of quiet.
std::vector<double> onsets(const Pcm& pcm) {
    std::vector<double> found;
    const auto quietFrames = static_cast<std::int64_t>(0.05 * pcm.rate);
    std::int64_t lastLoud = -quietFrames;
    for (std::int64_t frame = 0; frame < pcm.frames(); ++frame) {
        if (std::abs(pcm.at(frame, 0)) < 0.4f * beepAmplitude)
            continue;
        if (frame - lastLoud >= quietFrames)
            found.push_back(static_cast<double>(frame) / pcm.rate);
        lastLoud = frame;
    }
    return found;
}

void expectOnsets(const Pcm& pcm, double start, const std::vector<double>& expected,
                  const std::string& where) {
    const std::vector<double> found = onsets(pcm);
    ASSERT_EQ(found.size(), expected.size()) << where;
    for (std::size_t i = 0; i < found.size(); ++i)
        EXPECT_NEAR(start + found[i], expected[i], onsetTolerance) << where << ", beep " << i;
}

// The beeps at or after `from` of a sound beeping at `beeps`, `within` seconds.
std::vector<double> beepsBetween(const std::vector<double>& beeps, double from, double within) {
    std::vector<double> out;
    for (double beep : beeps)
        if (beep >= from && beep < from + within - 0.01)
            out.push_back(beep);
    return out;
}

} // namespace

TEST(AudioDecoderTest, LandsOnTheRequestedSampleAfterEverySeek) {
    auto decoder = openSound(sounds().beeps, format(44100, 2, AudioDecoder::SampleType::int16));
    ASSERT_TRUE(decoder);
    EXPECT_EQ(decoder->codecName(), "aac");
    EXPECT_EQ(decoder->streamSampleRate(), 44100);
    EXPECT_EQ(decoder->streamChannels(), 2);
    const std::vector<double> beeps{1.0, 2.5, 3.5};

    // From the start, all through: every beep in place, and the sound ends with the file.
    EXPECT_EQ(decoder->position(), 0);
    const Pcm whole = readSeconds(*decoder, 10.0);
    expectOnsets(whole, 0.0, beeps, "read from the start");
    EXPECT_NEAR(static_cast<double>(whole.frames()) / 44100, 4.0, 1024.0 / 44100);
    std::int16_t spare[2];
    EXPECT_EQ(decoder->read(spare, 1), 0);

    // Back and forth, just before and after beeps and inside them.
    for (double t : {2.0, 0.3, 3.45, 0.999, 2.501, 1.05, 3.0, 0.0, 2.4, 3.51, 1.7}) {
        ASSERT_TRUE(decoder->seek(t)) << t;
        EXPECT_EQ(decoder->position(), std::llround(t * 44100)) << t;
        const Pcm pcm = readSeconds(*decoder, 1.2);
        EXPECT_EQ(decoder->position(), std::llround(t * 44100) + pcm.frames()) << t;
        // A beep already sounding at the target is no onset; the next ones are.
        const bool inside =
            std::any_of(beeps.begin(), beeps.end(), [t](double b) { return t > b && t < b + 0.1; });
        if (inside) {
            EXPECT_GT(std::abs(pcm.at(12, 0)) + std::abs(pcm.at(11, 0)), 0.1f)
                << "the beep at " << t << " is heard";
            continue;
        }
        expectOnsets(pcm, t, beepsBetween(beeps, t, 1.2), "after a seek to " + std::to_string(t));
    }

    // After the end there is nothing, and a seek back finds the sound again.
    ASSERT_TRUE(decoder->seek(60.0));
    EXPECT_EQ(decoder->read(spare, 1), 0);
    ASSERT_TRUE(decoder->seek(3.3));
    expectOnsets(readSeconds(*decoder, 0.5), 3.3, {3.5}, "back from after the end");
}

TEST(AudioDecoderTest, MakesTheRateChannelsAndSamplesAsked) {
    for (const auto& asked : {format(48000, 1, AudioDecoder::SampleType::float32),
                              format(22050, 2, AudioDecoder::SampleType::int16),
                              format(96000, 6, AudioDecoder::SampleType::float32)}) {
        const std::string what =
            std::to_string(asked.sampleRate) + " Hz, " + std::to_string(asked.channels) + " ch";
        auto decoder = openSound(sounds().beeps, asked);
        ASSERT_TRUE(decoder);
        EXPECT_EQ(decoder->format().bytesPerFrame(),
                  asked.channels * (asked.sampleType == AudioDecoder::SampleType::int16 ? 2 : 4));
        ASSERT_TRUE(decoder->seek(2.25));
        EXPECT_EQ(decoder->position(), std::llround(2.25 * asked.sampleRate));
        const Pcm pcm = readSeconds(*decoder, 0.5);
        ASSERT_EQ(pcm.frames(), asked.sampleRate / 2) << what;
        expectOnsets(pcm, 2.25, {2.5}, what);
        // The beep is loud in the front channels and within range.
        const auto beep = static_cast<std::int64_t>(0.3 * asked.sampleRate);
        float peak = 0.0f;
        for (std::int64_t frame = beep; frame < beep + asked.sampleRate / 20; ++frame) {
            peak = std::max(peak, std::abs(pcm.at(frame, 0)));
            if (asked.channels == 2) {
                EXPECT_FLOAT_EQ(pcm.at(frame, 0), pcm.at(frame, 1));
            }
        }
        EXPECT_GT(peak, 0.3f) << what;
        EXPECT_LE(peak, 1.0f) << what;
    }
}

TEST(AudioDecoderTest, KeepsThePlaceOfEditListsAndLateStreamsAsThePicturesDo) {
    const auto native = format(44100, 2, AudioDecoder::SampleType::int16);
    // Cut at 1.2 s by stream copy: the beeps at 2.5 and 3.5 s come at 1.3 and 2.3 s, where the
    // pictures of 2.5 and 3.5 s are shown.
    auto cut = openSound(sounds().cut, native);
    auto cutPictures = VideoDecoder::open(sounds().cut);
    ASSERT_TRUE(cut && cutPictures);
    expectOnsets(readSeconds(*cut, 5.0), 0.0, {1.3, 2.3}, "cut");
    for (double t : {0.8, 1.9}) {
        ASSERT_TRUE(cut->seek(t));
        const std::vector<double> found = onsets(readSeconds(*cut, 0.7));
        ASSERT_EQ(found.size(), 1u) << t;
        EXPECT_NEAR(t + found[0], t < 1 ? 1.3 : 2.3, onsetTolerance);
        // 2.5 s and 3.5 s into the original are frames 62 and 87, each shown from 20 ms before.
        EXPECT_EQ(shownIndex(cutPictures->frameAt(t + found[0])), t < 1 ? 62 : 87);
    }

    // The picture starts 0.5 s after the sound: the sound keeps its times.
    auto lateVideo = openSound(sounds().lateVideo, native);
    auto lateVideoPictures = VideoDecoder::open(sounds().lateVideo);
    ASSERT_TRUE(lateVideo && lateVideoPictures);
    expectOnsets(readSeconds(*lateVideo, 5.0), 0.0, {1.0, 2.5, 3.5}, "late picture");
    EXPECT_EQ(shownIndex(lateVideoPictures->frameAt(1.0)), 12);

    // The sound starts 0.5 s into the file: silence before it, from any time, even before the file.
    auto lateSound = openSound(sounds().lateSound, native);
    ASSERT_TRUE(lateSound);
    EXPECT_EQ(lateSound->streamSampleRate(), 48000);
    EXPECT_EQ(lateSound->streamChannels(), 1);
    for (double t : {0.0, 0.2, -1.0, 1.2}) {
        ASSERT_TRUE(lateSound->seek(t));
        EXPECT_EQ(lateSound->position(), std::llround(t * 44100));
        const Pcm pcm = readSeconds(*lateSound, 2.0);
        ASSERT_EQ(pcm.frames(), 2 * 44100) << t;
        expectOnsets(pcm, t, beepsBetween({1.5, 3.0, 4.0}, t, 2.0), "late sound from " + std::to_string(t));
        const auto silentUntil = static_cast<std::int64_t>((std::min(1.5, t + 2.0) - t - 0.03) * 44100);
        const auto loud = std::find_if(pcm.samples.begin(), pcm.samples.begin() + silentUntil * 2,
                                       [](float sample) { return std::abs(sample) > 0.01f; });
        EXPECT_EQ(loud, pcm.samples.begin() + silentUntil * 2) << "silence before the sound from " << t;
    }
    ASSERT_TRUE(lateSound->seek(0.0));
    expectOnsets(readSeconds(*lateSound, 10.0), 0.0, {1.5, 3.0, 4.0}, "late sound whole");

    // Matroska counts in milliseconds, and Opus decodes ahead of where it starts.
    auto opus = openSound(sounds().opus, native);
    ASSERT_TRUE(opus);
    EXPECT_EQ(opus->codecName(), "opus");
    expectOnsets(readSeconds(*opus, 5.0), 0.0, {1.0, 2.5, 3.5}, "opus");
    for (double t : {2.3, 0.7, 3.2}) {
        ASSERT_TRUE(opus->seek(t));
        expectOnsets(readSeconds(*opus, 0.5), t, beepsBetween({1.0, 2.5, 3.5}, t, 0.5),
                     "opus from " + std::to_string(t));
    }
}

TEST(AudioDecoderTest, SaysWhyAFileHasNoSoundToPlay) {
    QTemporaryDir directory;
    const QString empty = directory.filePath("empty.mp4");
    QFile(empty).open(QIODevice::WriteOnly);
    const QString garbage = directory.filePath("garbage.m4a");
    QFile file(garbage);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(20000, '\x5a'));
    file.close();
    const std::vector<std::pair<QString, QString>> cases{
        {directory.filePath("gone.mp4"), "the file does not exist"},
        {directory.path(), "it is not a file"},
        {empty, "the file is empty"},
        {garbage, "it is not a video or sound file"},
        {videos().text, "it is not a video or sound file"},
        {videos().truncated, "the QuickTime / MOV file is damaged or incomplete"},
        {videos().h264, "the file has no sound"},
    };
    for (const auto& [path, reason] : cases) {
        QString failure;
        EXPECT_FALSE(AudioDecoder::open(path, format(48000, 2, AudioDecoder::SampleType::int16), &failure))
            << path.toStdString();
        EXPECT_EQ(failure, reason) << path.toStdString();
    }
    QString failure;
    EXPECT_FALSE(AudioDecoder::open(sounds().beeps, format(0, 2, AudioDecoder::SampleType::int16), &failure));
    EXPECT_EQ(failure, "the sound output wants 2 channels at 0 Hz, which Wakeline cannot make");
}
