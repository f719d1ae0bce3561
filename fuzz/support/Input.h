#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace obg::test {

/// The bytes of one run, taken apart into texts. The texts are divided by "|" or another printable byte and not by
/// counts, so that a person can read and write a seed.
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    /// Takes one byte; 0 when there is none left.
    unsigned char byte()
    {
        if (m_rest.empty()) {
            return 0;
        }
        const char first = m_rest.front();
        m_rest.remove_prefix(1);
        return static_cast<unsigned char>(first);
    }

    /// Takes what stands before the next divider, and the divider; all that is left when there is none.
    std::string text(char divider = '|')
    {
        const std::size_t end = m_rest.find(divider);
        std::string taken(m_rest.substr(0, end));
        m_rest.remove_prefix(end == std::string_view::npos ? m_rest.size() : end + 1);
        return taken;
    }

    /// Takes all that is left.
    std::string rest()
    {
        std::string taken(m_rest);
        m_rest = {};
        return taken;
    }

    bool empty() const { return m_rest.empty(); }

private:
    std::string_view m_rest;
};

/// A text up to its first NUL byte.
inline std::string cutAtNul(const std::string& text)
{
    return text.c_str();
}

} // namespace obg::test
