#include "tests/secrets/KeptMemory.h"

#include <cstdlib>
#include <new>

namespace {

/** What stands before each block that operator new gives. */
struct alignas(std::max_align_t) Header
{
    std::size_t size;
    Header* next;
};

bool s_keeping = false;
Header* s_kept = nullptr;

std::string_view contentOf(const Header* header)
{
    return {reinterpret_cast<const char*>(header + 1), header->size};
}

void* allocate(std::size_t size)
{
    // Zeroed: what libxml2 left in a block before must not count.
    auto* header = static_cast<Header*>(std::calloc(1, sizeof(Header) + size));
    if (header == nullptr) {
        throw std::bad_alloc();
    }
    header->size = size;
    return header + 1;
}

void release(void* block) noexcept
{
    if (block == nullptr) {
        return;
    }
    Header* header = static_cast<Header*>(block) - 1;
    if (!s_keeping) {
        std::free(header);
        return;
    }
    header->next = s_kept;
    s_kept = header;
}

} // namespace

void* operator new(std::size_t size)
{
    return allocate(size);
}

void* operator new[](std::size_t size)
{
    return allocate(size);
}

void operator delete(void* block) noexcept
{
    release(block);
}

void operator delete[](void* block) noexcept
{
    release(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    release(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    release(block);
}

namespace obg::test {

KeptMemory::KeptMemory()
{
    s_keeping = true;
}

KeptMemory::~KeptMemory()
{
    s_keeping = false;
    while (s_kept != nullptr) {
        Header* header = s_kept;
        s_kept = header->next;
        std::free(header);
    }
}

std::size_t KeptMemory::blocksWith(std::string_view bytes)
{
    s_keeping = false;
    std::size_t count = 0;
    for (const Header* header = s_kept; header != nullptr; header = header->next) {
        if (contentOf(header).find(bytes) != std::string_view::npos) {
            ++count;
        }
    }
    return count;
}

std::size_t KeptMemory::blocks() const
{
    std::size_t count = 0;
    for (const Header* header = s_kept; header != nullptr; header = header->next) {
        ++count;
    }
    return count;
}

} // namespace obg::test
