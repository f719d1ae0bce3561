#pragma once

#include <unistd.h>

#include <utility>

namespace ctl {

/// Owns an open file descriptor, or none (-1).
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        reset(std::exchange(other.m_number, -1));
        return *this;
    }

    bool isOpen() const { return m_number >= 0; }
    int number() const { return m_number; }

    /// Gives the descriptor to the caller, who closes it.
    int release() { return std::exchange(m_number, -1); }

    void reset(int number = -1)
    {
        if (m_number >= 0) {
            close(m_number);
        }
        m_number = number;
    }

private:
    int m_number;
};

} // namespace ctl
