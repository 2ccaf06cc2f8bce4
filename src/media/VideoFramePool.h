#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

// Memory for pictures, taken back when the last frame using it goes away. Playing makes one picture
// per frame and the cache lets an old one go at the same pace; without reuse each picture would be
// fresh pages from the system, zeroed by the kernel, a few percent of the playing time at 1080p.
class VideoFramePool : public std::enable_shared_from_this<VideoFramePool> {
public:
    // Keeps at most `keep` free blocks.
    static std::shared_ptr<VideoFramePool> create(std::size_t keep);
    ~VideoFramePool();
    VideoFramePool(const VideoFramePool&) = delete;
    VideoFramePool& operator=(const VideoFramePool&) = delete;

    // `bytes` aligned to 64; the block goes back to the pool, or to the system once the pool is gone.
    std::shared_ptr<std::uint8_t> allocate(std::size_t bytes);

    // A block not from a pool.
    static std::shared_ptr<std::uint8_t> allocateUnpooled(std::size_t bytes);

private:
    explicit VideoFramePool(std::size_t keep) : keep_(keep) {}
    void giveBack(std::uint8_t* block, std::size_t bytes);

    std::mutex mutex_;
    std::vector<std::pair<std::uint8_t*, std::size_t>> free_;
    std::size_t keep_;
};
