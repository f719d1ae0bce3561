#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

/// Sets `size` bytes at `memory` to zero in a way that no optimiser leaves out.
void wipeMemory(void* memory, std::size_t size) noexcept;

/// A growing run of bytes whose every block is zeroed, to its capacity, before it goes back to the heap. Nothing of it
/// ever lies inside the object, as a short std::string does, so that moving one leaves no copy behind. Failure to
/// allocate is the standard library's exception; one object may be used by one thread at a time.
class WipedBytes
{
public:
    WipedBytes() = default;
    explicit WipedBytes(std::string_view bytes) { append(bytes); }
    WipedBytes(const WipedBytes& other) : WipedBytes(other.view()) {}
    WipedBytes(WipedBytes&& other) noexcept { swap(other); }
    WipedBytes& operator=(WipedBytes other) noexcept
    {
        swap(other);
        return *this;
    }
    ~WipedBytes();

    /// Appends bytes, which must not lie in this object.
    void append(std::string_view bytes);

    /// Appends `count` bytes that the caller writes at once; gives where they begin.
    char* extend(std::size_t count)
    {
        if (count > m_capacity - m_size) {
            // The first block fits exactly: most texts arrive in one piece.
            grow(std::max(m_size + count, 2 * m_capacity));
        }
        m_size += count;
        return m_data + m_size - count;
    }

    /// Makes room for `capacity` bytes in all.
    void reserve(std::size_t capacity)
    {
        if (capacity > m_capacity) {
            grow(capacity);
        }
    }

    /// Wipes and releases everything.
    void clear() noexcept { WipedBytes().swap(*this); }

    void swap(WipedBytes& other) noexcept;

    char* data() { return m_data; }
    const char* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    std::string_view view() const { return {m_data, m_size}; }

private:
    void grow(std::size_t capacity);

    char* m_data = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};
