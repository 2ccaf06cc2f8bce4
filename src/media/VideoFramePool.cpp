#include "media/VideoFramePool.h"

#include <algorithm>
#include <new>

namespace {

// Lines start on 64-byte boundaries: the converter's SIMD code writes whole vectors.
constexpr std::align_val_t alignment{64};

std::uint8_t* allocateBlock(std::size_t bytes) {
    return static_cast<std::uint8_t*>(::operator new(bytes, alignment));
}

void freeBlock(std::uint8_t* block) {
    ::operator delete(block, alignment);
}

} // namespace

std::shared_ptr<VideoFramePool> VideoFramePool::create(std::size_t keep) {
    return std::shared_ptr<VideoFramePool>(new VideoFramePool(keep));
}

VideoFramePool::~VideoFramePool() {
    for (auto [block, bytes] : free_)
        freeBlock(block);
}

std::shared_ptr<std::uint8_t> VideoFramePool::allocate(std::size_t bytes) {
    std::uint8_t* block = nullptr;
    {
        std::lock_guard lock(mutex_);
        auto fits = std::find_if(free_.begin(), free_.end(),
                                 [bytes](const auto& free) { return free.second == bytes; });
        if (fits != free_.end()) {
            block = fits->first;
            free_.erase(fits);
        }
    }
    if (!block)
        block = allocateBlock(bytes);
    std::weak_ptr<VideoFramePool> pool = weak_from_this();
    return std::shared_ptr<std::uint8_t>(block, [pool, bytes](std::uint8_t* used) {
        if (auto owner = pool.lock())
            owner->giveBack(used, bytes);
        else
            freeBlock(used);
    });
}

std::shared_ptr<std::uint8_t> VideoFramePool::allocateUnpooled(std::size_t bytes) {
    return std::shared_ptr<std::uint8_t>(allocateBlock(bytes), freeBlock);
}

void VideoFramePool::giveBack(std::uint8_t* block, std::size_t bytes) {
    {
        std::lock_guard lock(mutex_);
        if (free_.size() < keep_) {
            free_.emplace_back(block, bytes);
            return;
        }
    }
    freeBlock(block);
}
