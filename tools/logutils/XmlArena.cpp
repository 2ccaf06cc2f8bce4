#include "XmlArena.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <pugixml.hpp>
#include <sys/mman.h>
#include <thread>

namespace {

constexpr std::size_t hugePage = std::size_t{2} << 20;
constexpr std::size_t blockSize = 32 * hugePage;
constexpr std::size_t alignment = alignof(std::max_align_t);

// pugixml's allocation functions take no context: the arena in use is this one.
XmlArena* current = nullptr;

} // namespace

XmlArena::XmlArena()
    : owner_(std::this_thread::get_id()), previousAllocate_(pugi::get_memory_allocation_function()),
      previousDeallocate_(pugi::get_memory_deallocation_function()) {
    current = this;
    pugi::set_memory_management_functions(allocate, deallocate);
}

XmlArena::~XmlArena() {
    pugi::set_memory_management_functions(previousAllocate_, previousDeallocate_);
    current = nullptr;
    for (const Block& block : blocks_)
        std::free(block.data);
}

void* XmlArena::allocate(std::size_t size) {
    // Other threads parse small documents one after another (pieces of a long track): they
    // reuse their memory, which the arena would not.
    if (std::this_thread::get_id() != current->owner_)
        return std::malloc(size);
    // pugixml treats a null answer as out of memory: the parse fails with that reason.
    size = (size + alignment - 1) / alignment * alignment;
    auto& blocks = current->blocks_;
    if (blocks.empty() || blocks.back().size - blocks.back().used < size) {
        const std::size_t bytes = std::max(blockSize, (size + hugePage - 1) / hugePage * hugePage);
        char* data = static_cast<char*>(std::aligned_alloc(hugePage, bytes));
        if (!data)
            return nullptr;
        ::madvise(data, bytes, MADV_HUGEPAGE);
        try {
            blocks.push_back({data, bytes, 0});
        } catch (const std::bad_alloc&) {
            std::free(data);
            return nullptr;
        }
    }
    Block& block = blocks.back();
    void* pointer = block.data + block.used;
    block.used += size;
    return pointer;
}

void XmlArena::deallocate(void* pointer) {
    // A document lives and dies on one thread, so what another thread frees came from malloc.
    if (std::this_thread::get_id() != current->owner_)
        std::free(pointer);
}
