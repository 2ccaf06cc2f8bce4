#pragma once

#include <memory>

// An allocator whose resize() leaves new elements uninitialised, for buffers that are filled
// straight away by a read: zero-filling half a gigabyte of log values first would cost as much as
// reading them.
template <typename T> class UninitializedAllocator : public std::allocator<T> {
public:
    template <typename U> struct rebind { using other = UninitializedAllocator<U>; };
    UninitializedAllocator() = default;
    template <typename U> UninitializedAllocator(const UninitializedAllocator<U>&) noexcept {}

    template <typename U> void construct(U* p) noexcept { ::new (static_cast<void*>(p)) U; }
    template <typename U, typename... Args> void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};
