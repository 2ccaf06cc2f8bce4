#include "media/VideoDecoder.h"

#include "media/VideoFixtures.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

using namespace VideoFixtures;

namespace {

constexpr double frame = 0.04;

std::unique_ptr<VideoDecoder> openVideo(const QString& path, const VideoDecoder::Options& options = {}) {
    QString failure;
    auto decoder = VideoDecoder::open(path, options, &failure);
    EXPECT_TRUE(decoder) << path.toStdString() << ": " << failure.toStdString();
    return decoder;
}

std::vector<int> shuffled(int count) {
    std::vector<int> order(static_cast<std::size_t>(count));
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    return order;
}

} // namespace

TEST(VideoDecoderTest, AnswersTheFrameOnScreenAtEveryBoundaryInAnyOrder) {
    // A cache of a few frames: every answer comes from seeking and decoding, not from memory.
    VideoDecoder::Options small;
    small.cacheBytes = 4 * 320 * 240 * 4;
    auto decoder = openVideo(videos().h264, small);
    ASSERT_TRUE(decoder);
    const VideoStreamInfo& info = decoder->info();
    EXPECT_EQ(info.width, 320);
    EXPECT_EQ(info.height, 240);
    EXPECT_EQ(info.displayWidth, 320);
    EXPECT_EQ(info.rotation, 0);
    EXPECT_NEAR(info.duration, 4.0, 1e-9);
    EXPECT_DOUBLE_EQ(info.frameRate, 25.0);
    EXPECT_TRUE(info.constantFrameRate);
    EXPECT_EQ(info.codecName, "h264");
    EXPECT_FALSE(info.hardwareDecoding);

    for (int k : shuffled(100)) {
        const VideoFrame at = decoder->frameAt(k * frame);
        EXPECT_EQ(shownIndex(at), k) << "at the start of frame " << k;
        EXPECT_NEAR(at.time(), k * frame, 1e-9);
        EXPECT_EQ(at.index(), k);
        EXPECT_NEAR(at.duration(), frame, 1e-9);
        EXPECT_EQ(at.width(), 320);
        EXPECT_EQ(at.height(), 240);
        EXPECT_EQ(at.stride() % 64, 0);
        if (k > 0) {
            EXPECT_EQ(shownIndex(decoder->frameAt(k * frame - 1e-4)), k - 1) << "just before frame " << k;
        }
    }
    EXPECT_GT(decoder->statistics().seeks, 50);
    // B-frames shown well before a target are not decoded on the way there.
    EXPECT_GT(decoder->statistics().skippedFrames, 50);
    // Before the first frame and after the last one the picture stays.
    EXPECT_EQ(shownIndex(decoder->frameAt(-3.0)), 0);
    EXPECT_EQ(shownIndex(decoder->frameAt(4.0)), 99);
    EXPECT_EQ(shownIndex(decoder->frameAt(60.0)), 99);
    EXPECT_EQ(shownIndex(decoder->frameAt(2.0)), 50);
}

TEST(VideoDecoderTest, DecodesOnForwardAndStepsBackFromMemory) {
    auto decoder = openVideo(videos().h264);
    ASSERT_TRUE(decoder);
    VideoFrame at = decoder->frameAt(1.0);
    ASSERT_EQ(shownIndex(at), 25);

    // Frame after frame across two keyframes (36, 48): decoding goes on without a seek.
    const int seeks = decoder->statistics().seeks;
    for (int k = 26; k <= 60; ++k) {
        at = decoder->frameAt(at.time() + at.duration());
        EXPECT_EQ(shownIndex(at), k);
    }
    EXPECT_EQ(decoder->statistics().seeks, seeks);

    // Back again to the keyframe the first seek found: every frame is still in memory, all but the
    // keyframe already drawn.
    const VideoDecoder::Statistics before = decoder->statistics();
    for (int k = 59; k >= 24; --k) {
        at = decoder->frameAt(at.time() - 0.001);
        EXPECT_EQ(shownIndex(at), k);
    }
    EXPECT_EQ(decoder->statistics().decodedFrames, before.decodedFrames);
    EXPECT_EQ(decoder->statistics().seeks, before.seeks);
    EXPECT_EQ(decoder->statistics().convertedFrames, before.convertedFrames + 1);

    // A little ahead within the keyframe's reach decodes on; past the next keyframe it seeks.
    EXPECT_EQ(shownIndex(decoder->frameAt(66 * frame)), 66);
    EXPECT_EQ(decoder->statistics().seeks, before.seeks);
    EXPECT_EQ(shownIndex(decoder->frameAt(90 * frame)), 90);
    EXPECT_EQ(decoder->statistics().seeks, before.seeks + 1);
    // Behind, outside what was decoded: a seek.
    EXPECT_EQ(shownIndex(decoder->frameAt(5 * frame)), 5);
    EXPECT_EQ(decoder->statistics().seeks, before.seeks + 2);
}

