#include "vpn/Common/Utility/StringUtils.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;
using namespace std::string_literals;

// compareWithWildStr

bool matches(const std::string& text, const std::string& pattern)
{
    return CStringUtils::compareWithWildStr(text, pattern);
}

TEST(CStringUtils, aStarStandsForAnyRunOfBytes)
{
    EXPECT_TRUE(matches("abc", "a*c"));
    EXPECT_TRUE(matches("ac", "a*c"));
    EXPECT_TRUE(matches("abc", "*"));
    EXPECT_TRUE(matches("abc", "***"));
    EXPECT_TRUE(matches("abc", "a*"));
    EXPECT_TRUE(matches("abc", "abc*"));
    EXPECT_TRUE(matches("abc", "*abc"));
    EXPECT_TRUE(matches("abc", "*b*"));
    EXPECT_TRUE(matches("a\0b"s, "a*b"));
    EXPECT_FALSE(matches("abc", "a*d"));
    EXPECT_FALSE(matches("abc", "*b"));
    EXPECT_FALSE(matches("abc", "b*"));
    EXPECT_FALSE(matches("abc", "*d*"));
}

TEST(CStringUtils, everyOtherByteOfAPatternMatchesItselfOnly)
{
    EXPECT_TRUE(matches("abc", "abc"));
    EXPECT_FALSE(matches("abc", "ABC"));
    EXPECT_FALSE(matches("abcd", "abc"));
    EXPECT_FALSE(matches("abc", "abcd"));
    EXPECT_TRUE(matches("a?c", "a?c"));
    EXPECT_FALSE(matches("abc", "a?c"));
    EXPECT_FALSE(matches("abc", "[a]bc"));
    EXPECT_FALSE(matches("*", "\\*"));
}

TEST(CStringUtils, anEmptyTextOrPatternMatchesStarsAtMost)
{
    EXPECT_TRUE(matches("", ""));
    EXPECT_TRUE(matches("", "*"));
    EXPECT_TRUE(matches("", "**"));
    EXPECT_FALSE(matches("", "a"));
    EXPECT_FALSE(matches("", "*a"));
    EXPECT_FALSE(matches("", "?"));
    EXPECT_FALSE(matches("abc", ""));
}

TEST(CStringUtils, theSegmentsBetweenStarsFollowEachOther)
{
    EXPECT_TRUE(matches("one two three", "one*two*three"));
    EXPECT_TRUE(matches("abab", "*ab*ab"));
    EXPECT_TRUE(matches("xaxbx", "*a*b*"));
    EXPECT_FALSE(matches("xbxax", "*a*b*"));
    EXPECT_FALSE(matches("ab", "*ab*b*"));
}

TEST(CStringUtils, theLastSegmentMayOverlapWhatWasMatchedBefore)
{
    EXPECT_TRUE(matches("abc", "ab*bc"));
    EXPECT_TRUE(matches("xaby", "*ab*by"));
    EXPECT_TRUE(matches("ab", "a*ab"));
}

TEST(CStringUtils, aTextThatIsUsedUpLeavesRoomForStarsOnly)
{
    EXPECT_FALSE(matches("ab", "ab*b"));
    EXPECT_FALSE(matches("ab", "*ab*b"));
    EXPECT_TRUE(matches("ab", "ab*"));
    EXPECT_TRUE(matches("ab", "*ab**"));
}

