#include "ctl/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <utility>

namespace ctl {

namespace {

constexpr std::string_view kEmptyCell = "\"\"";

struct Range
{
    char32_t first;
    char32_t last;
};

/// Controls, separators of lines, marks that change direction or visibility, and code points that are no characters.
constexpr std::array<Range, 20> kUnprintable{{
    {0x0000, 0x001F}, {0x007F, 0x009F}, {0x00AD, 0x00AD},   {0x0600, 0x0605},   {0x061C, 0x061C},
    {0x06DD, 0x06DD}, {0x070F, 0x070F}, {0x0890, 0x0891},   {0x08E2, 0x08E2},   {0x180E, 0x180E},
    {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},   {0xFDD0, 0xFDEF},   {0xFEFF, 0xFEFF},
    {0xFFF0, 0xFFFB}, {0xFFFE, 0xFFFF}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF},
}};

/// Characters that take two columns.
constexpr std::array<Range, 16> kWide{{
    {0x1100, 0x115F},
    {0x231A, 0x231B},
    {0x2E80, 0x303E},
    {0x3041, 0x4DBF},
    {0x4E00, 0xA4CF},
    {0xA960, 0xA97C},
    {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},
    {0xFE30, 0xFE6F},
    {0xFF01, 0xFF60},
    {0xFFE0, 0xFFE6},
    {0x16FE0, 0x18CFF},
    {0x1AFF0, 0x1B2FB},
    {0x1F300, 0x1F64F},
    {0x1F680, 0x1FAFF},
    {0x20000, 0x3FFFD},
}};

/// Characters that are laid over the one before them.
constexpr std::array<Range, 24> kCombining{{
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F}, {0x0670, 0x0670},
    {0x06D6, 0x06DC}, {0x06DF, 0x06E4}, {0x0730, 0x074A}, {0x0900, 0x0902}, {0x093C, 0x093C}, {0x0941, 0x0948},
    {0x094D, 0x094D}, {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x1AB0, 0x1ACE}, {0x1DC0, 0x1DFF},
    {0x20D0, 0x20F0}, {0x302A, 0x302D}, {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0x1F3FB, 0x1F3FF},
}};

bool isIn(std::span<const Range> ranges, char32_t codePoint)
{
    return std::any_of(ranges.begin(), ranges.end(),
                       [codePoint](const Range& range) { return range.first <= codePoint && codePoint <= range.last; });
}

bool isPlainAscii(char byte)
{
    return byte >= ' ' && byte <= '~';
}

bool isPrintable(const Character& character)
{
    // The last two code points of every plane are no characters.
    return character.isValid && (character.codePoint & 0xFFFE) != 0xFFFE && !isIn(kUnprintable, character.codePoint);
}

std::size_t columnsOf(char32_t codePoint)
{
    if (isIn(kCombining, codePoint)) {
        return 0;
    }
    return isIn(kWide, codePoint) ? 2 : 1;
}

void appendEscaped(std::string& text, std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += {'\\', 'x', digits[value >> 4], digits[value & 15]};
    }
}

/// How many bytes the character that this byte leads takes, 0 for a byte that leads none.
std::size_t sizeByLead(unsigned char lead)
{
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

bool isScalarValue(char32_t codePoint, std::size_t size)
{
    constexpr std::array<char32_t, 5> lowest{0, 0, 0x80, 0x800, 0x10000};
    return codePoint >= lowest[size] && codePoint <= 0x10FFFF && !(codePoint >= 0xD800 && codePoint <= 0xDFFF);
}

void appendColored(std::string& shown, std::string_view text, std::string_view color)
{
    shown += color;
    shown += text;
    shown += color.empty() ? "" : "\033[0m";
}

/// Looks at every byte, as the compiler turns that into steps of many.
bool isPlain(std::string_view text)
{
    unsigned char isAll = 1;
    for (const char byte : text) {
        isAll &= static_cast<unsigned char>(isPlainAscii(byte));
    }
    return isAll != 0;
}

std::size_t plainLength(std::string_view text)
{
    const auto end = std::find_if_not(text.begin(), text.end(), isPlainAscii);
    return static_cast<std::size_t>(end - text.begin());
}

} // namespace