TEST(VideoDecoderTest, DecodingAheadDrawsTheComingFrames) {
    auto decoder = openVideo(videos().h264);
    ASSERT_TRUE(decoder);
    ASSERT_EQ(shownIndex(decoder->frameAt(2.0)), 50);
    EXPECT_TRUE(decoder->readyFrameAt(2.1).isNull());
    while (decoder->decodeAhead(2.0, 0.2))
        ;
    for (int k = 51; k <= 54; ++k)
        EXPECT_EQ(shownIndex(decoder->readyFrameAt(k * frame)), k);
    // Nothing is drawn from the window's end on.
    EXPECT_TRUE(decoder->readyFrameAt(55 * frame).isNull());
    // At the end of the file there is nothing more to do.
    ASSERT_EQ(shownIndex(decoder->frameAt(3.9)), 97);
    while (decoder->decodeAhead(3.9, 1.0))
        ;
    EXPECT_EQ(shownIndex(decoder->readyFrameAt(3.99)), 99);
    EXPECT_FALSE(decoder->decodeAhead(3.9, 1.0));

    // Playing on from a moment answered from memory while the decoder is elsewhere: the frames
    // ahead are drawn all the same.
    ASSERT_EQ(shownIndex(decoder->frameAt(2.0)), 50);
    EXPECT_TRUE(decoder->readyFrameAt(56 * frame).isNull());
    while (decoder->decodeAhead(2.0, 0.3))
        ;
    for (int k = 51; k <= 57; ++k)
        EXPECT_EQ(shownIndex(decoder->readyFrameAt(k * frame)), k);
}

TEST(VideoDecoderTest, KeepsEditListsAndLateStarts) {
    // Cut at 1.2 s from a keyframe at 0.96 s: the edit list hides frames 24 to 29.
    auto cut = openVideo(videos().cut);
    ASSERT_TRUE(cut);
    EXPECT_NEAR(cut->info().duration, 2.8, 1e-6);
    for (int k : shuffled(70)) {
        const VideoFrame at = cut->frameAt(k * frame + 0.01);
        EXPECT_EQ(shownIndex(at), 30 + k) << "at " << k * frame + 0.01;
        EXPECT_EQ(at.index(), k);
    }
    EXPECT_EQ(shownIndex(cut->frameAt(0.0)), 30);

    // The stream begins 0.5 s into the file: its frames keep their place, and before it the first
    // frame stands in.
    auto late = openVideo(videos().lateStart);
    ASSERT_TRUE(late);
    EXPECT_NEAR(late->info().duration, 4.5, 1e-6);
    EXPECT_EQ(shownIndex(late->frameAt(0.0)), 0);
    EXPECT_EQ(shownIndex(late->frameAt(0.499)), 0);
    for (int k : {0, 1, 11, 12, 13, 50, 99}) {
        const VideoFrame at = late->frameAt(0.5 + k * frame);
        EXPECT_EQ(shownIndex(at), k);
        EXPECT_NEAR(at.time(), 0.5 + k * frame, 1e-9);
    }
    EXPECT_EQ(shownIndex(late->frameAt(0.5 + 40 * frame - 0.001)), 39);
}

TEST(VideoDecoderTest, DecodesHevcAndKeepsItsPixelAspect) {
    auto decoder = openVideo(videos().hevc);
    ASSERT_TRUE(decoder);
    const VideoStreamInfo& info = decoder->info();
    EXPECT_EQ(info.codecName, "hevc");
    EXPECT_EQ(info.width, 320);
    EXPECT_EQ(info.displayWidth, 427);
    EXPECT_EQ(info.displayHeight, 240);
    for (int k : shuffled(50)) {
        const VideoFrame at = decoder->frameAt(k * frame);
        EXPECT_EQ(shownIndex(at), k) << "at the start of frame " << k;
        EXPECT_EQ(at.width(), 320);
        EXPECT_EQ(at.displayWidth(), 427);
        if (k > 0) {
            EXPECT_EQ(shownIndex(decoder->frameAt(k * frame - 1e-4)), k - 1) << "just before frame " << k;
        }
    }
}

TEST(VideoDecoderTest, TurnsPicturesAsTheDisplayMatrixSays) {
    for (const auto& [path, rotation] :
         {std::pair{videos().turnedRight, 90}, std::pair{videos().turnedLeft, 270}}) {
        SCOPED_TRACE(rotation);
        auto decoder = openVideo(path);
        ASSERT_TRUE(decoder);
        EXPECT_EQ(decoder->info().rotation, rotation);
        EXPECT_EQ(decoder->info().width, 240);
        EXPECT_EQ(decoder->info().height, 320);
        EXPECT_EQ(decoder->info().displayWidth, 240);
        EXPECT_EQ(decoder->info().displayHeight, 320);
        for (int k : {0, 13, 57, 98, 99}) {
            const VideoFrame at = decoder->frameAt(k * frame);
            ASSERT_EQ(at.width(), 240);
            ASSERT_EQ(at.height(), 320);
            EXPECT_EQ(at.displayHeight(), 320);
            EXPECT_EQ(shownIndex(at, rotation), k);
            // Turned the other way the blocks would be elsewhere.
            EXPECT_NE(shownIndex(at, 360 - rotation), k);
        }
    }
}

