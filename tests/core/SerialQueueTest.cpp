#include "core/SerialQueue.h"

#include "support/LogFixture.h"

#include <atomic>
#include <gtest/gtest.h>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

TEST(SerialQueue, RunsTasksInOrderOnOneThread) {
    SerialQueue queue("test");
    std::vector<int> order;
    std::set<std::thread::id> threads;
    std::thread::id caller = std::this_thread::get_id();
    for (int i = 0; i < 200; ++i)
        queue.async([&, i] {
            order.push_back(i);
            threads.insert(std::this_thread::get_id());
        });
    // sync waits for everything queued before it, and nests without deadlock.
    bool nested = false;
    queue.sync([&] { queue.sync([&] { nested = queue.isCurrent(); }); });
    ASSERT_EQ(order.size(), 200u);
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(order[i], i);
    EXPECT_EQ(threads.size(), 1u);
    EXPECT_EQ(threads.count(caller), 0u);
    EXPECT_TRUE(nested);
    EXPECT_FALSE(queue.isCurrent());
    EXPECT_EQ(SerialQueue::hdf().label(), "HDFSerialQueue");
}

TEST(SerialQueue, FinishesQueuedWorkBeforeGoingAway) {
    std::atomic<int> done{0};
    {
        SerialQueue queue("drain");
        for (int i = 0; i < 50; ++i)
            queue.async([&] { ++done; });
    }
    EXPECT_EQ(done.load(), 50);
}

TEST(SerialQueue, ATaskThatThrowsIsReportedAndTheQueueGoesOn) {
    SerialQueue queue("throwing");
    std::atomic<int> done{0};
    DiagnosticsCapture capture;
    queue.async([] { throw std::bad_alloc(); });
    queue.async([] { throw 42; });
    queue.async([&] { ++done; });
    // An exception of a waited-for task reaches the caller instead.
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("library said no"); }), std::runtime_error);
    queue.sync([&] { ++done; });
    EXPECT_EQ(done.load(), 2);
    const std::string text = capture.text();
    EXPECT_NE(text.find("Warning: a task on throwing failed: std::bad_alloc"), std::string::npos) << text;
    EXPECT_NE(text.find("Warning: a task on throwing failed\n"), std::string::npos) << text;
}
