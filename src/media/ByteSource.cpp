#include "media/ByteSource.h"

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

std::unique_ptr<FileByteSource> FileByteSource::open(const std::string& path) {
    int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(descriptor);
        return nullptr;
    }
    return std::unique_ptr<FileByteSource>(
        new FileByteSource(descriptor, static_cast<std::uint64_t>(status.st_size)));
}

FileByteSource::~FileByteSource() {
    ::close(descriptor_);
}

bool FileByteSource::read(std::uint64_t offset, void* into, std::size_t length) {
    if (offset > size_ || length > size_ - offset)
        return false;
    auto* out = static_cast<char*>(into);
    while (length > 0) {
        ssize_t n = ::pread(descriptor_, out, length, static_cast<off_t>(offset));
        if (n <= 0)
            return false;
        out += n;
        offset += static_cast<std::uint64_t>(n);
        length -= static_cast<std::size_t>(n);
    }
    return true;
}

bool MemoryByteSource::read(std::uint64_t offset, void* into, std::size_t length) {
    if (offset > size_ || length > size_ - offset)
        return false;
    if (length > 0)
        std::memcpy(into, data_ + offset, length);
    return true;
}
