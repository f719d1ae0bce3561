#include "ctl/LintReport.h"

#include "ctl/Text.h"

#include <algorithm>
#include <utility>

namespace ctl {

namespace {

constexpr std::size_t kLongestWord = 80;

/// Counts the characters of a text's lines, from the front to the back.
class CharacterCount
{
public:
    CharacterCount(std::string_view text, const LineIndex& lines) : m_text(text), m_lines(lines) {}

    /// The column of a place in characters; the places must come in ascending order.
    std::size_t columnOf(TextPlace place)
    {
        if (place.line != m_line) {
            m_line = place.line;
            m_offset = m_lines.offsetOf({place.line, 1});
            m_column = 1;
        }
        const std::size_t end = m_lines.offsetOf(place);
        while (m_offset < end) {
            m_offset += firstCharacter(m_text.substr(m_offset)).size;
            ++m_column;
        }
        return m_column;
    }

private:
    std::string_view m_text;
    const LineIndex& m_lines;
    std::size_t m_line = 1;
    std::size_t m_offset = 0;
    std::size_t m_column = 1;
};

} // namespace

void LintReport::add(Rule rule, TextPlace place, std::string message)
{
    m_findings.push_back({rule, place, std::move(message)});
}

std::vector<LintFinding> LintReport::takeSorted(std::string_view text, const LineIndex& lines)
{
    std::stable_sort(m_findings.begin(), m_findings.end(),
                     [](const LintFinding& left, const LintFinding& right) { return left.place < right.place; });
    CharacterCount count(text, lines);
    for (LintFinding& finding : m_findings) {
        finding.character = count.columnOf(finding.place);
    }
    return std::exchange(m_findings, {});
}

std::string quoted(std::string_view word)
{
    std::size_t size = 0;
    while (size < word.size() && size < kLongestWord) {
        size += firstCharacter(word.substr(size)).size;
    }
    std::string text("\"");
    text.append(word.substr(0, size)).append(size < word.size() ? "...\"" : "\"");
    return text;
}

} // namespace ctl
