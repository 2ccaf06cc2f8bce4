// The QuickTime/ISO box reader: truncated boxes, sizes past the end, zero sizes, nesting loops and
// huge counts give fewer items, never a crash or an unbounded allocation.
#include "media/IsoBoxReader.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MemoryByteSource source(data, size);
    auto metadata = IsoBoxReader::read(source);
    if (metadata) {
        // Touch what the camera rules touch.
        std::size_t total = 0;
        for (const auto& item : metadata->items)
            total += item.identifier.size() + (item.stringValue ? item.stringValue->size() : 0);
        (void)total;
    }
    return 0;
}
