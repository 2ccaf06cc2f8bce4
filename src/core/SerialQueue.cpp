#include "core/SerialQueue.h"

#include "core/Diagnostics.h"

#include <exception>
#include <future>

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), worker_([this] { run(); }) {}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    worker_.join();
}

SerialQueue& SerialQueue::hdf() {
    static SerialQueue queue("HDFSerialQueue");
    return queue;
}

void SerialQueue::async(std::function<void()> task) {
    {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    wake_.notify_one();
}

void SerialQueue::sync(const std::function<void()>& task) {
    if (isCurrent()) {
        task();
        return;
    }
    // An exception thrown by the task reaches the caller, not the worker thread.
    std::promise<void> done;
    async([&] {
        try {
            task();
            done.set_value();
        } catch (...) {
            done.set_exception(std::current_exception());
        }
    });
    done.get_future().get();
}

void SerialQueue::run() {
    for (;;) {
        std::function<void()> task;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
            // Work already queued is finished before the queue goes away.
            if (tasks_.empty())
                return;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        // One failed task must not take the program, and every open document, down with it.
        try {
            task();
        } catch (const std::exception& error) {
            Diagnostics::printLine("Warning: a task on " + label_ + " failed: " + error.what());
        } catch (...) {
            Diagnostics::printLine("Warning: a task on " + label_ + " failed");
        }
    }
}
