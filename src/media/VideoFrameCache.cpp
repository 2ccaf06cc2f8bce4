#include "media/VideoFrameCache.h"

#include <iterator>

namespace {

std::size_t decodedBytes(const AVFrame* frame) {
    std::size_t bytes = 0;
    for (const AVBufferRef* buffer : frame->buf)
        if (buffer)
            bytes += buffer->size;
    return bytes;
}

// Distance without overflow at the ends of the tick range.
std::uint64_t distance(std::int64_t a, std::int64_t b) {
    return a > b ? static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b)
                 : static_cast<std::uint64_t>(b) - static_cast<std::uint64_t>(a);
}

} // namespace

void VideoFrameCache::insert(std::int64_t pts, AvFrameHandle decoded) {
    std::lock_guard lock(mutex_);
    auto [slot, added] = slots_.try_emplace(pts);
    if (!added)
        return;
    slot->second.bytes = decodedBytes(decoded.get());
    slot->second.decoded = std::move(decoded);
    bytes_ += slot->second.bytes;
    evict(pts);
}

void VideoFrameCache::close(std::int64_t pts, std::int64_t end) {
    std::lock_guard lock(mutex_);
    auto slot = slots_.find(pts);
    if (slot == slots_.end())
        return;
    slot->second.end = end;
    slot->second.closed = true;
}

void VideoFrameCache::storePicture(std::int64_t pts, VideoFrame picture) {
    std::lock_guard lock(mutex_);
    auto slot = slots_.find(pts);
    if (slot == slots_.end())
        return;
    bytes_ -= slot->second.bytes;
    slot->second.decoded.reset();
    slot->second.bytes = picture.byteCount();
    slot->second.picture = std::move(picture);
    bytes_ += slot->second.bytes;
    evict(pts);
}

void VideoFrameCache::setPosition(std::int64_t ticks) {
    std::lock_guard lock(mutex_);
    position_ = ticks;
}

void VideoFrameCache::clear() {
    std::lock_guard lock(mutex_);
    slots_.clear();
    bytes_ = 0;
}

VideoFrameCache::Slots::const_iterator VideoFrameCache::locate(std::int64_t ticks) const {
    auto after = slots_.upper_bound(ticks);
    if (after == slots_.begin())
        return slots_.end();
    auto slot = std::prev(after);
    if (!slot->second.closed || ticks >= slot->second.end)
        return slots_.end();
    return slot;
}

std::optional<VideoFrameCache::Entry> VideoFrameCache::find(std::int64_t ticks) const {
    std::lock_guard lock(mutex_);
    auto slot = locate(ticks);
    if (slot == slots_.end())
        return std::nullopt;
    Entry entry{slot->first, slot->second.end, slot->second.picture, nullptr};
    if (entry.picture.isNull() && slot->second.decoded)
        entry.decoded.reset(av_frame_clone(slot->second.decoded.get()));
    return entry;
}

VideoFrame VideoFrameCache::findPicture(std::int64_t ticks) const {
    std::lock_guard lock(mutex_);
    auto slot = locate(ticks);
    return slot == slots_.end() ? VideoFrame() : slot->second.picture;
}

std::size_t VideoFrameCache::byteCount() const {
    std::lock_guard lock(mutex_);
    return bytes_;
}

std::size_t VideoFrameCache::frameCount() const {
    std::lock_guard lock(mutex_);
    return slots_.size();
}

void VideoFrameCache::evict(std::int64_t keep) {
    // The frame farthest from the position is always the first or the last one.
    while (bytes_ > byteBudget_ && slots_.size() > 1) {
        auto first = slots_.begin();
        auto last = std::prev(slots_.end());
        auto victim = distance(first->first, position_) >= distance(last->first, position_) ? first : last;
        if (victim->first == keep)
            victim = victim == first ? last : first;
        bytes_ -= victim->second.bytes;
        slots_.erase(victim);
    }
}
