#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace ctl {

/// A place in a document as editors and compilers count: lines and columns from 1, a column being a byte of the line.
/// A tab is one column, a byte order mark three; a line ends with LF, and the CR before that is its last column.
struct TextPlace
{
    std::size_t line = 1;
    std::size_t column = 1;

    // NOLINTNEXTLINE(modernize-use-nullptr): clang-tidy 14 takes the comparison with 0 inside it for one with a pointer
    auto operator<=>(const TextPlace&) const = default;
};

/// Where the lines of a text begin.
class LineIndex
{
public:
    explicit LineIndex(std::string_view text);

    /// The place of a byte. Everything behind the text is taken for the place behind its last byte.
    TextPlace placeOf(std::size_t offset) const;

    /// Where a place lies in the text.
    std::size_t offsetOf(TextPlace place) const { return m_begins[place.line - 1] + place.column - 1; }

private:
    std::size_t m_size;
    std::vector<std::size_t> m_begins{0};
};

} // namespace ctl
