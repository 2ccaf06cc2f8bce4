#include "media/VideoDecoderThread.h"

#include "media/VideoFixtures.h"

#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

using namespace VideoFixtures;

namespace {

constexpr int patience = 20000; // ms; a wait that runs out is a failure, not a measurement

int readyIndex(const QSignalSpy& spy) {
    return shownIndex(spy.last().at(0).value<VideoFrame>());
}

} // namespace

TEST(VideoDecoderThreadTest, AnswersAtOnceAndSendsTheExactFrameWhenReady) {
    VideoDecoderThread thread(videos().h264);
    QSignalSpy opened(&thread, &VideoDecoderThread::opened);
    QSignalSpy ready(&thread, &VideoDecoderThread::frameReady);

    // Nothing to show before the file is open; the frame follows.
    VideoDecoderThread::Answer answer = thread.request(1.0);
    EXPECT_FALSE(answer.exact);
    EXPECT_TRUE(answer.frame.isNull());
    ASSERT_TRUE(ready.wait(patience));
    EXPECT_EQ(opened.count(), 1);
    ASSERT_TRUE(thread.info());
    EXPECT_EQ(thread.info()->width, 320);
    EXPECT_EQ(readyIndex(ready), 25);

    // Asked again it is there at once.
    answer = thread.request(1.0);
    EXPECT_TRUE(answer.exact);
    EXPECT_EQ(shownIndex(answer.frame), 25);

    // Elsewhere: the newest frame at once, then the exact one.
    answer = thread.request(3.0);
    EXPECT_FALSE(answer.exact);
    EXPECT_EQ(shownIndex(answer.frame), 25);
    ASSERT_TRUE(ready.wait(patience));
    EXPECT_EQ(readyIndex(ready), 75);
    EXPECT_EQ(ready.count(), 2);

    // A request answered at once outdates the one still decoding: its frame never replaces the newer
    // one. The next request's frame comes after it, so by then it has been dropped.
    answer = thread.request(0.5);
    EXPECT_FALSE(answer.exact);
    answer = thread.request(3.0);
    EXPECT_TRUE(answer.exact);
    answer = thread.request(2.0);
    EXPECT_FALSE(answer.exact);
    EXPECT_EQ(shownIndex(answer.frame), 75);
    ASSERT_TRUE(ready.wait(patience));
    EXPECT_EQ(readyIndex(ready), 50);
    EXPECT_EQ(ready.count(), 3);
}

TEST(VideoDecoderThreadTest, PlayingDrawsTheNextFramesAndKeepsThePastOnes) {
    VideoDecoderThread thread(videos().h264);
    QSignalSpy ready(&thread, &VideoDecoderThread::frameReady);
    thread.setPlaying(true);
    thread.request(0.0);
    ASSERT_TRUE(ready.wait(patience));
    ASSERT_EQ(readyIndex(ready), 0);

    // The frames just ahead get ready without being asked for.
    QTRY_VERIFY_WITH_TIMEOUT(!thread.readyFrameAt(10 * 0.04).isNull(), patience);
    for (int k = 1; k <= 10; ++k) {
        const VideoDecoderThread::Answer answer = thread.request(k * 0.04);
        EXPECT_TRUE(answer.exact) << k;
        EXPECT_EQ(shownIndex(answer.frame), k);
    }
    // Stepping back after playing is answered from memory.
    thread.setPlaying(false);
    for (int k = 9; k >= 0; --k)
        EXPECT_TRUE(thread.request(k * 0.04).exact) << k;
}

TEST(VideoDecoderThreadTest, ReportsAFileThatCannotBePlayed) {
    VideoDecoderThread thread(videos().soundOnly);
    QSignalSpy failed(&thread, &VideoDecoderThread::failed);
    QSignalSpy ready(&thread, &VideoDecoderThread::frameReady);
    const VideoDecoderThread::Answer answer = thread.request(0.5);
    EXPECT_TRUE(answer.frame.isNull());
    ASSERT_TRUE(failed.wait(patience));
    EXPECT_EQ(failed.last().at(0).toString(), "the file holds sound only, no picture");
    EXPECT_EQ(thread.failure(), "the file holds sound only, no picture");
    EXPECT_FALSE(thread.info());
    EXPECT_EQ(ready.count(), 0);
}
