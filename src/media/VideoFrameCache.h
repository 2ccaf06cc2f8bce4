#pragma once

#include "media/AvHandle.h"
#include "media/VideoFrame.h"

#include <cstdint>
#include <limits>
#include <map>
#include <mutex>
#include <optional>

// Decoded frames around the playback position, so that stepping back or showing a moment again
// needs no decoding. Keys are presentation times in the stream's ticks. A frame is found only once
// its display interval is known: the next frame decoded after it (or the end of the stream) closes
// it. Frames are held as decoded (YUV) until someone asks for the picture, then as the picture.
// When the budget is exceeded the frames farthest from the position go first.
//
// The decoding thread fills it while the main thread looks pictures up, hence the lock.
class VideoFrameCache {
public:
    static constexpr std::int64_t openEnd = std::numeric_limits<std::int64_t>::max();

    explicit VideoFrameCache(std::size_t byteBudget) : byteBudget_(byteBudget) {}

    // Keeps a decoded frame shown from `pts`. A frame already held there stays as it is.
    void insert(std::int64_t pts, AvFrameHandle decoded);
    // The frame shown from `pts` ends at `end`: the next frame's time, or openEnd for the last one.
    void close(std::int64_t pts, std::int64_t end);
    // Replaces the decoded frame shown from `pts` by its picture.
    void storePicture(std::int64_t pts, VideoFrame picture);
    // Where eviction centres.
    void setPosition(std::int64_t ticks);
    void clear();

    struct Entry {
        std::int64_t pts = 0;
        std::int64_t end = openEnd;
        VideoFrame picture;    // null until made
        AvFrameHandle decoded; // a new reference, when there is no picture yet
    };
    // The frame whose display interval holds `ticks`.
    std::optional<Entry> find(std::int64_t ticks) const;
    // Its picture only, when it has been made.
    VideoFrame findPicture(std::int64_t ticks) const;

    std::size_t byteCount() const;
    std::size_t frameCount() const;

private:
    struct Slot {
        std::int64_t end = openEnd;
        bool closed = false;
        AvFrameHandle decoded;
        VideoFrame picture;
        std::size_t bytes = 0;
    };
    using Slots = std::map<std::int64_t, Slot>;

    Slots::const_iterator locate(std::int64_t ticks) const;
    void evict(std::int64_t keep);

    mutable std::mutex mutex_;
    Slots slots_;
    std::size_t byteBudget_;
    std::size_t bytes_ = 0;
    std::int64_t position_ = 0;
};
