#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// One step through a byte string: a character of UTF-8, or a single byte that belongs to none.
struct Character
{
    /// Number of bytes, at least 1.
    std::size_t size = 1;
    /// The code point; without meaning when `isValid` is false.
    char32_t codePoint = 0;
    bool isValid = false;
};

/// The character at the start of a text that is not empty. Overlong forms, surrogates and code points beyond U+10FFFF
/// are no UTF-8.
Character firstCharacter(std::string_view text);

/// The text with each byte that is no part of printable UTF-8 as \xNN. What controls a terminal, or the direction or
/// visibility of text, is not printable.
std::string printable(std::string_view text);

/// A number as programs that dump files show offsets: "0x2d".
std::string hexNumber(std::size_t number);

/// A count and what is counted: "1 entry" or "3 entries".
std::string counted(std::size_t count, std::string_view one, std::string_view many);

/// Appends the printable form of a text, and returns how many columns a terminal gives it: wide East Asian characters
/// take two, combining ones none.
std::size_t appendPrintable(std::string& shown, std::string_view text);

/// How many columns a text takes as the cell of a row; an empty one shows as "".
std::size_t cellWidth(std::string_view text);

/// Appends a cell of that width, or of its own when that is larger, and the two blanks behind it.
void appendCell(std::string& row, std::string_view text, std::size_t width);

/// A text in a colour of ctl/Color.h; as it is when that is empty.
std::string colored(std::string_view text, std::string_view color);

/// Rows of cells, rendered as columns two blanks apart, each as wide as its widest cell. No blanks end a line. Cells
/// are made printable; an empty cell that others follow shows as "".
class Table
{
public:
    /// The first cell is led by `color` and followed by the sequence that ends it, when that is not empty.
    void addRow(std::initializer_list<std::string_view> cells, std::string_view color = {});
    std::string text() const;

private:
    struct Cell
    {
        std::size_t end;
        std::size_t width;
    };

    struct Row
    {
        std::size_t cellCount;
        std::string_view color;
    };

    /// The printable texts of all cells, one behind the other: a row costs no allocation.
    std::string m_text;
    std::vector<Cell> m_cells;
    std::vector<Row> m_rows;
    std::vector<std::size_t> m_widths;
};

} // namespace ctl
