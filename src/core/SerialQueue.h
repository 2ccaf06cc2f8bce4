#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

// A serial queue: one worker thread that runs the tasks given to it one after another, in order.
// The HDF5 library as Debian builds it is not thread-safe, so every HDF5 call runs on the one
// queue `hdf()`.
class SerialQueue {
public:
    explicit SerialQueue(std::string label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    // The queue of all HDF5 work, "HDFSerialQueue".
    static SerialQueue& hdf();

    const std::string& label() const { return label_; }
    // A task that throws is reported on stdout and the queue goes on with the next one.
    void async(std::function<void()> task);
    // Runs the task on the queue and waits for it. Called from the queue itself it runs in place,
    // since waiting there would never end.
    void sync(const std::function<void()>& task);
    bool isCurrent() const { return std::this_thread::get_id() == worker_.get_id(); }

private:
    void run();

    std::string label_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> tasks_;
    bool stopping_ = false;
    std::thread worker_;
};
