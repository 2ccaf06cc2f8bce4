#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// Hands out the lines of a file or of a block of memory without copying them: the file is read
// in large chunks into one buffer, and a line is a view into that buffer, valid until the next
// call. So a reader allocates nothing per line, and a file is never held whole in memory.
class LineReader {
public:
    ~LineReader();
    LineReader(LineReader&& other) noexcept;
    LineReader& operator=(LineReader&&) = delete;

    // None, with the reason in `error`, when the file cannot be opened.
    static std::optional<LineReader> openFile(const std::string& path, std::string& error);
    static LineReader fromMemory(std::string_view data);

    // The first bytes of the input (up to one chunk), for telling formats apart; valid until the
    // first call of next().
    std::string_view head() const { return head_; }
    // The next line without its line end (\n or \r\n) and without a leading byte-order mark;
    // false at the end of the input.
    bool next(std::string_view& line);
    // Number of the line last handed out, from 1.
    std::int64_t lineNumber() const { return lineNumber_; }
    // Total size of the input in bytes, when known (a file); for estimating row counts.
    std::uint64_t size() const { return size_; }
    // A read error met on the way, empty if none.
    const std::string& readError() const { return readError_; }

    // Byte offset in the input of the next line to be handed out.
    std::uint64_t position() const { return base_ + begin_; }
    // Offset of the first line that starts at or after `offset`; none when no line does.
    std::optional<std::uint64_t> lineStartFrom(std::uint64_t offset) const;
    // A reader of the input from `start`, a line start, to its end, independent of this one, so
    // that two threads can read two parts of one file at once. Its line numbers count from
    // `start`, and its size() is that of its part.
    std::optional<LineReader> from(std::uint64_t start, std::string& error) const;

private:
    LineReader() = default;
    bool fill();

    int fd_ = -1;
    std::unique_ptr<char[]> buffer_;
    std::size_t capacity_ = 0;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::uint64_t base_ = 0; // input offset of buffer_[0]
    bool eof_ = true;
    bool atInputStart_ = true; // a byte-order mark can only be at the very start
    bool byOffset_ = false;    // a part of a file, read with pread()
    std::string_view memory_;
    std::string_view head_;
    std::int64_t lineNumber_ = 0;
    std::uint64_t size_ = 0;
    std::string readError_;
};
