#include "tests/support/WatchedHeap.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <ostream>

namespace obg::test {

namespace {

/** Stands before each block. */
struct alignas(std::max_align_t) Header
{
    std::size_t size;
};

// Room of a fixed size: keeping the events may not itself use the heap.
std::array<HeapEvent, 100> s_events;
std::size_t s_count = 0;
bool s_recording = false;
const Header* s_watched = nullptr;

bool isZeroed(const Header* header)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(header + 1);
    return std::all_of(bytes, bytes + header->size, [](unsigned char byte) { return byte == 0; });
}

void record(HeapEvent::Kind kind, const Header* header)
{
    if (!s_recording) {
        return;
    }
    if (s_count == s_events.size()) {
        std::abort();
    }
    s_events[s_count++] = {kind, header->size, isZeroed(header), s_watched == nullptr || isZeroed(s_watched)};
}

void* allocate(std::size_t size)
{
    auto* header = static_cast<Header*>(std::calloc(1, sizeof(Header) + size));
    if (header == nullptr) {
        throw std::bad_alloc();
    }
    header->size = size;
    record(HeapEvent::Kind::New, header);
    return header + 1;
}

void release(void* block) noexcept
{
    if (block == nullptr) {
        return;
    }
    Header* header = static_cast<Header*>(block) - 1;
    record(HeapEvent::Kind::Delete, header);
    if (header == s_watched) {
        s_watched = nullptr;
    }
    std::free(header);
}

} // namespace

void PrintTo(const HeapEvent& event, std::ostream* stream)
{
    *stream << (event.kind == HeapEvent::Kind::New ? "new " : "delete ") << event.size
            << (event.zeroed ? ", zeroed" : ", NOT zeroed")
            << (event.watchedBlockZeroed ? "" : ", the watched block is not zeroed");
}

WatchedHeap::WatchedHeap()
{
    s_count = 0;
    s_watched = nullptr;
    s_recording = true;
}

WatchedHeap::~WatchedHeap()
{
    s_recording = false;
    s_watched = nullptr;
}

void WatchedHeap::watch(const void* block)
{
    s_watched = static_cast<const Header*>(block) - 1;
}

std::vector<HeapEvent> WatchedHeap::events() const
{
    s_recording = false;
    return {s_events.begin(), s_events.begin() + static_cast<std::ptrdiff_t>(s_count)};
}

} // namespace obg::test

void* operator new(std::size_t size)
{
    return obg::test::allocate(size);
}

void* operator new[](std::size_t size)
{
    return obg::test::allocate(size);
}

void operator delete(void* block) noexcept
{
    obg::test::release(block);
}

void operator delete[](void* block) noexcept
{
    obg::test::release(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    obg::test::release(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    obg::test::release(block);
}
