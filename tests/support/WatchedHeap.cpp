#include "tests/support/WatchedHeap.h"

#include <cstdlib>
#include <new>
#include <ostream>

namespace obg::test {

namespace {

/** Stands before each block. */
struct alignas(std::max_align_t) Header
{
    std::size_t size;
    /** Of the blocks that are kept. */
    Header* next;
};

bool s_recording = false;
const Header* s_watched = nullptr;
Header* s_kept = nullptr;

// From malloc: keeping the events may not itself use the operators.
HeapEvent* s_events = nullptr;
std::size_t s_count = 0;
std::size_t s_room = 0;

std::string_view contentOf(const Header* header)
{
    return {reinterpret_cast<const char*>(header + 1), header->size};
}

bool isZeroed(const Header* header)
{
    return contentOf(header).find_first_not_of('\0') == std::string_view::npos;
}

void record(HeapEvent::Kind kind, const Header* header)
{
    if (s_count == s_room) {
        s_room = 2 * s_room + 100;
        s_events = static_cast<HeapEvent*>(std::realloc(s_events, s_room * sizeof(HeapEvent)));
        if (s_events == nullptr) {
            std::abort();
        }
    }
    s_events[s_count++] = {kind, header->size, isZeroed(header), s_watched == nullptr || isZeroed(s_watched)};
}

void* allocate(std::size_t size)
{
    // Zeroed: what libxml2 left in a block before must not count.
    auto* header = static_cast<Header*>(std::calloc(1, sizeof(Header) + size));
    if (header == nullptr) {
        throw std::bad_alloc();
    }
    header->size = size;
    if (s_recording) {
        record(HeapEvent::Kind::New, header);
    }
    return header + 1;
}

void release(void* block) noexcept
{
    if (block == nullptr) {
        return;
    }
    Header* header = static_cast<Header*>(block) - 1;
    if (!s_recording) {
        std::free(header);
        return;
    }
    record(HeapEvent::Kind::Delete, header);
    if (header == s_watched) {
        s_watched = nullptr;
    }
    header->next = s_kept;
    s_kept = header;
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
    s_recording = true;
}

WatchedHeap::~WatchedHeap()
{
    s_recording = false;
    s_watched = nullptr;
    while (s_kept != nullptr) {
        Header* header = s_kept;
        s_kept = header->next;
        std::free(header);
    }
}

void WatchedHeap::watch(const void* block)
{
    s_watched = static_cast<const Header*>(block) - 1;
}

std::vector<HeapEvent> WatchedHeap::events() const
{
    s_recording = false;
    return {s_events, s_events + s_count};
}

std::size_t WatchedHeap::blocksWith(std::string_view bytes) const
{
    s_recording = false;
    std::size_t count = 0;
    for (const Header* header = s_kept; header != nullptr; header = header->next) {
        count += contentOf(header).find(bytes) == std::string_view::npos ? 0 : 1;
    }
    return count;
}

std::size_t WatchedHeap::blocks() const
{
    std::size_t count = 0;
    for (const Header* header = s_kept; header != nullptr; header = header->next) {
        ++count;
    }
    return count;
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
