#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <sys/mman.h>

// The allocator of bulk buffers (log values and times), for two reasons:
// - resize() leaves new elements uninitialised, since the buffers are filled straight away by a
//   read and zero-filling half a gigabyte first would cost as much as the read;
// - large buffers ask for transparent huge pages. Faulting in a log of gigabytes 4 KiB at a time
//   costs seconds of kernel time; 2 MiB pages cut the faults 512-fold. (NumPy does the same.)
template <typename T> class UninitializedAllocator : public std::allocator<T> {
public:
    static constexpr std::size_t hugePage = std::size_t{2} << 20;

    template <typename U> struct rebind { using other = UninitializedAllocator<U>; };
    UninitializedAllocator() = default;
    template <typename U> UninitializedAllocator(const UninitializedAllocator<U>&) noexcept {}

    T* allocate(std::size_t n) {
        std::size_t bytes = n * sizeof(T);
        if (n > std::size_t(-1) / sizeof(T))
            throw std::bad_alloc();
        if (bytes < 2 * hugePage)
            return std::allocator<T>::allocate(n);
        std::size_t rounded = (bytes + hugePage - 1) / hugePage * hugePage;
        void* p = std::aligned_alloc(hugePage, rounded);
        if (!p)
            throw std::bad_alloc();
        ::madvise(p, rounded, MADV_HUGEPAGE);
        return static_cast<T*>(p);
    }
    void deallocate(T* p, std::size_t n) noexcept {
        if (n * sizeof(T) < 2 * hugePage)
            std::allocator<T>::deallocate(p, n);
        else
            std::free(p);
    }

    template <typename U> void construct(U* p) noexcept { ::new (static_cast<void*>(p)) U; }
    template <typename U, typename... Args> void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};