Character firstCharacter(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t size = sizeByLead(lead);
    if (size == 0 || size > text.size()) {
        return {};
    }
    char32_t codePoint = size == 1 ? lead : lead & (0x7FU >> size);
    for (const char byte : text.substr(1, size - 1)) {
        const auto value = static_cast<unsigned char>(byte);
        if ((value & 0xC0) != 0x80) {
            return {};
        }
        codePoint = codePoint << 6 | (value & 0x3FU);
    }
    return isScalarValue(codePoint, size) ? Character{size, codePoint, true} : Character{};
}

std::size_t appendPrintable(std::string& shown, std::string_view text)
{
    if (isPlain(text)) {
        shown += text;
        return text.size();
    }
    std::size_t width = 0;
    while (!text.empty()) {
        const std::size_t plain = plainLength(text);
        shown += text.substr(0, plain);
        width += plain;
        text.remove_prefix(plain);
        if (text.empty()) {
            break;
        }
        const Character character = firstCharacter(text);
        const std::string_view bytes = text.substr(0, character.size);
        if (isPrintable(character)) {
            shown += bytes;
            width += columnsOf(character.codePoint);
        } else {
            appendEscaped(shown, bytes);
            width += 4 * bytes.size();
        }
        text.remove_prefix(character.size);
    }
    return width;
}

std::string printable(std::string_view text)
{
    std::string shown;
    appendPrintable(shown, text);
    return shown;
}

std::string hexNumber(std::size_t number)
{
    std::array<char, 2 * sizeof number> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16);
    std::string text = "0x";
    text.append(digits.data(), end);
    return text;
}

std::string counted(std::size_t count, std::string_view one, std::string_view many)
{
    return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

std::size_t cellWidth(std::string_view text)
{
    if (text.empty()) {
        return kEmptyCell.size();
    }
    if (isPlain(text)) {
        return text.size();
    }
    std::string shown;
    return appendPrintable(shown, text);
}

void appendCell(std::string& row, std::string_view text, std::size_t width)
{
    const std::size_t taken = appendPrintable(row, text.empty() ? kEmptyCell : text);
    row.append(std::max(width, taken) - taken + 2, ' ');
}

std::string colored(std::string_view text, std::string_view color)
{
    std::string shown;
    appendColored(shown, text, color);
    return shown;
}

void Table::addRow(std::initializer_list<std::string_view> cells, std::string_view color)
{
    m_widths.resize(std::max(m_widths.size(), cells.size()));
    auto width = m_widths.begin();
    for (const std::string_view& cell : cells) {
        const bool isLast = &cell + 1 == cells.end();
        const std::size_t columns = appendPrintable(m_text, cell.empty() && !isLast ? kEmptyCell : cell);
        m_cells.push_back({m_text.size(), columns});
        *width = std::max(*width, columns);
        ++width;
    }
    m_rows.push_back({cells.size(), color});
}

std::string Table::text() const
{
    std::string text;
    text.reserve(2 * m_text.size() + m_rows.size());
    std::size_t begin = 0;
    auto cell = m_cells.begin();
    for (const Row& row : m_rows) {
        std::size_t blanks = 0;
        for (std::size_t column = 0; column < row.cellCount; ++column, ++cell) {
            const std::string_view shown = std::string_view(m_text).substr(begin, cell->end - begin);
            begin = cell->end;
            text.append(shown.empty() ? 0 : blanks, ' ');
            appendColored(text, shown, column == 0 ? row.color : std::string_view());
            blanks = m_widths[column] - cell->width + 2;
        }
        text += '\n';
    }
    return text;
}

} // namespace ctl
