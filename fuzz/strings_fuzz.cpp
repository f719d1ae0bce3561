// CStringUtils, each function held against a plain model of what it promises or against its inverse.
// Input: TEXT|PATTERN|REPLACEMENT, where PATTERN also serves as prefix, suffix, searched text and delimiter.

#include "fuzz/support/Input.h"
#include "fuzz/support/Require.h"
#include "vpn/Common/Utility/StringUtils.h"

#include <algorithm>
#include <string_view>

namespace {

using obg::test::cutAtNul;
using obg::test::require;

constexpr std::string_view kSixBlanks = " \t\f\v\n\r";

bool isStarsOnly(std::string_view pattern)
{
    return std::all_of(pattern.begin(), pattern.end(), [](char c) { return c == '*'; });
}

/// The match, one step a call, on what is left of both; `whole` is the text that the last segment is held against.
bool matches(std::string_view whole, std::string_view text, std::string_view pattern)
{
    if (text.empty() || pattern.empty()) {
        return text.empty() && isStarsOnly(pattern);
    }
    if (pattern[0] != '*') {
        return pattern[0] == text[0] && matches(whole, text.substr(1), pattern.substr(1));
    }
    if (isStarsOnly(pattern)) {
        return true;
    }
    if (pattern[1] == '*') {
        return matches(whole, text, pattern.substr(1));
    }
    const std::string_view segment = pattern.substr(1, pattern.find('*', 1) - 1);
    const std::string_view after = pattern.substr(1 + segment.size());
    if (after.empty()) {
        return whole.size() >= segment.size() && whole.substr(whole.size() - segment.size()) == segment;
    }
    const std::size_t hit = text.find(segment);
    return hit != std::string_view::npos && matches(whole, text.substr(hit + segment.size()), after);
}

std::string_view trimmedRight(std::string_view s, std::string_view blanks)
{
    while (!s.empty() && blanks.find(s.back()) != std::string_view::npos) {
        s.remove_suffix(1);
    }
    return s;
}

std::string_view trimmed(std::string_view s)
{
    s = trimmedRight(s, kSixBlanks);
    while (!s.empty() && kSixBlanks.find(s.front()) != std::string_view::npos) {
        s.remove_prefix(1);
    }
    return s;
}

std::string replaced(const std::string& s, const std::string& from, const std::string& to)
{
    std::string result;
    for (std::size_t i = 0; i < s.size();) {
        if (!from.empty() && s.compare(i, from.size(), from) == 0) {
            result += to;
            i += from.size();
        } else {
            result += s[i++];
        }
    }
    return result;
}

std::string lowered(const std::string& s)
{
    std::string result = cutAtNul(s);
    for (char& c : result) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return result;
}

void checkTrims(const std::string& s)
{
    const std::string cut = cutAtNul(s);
    std::string inPlace = s;
    require(&CStringUtils::removeLeadingAndTrailingWhitespacesNoCopy(inPlace) == &inPlace, "the trim gives its text");
    require(inPlace == trimmed(s), "the trim in place takes blanks from both ends");
    require(CStringUtils::removeLeadingAndTrailingWhitespaces(s) == trimmed(s), "the trim takes blanks from both ends");
    require(CStringUtils::removeTrailingWhitespaces(s, false) == trimmedRight(s, kSixBlanks),
            "the trim takes blanks from the end");
    require(CStringUtils::removeTrailingWhitespaces(s, true) == trimmedRight(s, "\r\n"),
            "the trim of newlines takes newlines from the end");
    require(CStringUtils::removeLeadingAndTrailingWhitespacesA(s) == trimmed(cut),
            "the trim of a C text ends at its NUL");
    require(CStringUtils::removeTrailingWhitespacesA(s, true) == trimmedRight(cut, "\r\n"),
            "the trim of a C text's newlines ends at its NUL");
    require(CStringUtils::hasAnyNonWhitespace(s) == !inPlace.empty(), "a text that is not blank has something else");
}

std::string escaped(const std::string& s)
{
    std::string result;
    for (const char c : s) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '\'':
            result += "&apos;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '<':
            result += "&lt;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

void checkEscape(const std::string& s)
{
    std::string inPlace = s;
    CStringUtils::EscapeXML(inPlace);
    require(inPlace == escaped(s), "the five bytes that XML gives a meaning are escaped once");
}

void checkTokens(const std::string& s, char delimiter)
{
    std::size_t begin = 0;
    for (const std::string& piece : CStringUtils::tokenize(s, delimiter)) {
        require(begin <= s.size() && s.compare(begin, piece.size(), piece) == 0,
                "the pieces stand in the text in order");
        require(piece.find(delimiter) == std::string::npos, "a delimiter ends its piece");
        begin += piece.size();
        require(begin == s.size() || s[begin] == delimiter, "nothing but a delimiter ends a piece");
        ++begin;
    }
    require(begin == s.size() + 1, "the last piece ends with the text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    obg::test::Input input(data, size);
    const std::string text = input.text();
    const std::string pattern = input.text();
    const std::string replacement = input.rest();

    require(CStringUtils::compareWithWildStr(text, pattern) == matches(text, text, pattern), "wildcards as stated");
    require(CStringUtils::stringReplace(text, pattern, replacement) == replaced(text, pattern, replacement),
            "every occurrence is replaced once");
    require(CStringUtils::beginsWith(text, pattern) == (text.substr(0, pattern.size()) == pattern), "prefix");
    const std::size_t tail = text.size() - std::min(text.size(), pattern.size());
    require(CStringUtils::endsWith(text, pattern) == (text.substr(tail) == pattern), "suffix");
    require(CStringUtils::toLower(text) == lowered(text), "lower case of the 26 letters up to a NUL");
    require(CStringUtils::formatString("%s,%s", text.c_str(), pattern.c_str()) ==
                (cutAtNul(text) + "," + cutAtNul(pattern)).substr(0, 1023),
            "a formatted text of at most 1023 bytes");
    checkTrims(text);
    checkEscape(text);
    checkTokens(text, pattern.empty() ? ',' : pattern[0]);
    return 0;
}
