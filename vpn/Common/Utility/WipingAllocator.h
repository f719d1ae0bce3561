#pragma once

#include <cstddef>
#include <memory>
#include <vector>

/// Sets `size` bytes at `memory` to zero in a way that no optimiser leaves out.
void wipeMemory(void* memory, std::size_t size) noexcept;

/// The standard allocator, but every block goes back to the heap zeroed. A container that keeps all of its bytes in
/// blocks of this allocator cannot leave any behind, however it grows, shrinks or ends.
template <class T> struct WipingAllocator
{
    using value_type = T;

    WipingAllocator() = default;
    template <class U> WipingAllocator(const WipingAllocator<U>&) noexcept {}

    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }

    void deallocate(T* block, std::size_t count) noexcept
    {
        wipeMemory(block, count * sizeof(T));
        std::allocator<T>().deallocate(block, count);
    }

    bool operator==(const WipingAllocator&) const noexcept { return true; }
};

/// Bytes that are wiped before they are released. A vector and not a string, because a short string would lie inside
/// the object, where the allocator never sees it.
using WipedBytes = std::vector<char, WipingAllocator<char>>;