TEST(VideoDecoderTest, FollowsAVariableFrameRate) {
    VideoDecoder::Options small;
    small.cacheBytes = 4 * 320 * 240 * 4;
    auto decoder = openVideo(videos().variableRate, small);
    ASSERT_TRUE(decoder);
    EXPECT_FALSE(decoder->info().constantFrameRate);
    for (int k : shuffled(50)) {
        const VideoFrame at = decoder->frameAt(variableRateTime(k));
        EXPECT_EQ(shownIndex(at), k) << "at the start of frame " << k;
        EXPECT_NEAR(at.time(), variableRateTime(k), 1e-9);
        EXPECT_FALSE(at.index());
        if (k < 49) {
            EXPECT_NEAR(at.duration(), variableRateTime(k + 1) - variableRateTime(k), 1e-9);
        }
        // 50 µs is less than a tick of this file's clock.
        if (k > 0) {
            EXPECT_EQ(shownIndex(decoder->frameAt(variableRateTime(k) - 0.00005)), k - 1)
                << "just before frame " << k;
        }
    }
    // In the slow part a frame stays for 0.1 s.
    EXPECT_EQ(shownIndex(decoder->frameAt(0.8 + 0.099)), 20);
}

TEST(VideoDecoderTest, SaysWhyAFileCannotBePlayed) {
    QTemporaryDir directory;
    const QString empty = directory.filePath("empty.mp4");
    QFile(empty).open(QIODevice::WriteOnly);
    const std::vector<std::pair<QString, QString>> cases{
        {directory.filePath("gone.mp4"), "the file does not exist"},
        {directory.path(), "it is not a file"},
        {empty, "the file is empty"},
        {videos().text, "it is not a video file"},
        {videos().truncated, "the QuickTime / MOV file is damaged or incomplete"},
        {videos().soundOnly, "the file holds sound only, no picture"},
        {videos().unknownCodec, "its video is coded in a format Wakeline cannot decode (zzzz)"},
    };
    for (const auto& [path, reason] : cases) {
        QString failure;
        EXPECT_FALSE(VideoDecoder::open(path, &failure)) << path.toStdString();
        EXPECT_EQ(failure, reason) << path.toStdString();
    }
}

TEST(VideoDecoderTest, PlaysWhatIsLeftOfACutFile) {
    // The index survived, the second half of the pictures did not.
    auto decoder = openVideo(videos().truncatedEarlyIndex);
    ASSERT_TRUE(decoder);
    for (int k : {0, 7, 20, 12})
        EXPECT_EQ(shownIndex(decoder->frameAt(k * frame)), k);
    // Past the cut the last frame that could be decoded stands.
    const VideoFrame late = decoder->frameAt(3.9);
    ASSERT_FALSE(late.isNull());
    EXPECT_GT(late.time(), 0.8);
    EXPECT_LT(late.time(), 2.0);
    EXPECT_EQ(decoder->frameAt(3.5).time(), late.time());
    EXPECT_EQ(shownIndex(decoder->frameAt(0.4)), 10);
}

TEST(VideoDecoderTest, ScalesPicturesDownToALimitKeepingTheirShape) {
    VideoDecoder::Options small;
    small.maximumWidth = 160;
    small.maximumHeight = 160;
    // Non-square pixels come out square at the picture's shape: 427 × 240 on screen fits as 160 × 90.
    auto hevc = openVideo(videos().hevc, small);
    ASSERT_TRUE(hevc);
    VideoFrame at = hevc->frameAt(7 * frame);
    EXPECT_EQ(at.width(), 160);
    EXPECT_EQ(at.height(), 90);
    EXPECT_EQ(at.displayWidth(), 160);
    EXPECT_EQ(shownIndex(at), 7);
    // Turned pictures fit upright: 240 × 320 as 120 × 160.
    auto turned = openVideo(videos().turnedRight, small);
    ASSERT_TRUE(turned);
    at = turned->frameAt(57 * frame);
    EXPECT_EQ(at.width(), 120);
    EXPECT_EQ(at.height(), 160);
    EXPECT_EQ(shownIndex(at, 90), 57);
    // A limit larger than the picture leaves it at its own size.
    VideoDecoder::Options large;
    large.maximumWidth = 1920;
    large.maximumHeight = 1080;
    auto plain = openVideo(videos().h264, large);
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->frameAt(0).width(), 320);
}
