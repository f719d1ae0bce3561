#include "ctl/LineIndex.h"

#include <algorithm>

namespace ctl {

LineIndex::LineIndex(std::string_view text) : m_size(text.size())
{
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n', end + 1)) {
        m_begins.push_back(end + 1);
    }
}

TextPlace LineIndex::placeOf(std::size_t offset) const
{
    offset = std::min(offset, m_size);
    const auto next = std::upper_bound(m_begins.begin(), m_begins.end(), offset);
    return {static_cast<std::size_t>(next - m_begins.begin()), offset - *std::prev(next) + 1};
}

} // namespace ctl
