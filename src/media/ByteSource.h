#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// Random access to the bytes of a file or of a buffer, so that the container reader can jump past
// media data instead of reading through it.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    // Reads exactly `length` bytes at `offset`; false when they are not all there.
    virtual bool read(std::uint64_t offset, void* into, std::size_t length) = 0;
};

class FileByteSource : public ByteSource {
public:
    // None when the file cannot be opened for reading.
    static std::unique_ptr<FileByteSource> open(const std::string& path);
    ~FileByteSource() override;
    FileByteSource(const FileByteSource&) = delete;
    FileByteSource& operator=(const FileByteSource&) = delete;

    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, void* into, std::size_t length) override;

private:
    FileByteSource(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size) {}
    int descriptor_;
    std::uint64_t size_;
};

class MemoryByteSource : public ByteSource {
public:
    MemoryByteSource(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, void* into, std::size_t length) override;

private:
    const std::uint8_t* data_;
    std::size_t size_;
};
