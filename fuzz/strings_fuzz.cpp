// CStringUtils, each function held against a plain model of what it promises or against its inverse.
// Input: TEXT|PATTERN|REPLACEMENT, where PATTERN also serves as prefix, suffix, searched text and delimiter.

#include "fuzz/support/Input.h"
#include "fuzz/support/Require.h"
#include "vpn/Common/Utility/StringUtils.h"

#include <algorithm>
#include <vector>

namespace {

using obg::fuzz::cutAtNul;
using obg::fuzz::require;

constexpr const char* kSixBlanks = " \t\f\v\n\r";

bool isBlank(char c)
{
    return std::string(kSixBlanks).find(c) != std::string::npos;
}

bool isStarsOnly(const std::string& pattern)
{
    return std::all_of(pattern.begin(), pattern.end(), [](char c) { return c == '*'; });
}

/// The match, one step a call, on what is left of both; `whole` is the text that the last segment is held against.
bool matches(const std::string& whole, const std::string& text, const std::string& pattern)
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
    const std::string segment = pattern.substr(1, pattern.find('*', 1) - 1);
    const std::string after = pattern.substr(1 + segment.size());
    if (after.empty()) {
        return whole.size() >= segment.size() && whole.substr(whole.size() - segment.size()) == segment;
    }
    const std::size_t hit = text.find(segment);
    return hit != std::string::npos && matches(whole, text.substr(hit + segment.size()), after);
}

std::string trimmedRight(std::string s, const std::string& blanks)
{
    while (!s.empty() && blanks.find(s.back()) != std::string::npos) {
        s.pop_back();
    }
    return s;
}

std::string trimmed(const std::string& s)
{
    return {std::find_if_not(s.begin(), s.end(), isBlank), s.end()};
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

std::string joined(const std::vector<std::string>& pieces, char delimiter)
{
    std::string result = pieces.front();
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        result.append(1, delimiter).append(pieces[i]);
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
    const std::string right = trimmedRight(s, kSixBlanks);
    const std::string both = trimmed(right);
    const std::string cut = cutAtNul(s);
    std::string inPlace = s;
    require(&CStringUtils::removeLeadingAndTrailingWhitespacesNoCopy(inPlace) == &inPlace, "the trim gives its text");
    require(inPlace == both, "the trim in place takes blanks from both ends");
    require(CStringUtils::removeLeadingAndTrailingWhitespaces(s) == both, "the trim takes blanks from both ends");
    require(CStringUtils::removeTrailingWhitespaces(s, false) == right, "the trim takes blanks from the end");
    require(CStringUtils::removeTrailingWhitespaces(s, true) == trimmedRight(s, "\r\n"),
            "the trim of newlines takes newlines from the end");
    require(CStringUtils::removeLeadingAndTrailingWhitespacesA(s) == trimmed(trimmedRight(cut, kSixBlanks)),
            "the trim of a C text ends at its NUL");
    require(CStringUtils::removeTrailingWhitespacesA(s, true) == trimmedRight(cut, "\r\n"),
            "the trim of a C text's newlines ends at its NUL");
    require(CStringUtils::hasAnyNonWhitespace(s) == !both.empty(), "a text that is not blank has something else");
}

void checkEscape(const std::string& s)
{
    std::string escaped = s;
    CStringUtils::EscapeXML(escaped);
    require(escaped.find_first_of("'\"<>") == std::string::npos, "nothing that XML gives a meaning is left");
    std::string back = escaped;
    // "&amp;" last: what it turns into begins no entity.
    const std::pair<const char*, const char*> entities[] = {
        {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}, {"&amp;", "&"}};
    for (const auto& [entity, byte] : entities) {
        back = replaced(back, entity, byte);
    }
    require(back == s, "an escaped text can be read back");
}

void checkTokens(const std::string& s, char delimiter)
{
    const std::vector<std::string> pieces = CStringUtils::tokenize(s, delimiter);
    const auto delimiters = static_cast<std::size_t>(std::count(s.begin(), s.end(), delimiter));
    require(pieces.size() == delimiters + 1, "every delimiter ends a piece");
    require(joined(pieces, delimiter) == s, "the pieces make the text again");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    obg::fuzz::Input input(data, size);
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
