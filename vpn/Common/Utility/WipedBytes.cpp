#include "vpn/Common/Utility/WipedBytes.h"

#include <cstring>
#include <utility>

void wipeMemory(void* memory, std::size_t size) noexcept
{
    ::explicit_bzero(memory, size);
}

WipedBytes::~WipedBytes()
{
    if (m_data != nullptr) {
        wipeMemory(m_data, m_capacity);
        delete[] m_data;
    }
}

void WipedBytes::append(std::string_view bytes)
{
    if (!bytes.empty()) {
        std::memcpy(extend(bytes.size()), bytes.data(), bytes.size());
    }
}

void WipedBytes::grow(std::size_t capacity)
{
    WipedBytes larger;
    larger.m_data = new char[capacity];
    larger.m_capacity = capacity;
    larger.append(view());
    swap(larger);
}

void WipedBytes::swap(WipedBytes& other) noexcept
{
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_capacity, other.m_capacity);
}
