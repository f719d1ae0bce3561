#include "vpn/Common/Utility/VersionCompare.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

int toComponent(const std::string& piece)
{
    // The conversion to 32 bits is modular, so that 4294967297 reads as 1.
    return static_cast<std::int32_t>(std::strtol(piece.c_str(), nullptr, 10));
}

} // namespace

Version::Version(const std::string& text, const std::string& separators)
{
    std::size_t begin = 0;
    for (std::size_t end = text.find_first_of(separators); end != std::string::npos;
         end = text.find_first_of(separators, begin)) {
        m_components.push_back(toComponent(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    m_components.push_back(toComponent(text.substr(begin)));
}

int Version::compare(const Version& other) const
{
    const std::size_t count = std::max(m_components.size(), other.m_components.size());
    for (std::size_t i = 0; i < count; ++i) {
        const int mine = componentOrZero(i);
        const int theirs = other.componentOrZero(i);
        if (mine != theirs) {
            return mine > theirs ? 1 : -1;
        }
    }
    return 0;
}

bool Version::HaveCommonPrefix(const Version& other) const
{
    const auto count = static_cast<std::ptrdiff_t>(std::min(m_components.size(), other.m_components.size()));
    return std::equal(m_components.begin(), m_components.begin() + count, other.m_components.begin());
}

std::string Version::ToString(unsigned long first, const std::string& separator) const
{
    std::string text;
    for (std::size_t i = first; i < m_components.size(); ++i) {
        if (i != first) {
            text += separator;
        }
        text += std::to_string(m_components[i]);
    }
    return text;
}

int Version::componentOrZero(std::size_t index) const
{
    return index < m_components.size() ? m_components[index] : 0;
}
