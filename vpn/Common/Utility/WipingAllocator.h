#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

/// The standard allocator, but for zeroing each block in a way that no optimiser leaves out before it goes back to the
/// heap. A container of it leaves nothing behind, whatever is done with it; with a vector that holds for short strings
/// in its elements as well, which lie in its block. Failure to allocate is the standard library's exception.
template <class T> struct WipingAllocator
{
    using value_type = T;

    WipingAllocator() = default;
    template <class U> WipingAllocator(const WipingAllocator<U>& /*other*/) noexcept {}

    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }

    void deallocate(T* block, std::size_t count) noexcept
    {
        ::explicit_bzero(static_cast<void*>(block), count * sizeof(T));
        std::allocator<T>().deallocate(block, count);
    }

    bool operator==(const WipingAllocator& /*other*/) const noexcept { return true; }
};

/// A text as bytes that never lie inside the object, as those of a short string do.
using WipedText = std::vector<char, WipingAllocator<char>>;

/// A string for elements of a wiped vector; elsewhere, what it holds inside itself would not be wiped.
using WipedString = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;
