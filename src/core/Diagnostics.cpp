#include "core/Diagnostics.h"

#include <atomic>
#include <mutex>

namespace {
std::atomic<std::FILE*> target{nullptr};
std::mutex writeMutex;
} // namespace

void Diagnostics::printLine(std::string_view line) {
    std::FILE* stream = target.load();
    if (!stream)
        stream = stdout;
    // Lines come from the main thread and the serial queue; keep each one whole.
    std::lock_guard lock(writeMutex);
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fputc('\n', stream);
    std::fflush(stream);
}

void Diagnostics::setStream(std::FILE* stream) {
    target.store(stream);
}
