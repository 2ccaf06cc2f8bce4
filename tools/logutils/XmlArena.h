#pragma once

#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

// Memory for pugixml while one XML track is parsed. The tree of a track of hundreds of thousands
// of points takes hundreds of megabytes in small pages; from large blocks on huge pages it
// faults in hundreds of times less often, which was most of the time a GPX file took to read.
// Nothing is freed until the arena goes; pugixml uses it for every document the creating thread
// makes meanwhile, so all of them must be gone by then. Other threads get ordinary memory.
class XmlArena {
public:
    XmlArena();
    ~XmlArena();
    XmlArena(const XmlArena&) = delete;
    XmlArena& operator=(const XmlArena&) = delete;

private:
    static void* allocate(std::size_t size);
    static void deallocate(void* pointer);

    struct Block {
        char* data;
        std::size_t size;
        std::size_t used;
    };
    std::thread::id owner_;
    std::vector<Block> blocks_;
    void* (*previousAllocate_)(std::size_t);
    void (*previousDeallocate_)(void*);
};
