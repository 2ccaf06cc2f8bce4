#include "readers/LineReader.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {
// Large enough that a read costs nothing next to parsing it, small enough to stay out of the
// memory budget.
constexpr std::size_t chunkSize = 4 << 20;
// A "line" longer than this is no line of a log: it is handed out in pieces, as garbage.
constexpr std::size_t maximumLine = 64 << 20;
} // namespace

LineReader::~LineReader() {
    if (fd_ >= 0)
        ::close(fd_);
}

LineReader::LineReader(LineReader&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), buffer_(std::move(other.buffer_)), capacity_(other.capacity_),
      begin_(other.begin_), end_(other.end_), base_(other.base_), eof_(other.eof_),
      atInputStart_(other.atInputStart_), byOffset_(other.byOffset_), memory_(other.memory_),
      head_(other.head_), lineNumber_(other.lineNumber_), size_(other.size_),
      readError_(std::move(other.readError_)) {}

std::optional<LineReader> LineReader::openFile(const std::string& path, std::string& error) {
    LineReader reader;
    reader.fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (reader.fd_ < 0) {
        error = std::strerror(errno);
        return std::nullopt;
    }
    struct stat status {};
    if (::fstat(reader.fd_, &status) == 0) {
        if (S_ISDIR(status.st_mode)) {
            error = "is a folder";
            return std::nullopt;
        }
        reader.size_ = static_cast<std::uint64_t>(status.st_size);
    }
    ::posix_fadvise(reader.fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
    reader.capacity_ = chunkSize;
    reader.buffer_.reset(new char[reader.capacity_]);
    reader.eof_ = false;
    reader.fill();
    reader.head_ = std::string_view(reader.buffer_.get(), reader.end_);
    return reader;
}

LineReader LineReader::fromMemory(std::string_view data) {
    LineReader reader;
    reader.memory_ = data;
    reader.head_ = data.substr(0, chunkSize);
    reader.size_ = data.size();
    reader.end_ = data.size();
    return reader;
}

// Moves the unread rest to the front of the buffer and reads more behind it; the buffer grows
// only for a line longer than itself. False when nothing more could be read.
bool LineReader::fill() {
    if (eof_)
        return false;
    if (begin_ > 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        base_ += begin_;
        end_ -= begin_;
        begin_ = 0;
    }
    if (end_ == capacity_) {
        std::size_t grown = capacity_ * 2;
        std::unique_ptr<char[]> bigger(new char[grown]);
        std::memcpy(bigger.get(), buffer_.get(), end_);
        buffer_ = std::move(bigger);
        capacity_ = grown;
    }
    std::size_t before = end_;
    while (end_ < capacity_) {
        // By offset for a part of a file; a whole input may be a pipe.
        ssize_t n = !byOffset_ ? ::read(fd_, buffer_.get() + end_, capacity_ - end_)
                               : ::pread(fd_, buffer_.get() + end_, capacity_ - end_,
                                         static_cast<off_t>(base_ + end_));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            readError_ = std::strerror(errno);
            eof_ = true;
            break;
        }
        if (n == 0) {
            eof_ = true;
            break;
        }
        end_ += static_cast<std::size_t>(n);
    }
    return end_ > before;
}

bool LineReader::next(std::string_view& line) {
    const char* data = fd_ >= 0 ? buffer_.get() : memory_.data();
    const char* newline = nullptr;
    while (true) {
        if (begin_ < end_)
            newline = static_cast<const char*>(std::memchr(data + begin_, '\n', end_ - begin_));
        if (newline || fd_ < 0 || eof_)
            break;
        if (end_ - begin_ >= maximumLine)
            break; // handed out as it is, the rest follows as further pieces
        if (!fill() && !eof_)
            break;
        data = buffer_.get();
    }
    if (begin_ >= end_)
        return false;
    std::size_t stop = newline ? static_cast<std::size_t>(newline - data) : end_;
    line = std::string_view(data + begin_, stop - begin_);
    begin_ = newline ? stop + 1 : stop;
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    if (++lineNumber_ == 1 && atInputStart_ && line.substr(0, 3) == "\xEF\xBB\xBF")
        line.remove_prefix(3);
    return true;
}

std::optional<std::uint64_t> LineReader::lineStartFrom(std::uint64_t offset) const {
    if (offset == 0)
        return 0;
    // The line end before `offset`, or the first one after it.
    std::uint64_t at = offset - 1;
    if (fd_ < 0) {
        std::size_t newline = memory_.find('\n', at);
        if (newline == std::string_view::npos || newline + 1 >= memory_.size())
            return std::nullopt;
        return newline + 1;
    }
    char block[64 << 10];
    while (at < size_ && at - (offset - 1) < maximumLine) {
        ssize_t n = ::pread(fd_, block, sizeof block, static_cast<off_t>(at));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return std::nullopt;
        if (auto* newline = static_cast<const char*>(std::memchr(block, '\n', static_cast<std::size_t>(n)))) {
            std::uint64_t start = at + static_cast<std::uint64_t>(newline - block) + 1;
            return start < size_ ? std::optional(start) : std::nullopt;
        }
        at += static_cast<std::uint64_t>(n);
    }
    return std::nullopt;
}

std::optional<LineReader> LineReader::from(std::uint64_t start, std::string& error) const {
    LineReader reader;
    reader.atInputStart_ = start == 0;
    reader.size_ = start < size_ ? size_ - start : 0;
    if (fd_ < 0) {
        reader.memory_ = memory_.substr(std::min<std::size_t>(start, memory_.size()));
        reader.end_ = reader.memory_.size();
        reader.head_ = reader.memory_.substr(0, chunkSize);
        return reader;
    }
    // Its own descriptor, closed with it; it reads by offset, so the two never disturb each other.
    reader.fd_ = ::fcntl(fd_, F_DUPFD_CLOEXEC, 0);
    if (reader.fd_ < 0) {
        error = std::strerror(errno);
        return std::nullopt;
    }
    reader.base_ = start;
    reader.byOffset_ = true;
    reader.capacity_ = chunkSize;
    reader.buffer_.reset(new char[reader.capacity_]);
    reader.eof_ = false;
    return reader;
}