TEST(CStringUtils, manyStarsTakeNoTimeToSpeakOf)
{
    std::string pattern;
    for (int i = 0; i < 2000; ++i) {
        pattern += "*a";
    }
    EXPECT_FALSE(matches(std::string(100'000, 'a'), pattern + "*b*"));
}

/**
 * The same matching as it is stated rather than walked: a star is tried at every length that it could have. A tail
 * behind the last star is held against the end of the whole text, as long as some text is left at the star.
 */
class WildcardModel
{
public:
    WildcardModel(std::string_view text, std::string_view pattern) : m_text(text), m_pattern(pattern) {}

    bool matches() const { return matchesFrom(0, m_pattern); }

private:
    bool matchesFrom(std::size_t begin, std::string_view pattern) const
    {
        const std::string_view left = m_text.substr(begin);
        if (left.empty() || pattern.empty()) {
            return left.empty() && pattern.find_first_not_of('*') == std::string_view::npos;
        }
        if (pattern.front() != '*') {
            return pattern.front() == left.front() && matchesFrom(begin + 1, pattern.substr(1));
        }
        const std::string_view rest = pattern.substr(1);
        if (rest.find('*') == std::string_view::npos) {
            return m_text.ends_with(rest);
        }
        return matchesFrom(begin, rest) || matchesFrom(begin + 1, pattern);
    }

    std::string_view m_text;
    std::string_view m_pattern;
};

/** Every text of these bytes that is at most `length` long. */
std::vector<std::string> allTexts(std::string_view bytes, std::size_t length)
{
    std::vector<std::string> texts{""};
    for (std::size_t i = 0; i < texts.size() && texts[i].size() < length; ++i) {
        const std::string shorter = texts[i];
        for (const char byte : bytes) {
            texts.push_back(shorter + byte);
        }
    }
    return texts;
}

/** The first pair on which the function and the model differ, or nothing. */
std::string firstDifference(const std::vector<std::string>& texts, const std::vector<std::string>& patterns)
{
    for (const std::string& text : texts) {
        for (const std::string& pattern : patterns) {
            if (matches(text, pattern) != WildcardModel(text, pattern).matches()) {
                return "text '" + text + "', pattern '" + pattern + "'";
            }
        }
    }
    return {};
}

TEST(CStringUtils, matchingAgreesWithTheModelOnAllShortTextsAndPatterns)
{
    ASSERT_EQ(allTexts("ab", 7).size(), 255U);
    ASSERT_EQ(allTexts("ab*", 7).size(), 3280U);
    EXPECT_EQ(firstDifference(allTexts("ab", 7), allTexts("ab*", 7)), "");
    EXPECT_EQ(firstDifference(allTexts("a?*", 4), allTexts("a?*", 5)), "");
}

// White space

const std::string kWhiteSpace = " \t\n\v\f\r";

bool isWhiteSpace(char byte)
{
    return kWhiteSpace.find(byte) != std::string::npos;
}

std::vector<char> allBytes()
{
    std::vector<char> bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    return bytes;
}

TEST(CStringUtils, sixBytesAreWhiteSpaceAndNoOther)
{
    for (const char byte : allBytes()) {
        SCOPED_TRACE(static_cast<int>(byte));
        const std::string text(1, byte);
        const std::string kept = isWhiteSpace(byte) ? "" : text;
        std::string inPlace = text;
        EXPECT_EQ(CStringUtils::isSpace(byte), isWhiteSpace(byte));
        EXPECT_EQ(CStringUtils::hasAnyNonWhitespace(text), !isWhiteSpace(byte));
        EXPECT_EQ(CStringUtils::removeLeadingAndTrailingWhitespacesNoCopy(inPlace), kept);
        EXPECT_EQ(CStringUtils::removeLeadingAndTrailingWhitespaces(text), kept);
        EXPECT_EQ(CStringUtils::removeTrailingWhitespaces(text, false), kept);
    }
}

TEST(CStringUtils, anyByteThatIsNotASpaceCounts)
{
    EXPECT_FALSE(CStringUtils::hasAnyNonWhitespace(""));
    EXPECT_FALSE(CStringUtils::hasAnyNonWhitespace(kWhiteSpace));
    EXPECT_TRUE(CStringUtils::hasAnyNonWhitespace(kWhiteSpace + "x"));
    EXPECT_TRUE(CStringUtils::hasAnyNonWhitespace("x" + kWhiteSpace));
    EXPECT_TRUE(CStringUtils::hasAnyNonWhitespace("  \0"s));
}

struct Trim
{
    std::string text;
    std::string kept;
};

const std::vector<Trim> kTrims = {
    {"", ""},
    {" ", ""},
    {"    ", ""},
    {kWhiteSpace, ""},
    {"a", "a"},
    {"a b", "a b"},
    {kWhiteSpace + "a \t b" + kWhiteSpace, "a \t b"},
    {" a", "a"},
    {"a ", "a"},
    {"\n\0 "s, "\0"s},
    {" a\0b "s, "a\0b"s},
};

TEST(CStringUtils, trimmingInPlaceKeepsWhatIsBetweenTheEnds)
{
    for (const auto& [text, kept] : kTrims) {
        std::string trimmed = text;
        EXPECT_EQ(CStringUtils::removeLeadingAndTrailingWhitespacesNoCopy(trimmed), kept);
        EXPECT_EQ(trimmed, kept);
        EXPECT_EQ(CStringUtils::trimmed(text), kept);
    }
}

TEST(CStringUtils, trimmingInPlaceGivesTheSameObject)
{
    std::string text = " a ";
    EXPECT_EQ(&CStringUtils::removeLeadingAndTrailingWhitespacesNoCopy(text), &text);
    std::string blank = "  ";
    EXPECT_EQ(&CStringUtils::removeLeadingAndTrailingWhitespacesNoCopy(blank), &blank);
}

TEST(CStringUtils, trimmingACopyLeavesTheOriginal)
{
    for (const auto& [text, kept] : kTrims) {
        const std::string original = text;
        EXPECT_EQ(CStringUtils::removeLeadingAndTrailingWhitespaces(original), kept);
        EXPECT_EQ(original, text);
    }
}

TEST(CStringUtils, trailingWhiteSpaceGoesAndLeadingStays)
{
    EXPECT_EQ(CStringUtils::removeTrailingWhitespaces("", false), "");
    EXPECT_EQ(CStringUtils::removeTrailingWhitespaces(kWhiteSpace, false), "");
    EXPECT_EQ(CStringUtils::removeTrailingWhitespaces(" a" + kWhiteSpace, false), " a");
    EXPECT_EQ(CStringUtils::removeTrailingWhitespaces("\ta\t\r\n", false), "\ta");
}

TEST(CStringUtils, newlinesOnlyLeavesEveryOtherWhiteSpaceAlone)
{
    EXPECT_EQ(CStringUtils::removeTrailingWhitespaces("", true), "");
    EXPECT_EQ(CStringUtils::removeTrailingWhitespaces("\r\n\r\n", true), "");
    EXPECT_EQ(CStringUtils::removeTrailingWhitespaces("a\t\r\n", true), "a\t");
    EXPECT_EQ(CStringUtils::removeTrailingWhitespaces("a\n\r\n", true), "a");
    for (const char kept : {' ', '\t', '\f', '\v'}) {
        const std::string text = "a\n"s + kept;
        EXPECT_EQ(CStringUtils::removeTrailingWhitespaces(text, true), text);
    }
}

TEST(CStringUtils, theVariantsWithAStopAtTheFirstNul)
{
    EXPECT_EQ(CStringUtils::removeLeadingAndTrailingWhitespacesA(" a \0b"s), "a");
    EXPECT_EQ(CStringUtils::removeLeadingAndTrailingWhitespacesA("\0a"s), "");
    EXPECT_EQ(CStringUtils::removeTrailingWhitespacesA(" a \0b"s, false), " a");
    EXPECT_EQ(CStringUtils::removeTrailingWhitespacesA(" a \n\0b"s, true), " a ");
    EXPECT_EQ(CStringUtils::removeTrailingWhitespacesA("\0a"s, false), "");
}

TEST(CStringUtils, theVariantsWithAAgreeWithTheOthersWithoutNul)
{
    for (const std::string& text : allTexts("a \n\t", 4)) {
        EXPECT_EQ(CStringUtils::removeLeadingAndTrailingWhitespacesA(text),
                  CStringUtils::removeLeadingAndTrailingWhitespaces(text));
        EXPECT_EQ(CStringUtils::removeTrailingWhitespacesA(text, true),
                  CStringUtils::removeTrailingWhitespaces(text, true));
        EXPECT_EQ(CStringUtils::removeTrailingWhitespacesA(text, false),
                  CStringUtils::removeTrailingWhitespaces(text, false));
    }
}

// Letter case

TEST(CStringUtils, toLowerChangesTheLettersAToZAlone)
{
    for (const char byte : allBytes()) {
        const bool isCapital = byte >= 'A' && byte <= 'Z';
        const char lower = isCapital ? static_cast<char>(byte + ('a' - 'A')) : byte;
        EXPECT_EQ(CStringUtils::toLower("x"s + byte), byte == '\0' ? "x" : "x"s + lower);
    }
}

TEST(CStringUtils, toLowerStopsAtTheFirstNul)
{
    EXPECT_EQ(CStringUtils::toLower("AB\0CD"s), "ab");
    EXPECT_EQ(CStringUtils::toLower(""), "");
    EXPECT_EQ(CStringUtils::toLower("Ubuntu 22.04 LTS"), "ubuntu 22.04 lts");
}

// formatString

TEST(CStringUtils, formatStringFormatsAsPrintfDoes)
{
    EXPECT_EQ(CStringUtils::formatString("plain"), "plain");
    EXPECT_EQ(CStringUtils::formatString("%s: %d of %03u, %c%%", "disk", -5, 7U, 'x'), "disk: -5 of 007, x%");
    EXPECT_EQ(CStringUtils::formatString("%s", ""), "");
}

TEST(CStringUtils, formatStringCutsAt1023Bytes)
{
    std::string counted;
    for (int i = 0; counted.size() < 2000; ++i) {
        counted += std::to_string(i) + " ";
    }
    counted.resize(2000);
    EXPECT_EQ(CStringUtils::formatString("%s", counted.c_str()), counted.substr(0, 1023));
    EXPECT_EQ(CStringUtils::formatString("%s", counted.substr(0, 1024).c_str()), counted.substr(0, 1023));
    EXPECT_EQ(CStringUtils::formatString("%s", counted.substr(0, 1023).c_str()), counted.substr(0, 1023));
    EXPECT_EQ(CStringUtils::formatString("%s", counted.substr(0, 1022).c_str()), counted.substr(0, 1022));
}

TEST(CStringUtils, formatStringStopsAtAFormattedNul)
{
    EXPECT_EQ(CStringUtils::formatString("a%cb", '\0'), "a");
}

// Prefix and suffix

TEST(CStringUtils, beginsWithComparesTheFirstBytes)
{
    EXPECT_TRUE(CStringUtils::beginsWith("scripts_a", "scripts_"));
    EXPECT_TRUE(CStringUtils::beginsWith("a", "a"));
    EXPECT_TRUE(CStringUtils::beginsWith("a", ""));
    EXPECT_TRUE(CStringUtils::beginsWith("", ""));
    EXPECT_TRUE(CStringUtils::beginsWith("a\0b"s, "a\0"s));
    EXPECT_FALSE(CStringUtils::beginsWith("a\0b"s, "a\0c"s));
    EXPECT_FALSE(CStringUtils::beginsWith("a", "ab"));
    EXPECT_FALSE(CStringUtils::beginsWith("", "a"));
    EXPECT_FALSE(CStringUtils::beginsWith("Scripts_a", "scripts_"));
    EXPECT_FALSE(CStringUtils::beginsWith("ba", "a"));
}

TEST(CStringUtils, endsWithComparesTheLastBytes)
{
    EXPECT_TRUE(CStringUtils::endsWith("profile.xml", ".xml"));
    EXPECT_TRUE(CStringUtils::endsWith("a", "a"));
    EXPECT_TRUE(CStringUtils::endsWith("a", ""));
    EXPECT_TRUE(CStringUtils::endsWith("", ""));
    EXPECT_TRUE(CStringUtils::endsWith("a\0b"s, "\0b"s));
    EXPECT_FALSE(CStringUtils::endsWith("a", "ba"));
    EXPECT_FALSE(CStringUtils::endsWith("", "a"));
    EXPECT_FALSE(CStringUtils::endsWith("profile.XML", ".xml"));
    EXPECT_FALSE(CStringUtils::endsWith("ab", "a"));
}

// stringReplace

TEST(CStringUtils, everyOccurrenceIsReplaced)
{
    EXPECT_EQ(CStringUtils::stringReplace("a-b-c", "-", "+"), "a+b+c");
    EXPECT_EQ(CStringUtils::stringReplace("one two", "two", "2"), "one 2");
    EXPECT_EQ(CStringUtils::stringReplace("one two", "one", ""), " two");
    EXPECT_EQ(CStringUtils::stringReplace("abc", "x", "y"), "abc");
    EXPECT_EQ(CStringUtils::stringReplace("a\0b"s, "\0"s, "0"), "a0b");
}

TEST(CStringUtils, replacementsAreNotSearchedAgain)
{
    EXPECT_EQ(CStringUtils::stringReplace("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(CStringUtils::stringReplace("aab", "ab", "b"), "ab");
    EXPECT_EQ(CStringUtils::stringReplace("aaa", "aa", "a"), "aa");
}

TEST(CStringUtils, nothingIsReplacedWithoutATextOrASearchedText)
{
    EXPECT_EQ(CStringUtils::stringReplace("abc", "", "x"), "abc");
    EXPECT_EQ(CStringUtils::stringReplace("", "a", "x"), "");
    EXPECT_EQ(CStringUtils::stringReplace("", "", "x"), "");
}

// tokenize

TEST(CStringUtils, tokenizeKeepsEmptyPieces)
{
    EXPECT_THAT(CStringUtils::tokenize(",a,,b,", ','), ElementsAre("", "a", "", "b", ""));
    EXPECT_THAT(CStringUtils::tokenize(",", ','), ElementsAre("", ""));
    EXPECT_THAT(CStringUtils::tokenize("a,b", ','), ElementsAre("a", "b"));
}

TEST(CStringUtils, tokenizeGivesATextWithoutDelimiterAsItIs)
{
    EXPECT_THAT(CStringUtils::tokenize("", ','), ElementsAre(""));
    EXPECT_THAT(CStringUtils::tokenize("a;b", ','), ElementsAre("a;b"));
}

TEST(CStringUtils, tokenizeTrimsNothing)
{
    EXPECT_THAT(CStringUtils::tokenize(" a , b\n", ','), ElementsAre(" a ", " b\n"));
    EXPECT_THAT(CStringUtils::tokenize("a\0b"s, '\0'), ElementsAre("a", "b"));
}

// EscapeXML

std::string escaped(std::string text)
{
    CStringUtils::EscapeXML(text);
    return text;
}

TEST(CStringUtils, eachSpecialByteBecomesItsEntity)
{
    EXPECT_EQ(escaped("&"), "&amp;");
    EXPECT_EQ(escaped("'"), "&apos;");
    EXPECT_EQ(escaped("\""), "&quot;");
    EXPECT_EQ(escaped(">"), "&gt;");
    EXPECT_EQ(escaped("<"), "&lt;");
    EXPECT_EQ(escaped("a<b & \"c\""), "a&lt;b &amp; &quot;c&quot;");
}

TEST(CStringUtils, nothingIsEscapedTwice)
{
    EXPECT_EQ(escaped("&&"), "&amp;&amp;");
    EXPECT_EQ(escaped("&amp;"), "&amp;amp;");
    EXPECT_EQ(escaped("<<>>"), "&lt;&lt;&gt;&gt;");
}

TEST(CStringUtils, everyOtherByteStaysAsItIs)
{
    for (const char byte : allBytes()) {
        if ("&'\"><"s.find(byte) == std::string::npos) {
            EXPECT_EQ(escaped(std::string(1, byte)), std::string(1, byte));
        }
    }
    EXPECT_EQ(escaped(""), "");
}

// Names of states

struct Name
{
    int value;
    std::string text;
};

const std::vector<Name> kStates = {
    {0, "CONNECTING"}, {1, "CONNECTED"}, {2, "RECONNECTING"},   {3, "DISCONNECTING"}, {4, "DISCONNECTED"},
    {5, "PAUSING"},    {6, "PAUSED"},    {7, "AUTHENTICATING"}, {8, "SSOPOLLING"},    {9, "UNDEFINED"},
    {10, "UNKNOWN"},   {12, "UNKNOWN"},  {-1, "UNKNOWN"},       {256, "UNKNOWN"},     {2147483647, "UNKNOWN"},
};

const std::vector<Name> kSubstates = {
    {0, "NORMAL"},
    {1, "INDEFINITE_DELAY"},
    {2, "SESSION_EXPIRING"},
    {4, "MT_DISCONNECTED_DISABLED"},
    {8, "MT_DISCONNECTED_TRUSTED_NW"},
    {16, "MT_DISCONNECTED_USER_TUNNEL_ACTIVE"},
    {32, "MT_DISCONNECTED_LAUNCH_FAILED"},
    {64, "MT_DISCONNECTED_CONNECT_FAILED"},
    {128, "MT_DISCONNECTED_BAD_VPN_CONFIG"},
    {256, "MT_DISCONNECTED_SW_UP_PENDING"},
    {512, "MTU_ADJUSTMENT_PENDING"},
    {3, "UNKNOWN"},
    {5, "UNKNOWN"},
    {6, "UNKNOWN"},
    {768, "UNKNOWN"},
    {1024, "UNKNOWN"},
    {-1, "UNKNOWN"},
};

TEST(CStringUtils, eachStateHasItsName)
{
    for (const auto& [value, text] : kStates) {
        const auto state = static_cast<STATE>(value);
        EXPECT_EQ(CStringUtils::VpnSessionStateToString(state, true), text);
        EXPECT_EQ(CStringUtils::VpnSessionStateToString(state, false), text + "(" + std::to_string(value) + ")");
    }
    EXPECT_EQ(CStringUtils::VpnSessionStateToString(CONNECTED, false), "CONNECTED(1)");
    EXPECT_EQ(CStringUtils::VpnSessionStateToString(static_cast<STATE>(12), false), "UNKNOWN(12)");
}

TEST(CStringUtils, eachSubstateHasItsName)
{
    for (const auto& [value, text] : kSubstates) {
        const auto substate = static_cast<VPNCON_SUBSTATE>(value);
        EXPECT_EQ(CStringUtils::VpnSessionSubstateToString(substate, true), text);
        EXPECT_EQ(CStringUtils::VpnSessionSubstateToString(substate, false), text + "(" + std::to_string(value) + ")");
    }
    EXPECT_EQ(CStringUtils::VpnSessionSubstateToString(static_cast<VPNCON_SUBSTATE>(3), false), "UNKNOWN(3)");
}

TEST(CStringUtils, theNamesOfStatesAreTheirNumbers)
{
    EXPECT_EQ(static_cast<int>(CONNECTING), 0);
    EXPECT_EQ(static_cast<int>(CONNECTED), 1);
    EXPECT_EQ(static_cast<int>(RECONNECTING), 2);
    EXPECT_EQ(static_cast<int>(DISCONNECTING), 3);
    EXPECT_EQ(static_cast<int>(DISCONNECTED), 4);
    EXPECT_EQ(static_cast<int>(PAUSING), 5);
    EXPECT_EQ(static_cast<int>(PAUSED), 6);
    EXPECT_EQ(static_cast<int>(AUTHENTICATING), 7);
    EXPECT_EQ(static_cast<int>(SSOPOLLING), 8);
    EXPECT_EQ(static_cast<int>(UNDEFINED), 9);
    EXPECT_EQ(static_cast<int>(NORMAL), 0);
    EXPECT_EQ(static_cast<int>(INDEFINITE_DELAY), 1);
    EXPECT_EQ(static_cast<int>(SESSION_EXPIRING), 2);
    EXPECT_EQ(static_cast<int>(MT_DISCONNECTED_DISABLED), 4);
    EXPECT_EQ(static_cast<int>(MT_DISCONNECTED_TRUSTED_NW), 8);
    EXPECT_EQ(static_cast<int>(MT_DISCONNECTED_USER_TUNNEL_ACTIVE), 16);
    EXPECT_EQ(static_cast<int>(MT_DISCONNECTED_LAUNCH_FAILED), 32);
    EXPECT_EQ(static_cast<int>(MT_DISCONNECTED_CONNECT_FAILED), 64);
    EXPECT_EQ(static_cast<int>(MT_DISCONNECTED_BAD_VPN_CONFIG), 128);
    EXPECT_EQ(static_cast<int>(MT_DISCONNECTED_SW_UP_PENDING), 256);
    EXPECT_EQ(static_cast<int>(MTU_ADJUSTMENT_PENDING), 512);
}

} // namespace
