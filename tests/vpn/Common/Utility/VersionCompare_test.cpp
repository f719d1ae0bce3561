#include "vpn/Common/Utility/VersionCompare.h"

#include <limits>
#include <string>

#include <gmock/gmock.h>

namespace {

/** What a text parses as, seen through the one way that a version is written. */
std::string parsed(const std::string& text, const std::string& separators = ".")
{
    return Version(text, separators).ToString(0, "|");
}

int compared(const std::string& left, const std::string& right)
{
    return Version(left, ".").compare(Version(right, "."));
}

bool shareAPrefix(const std::string& left, const std::string& right)
{
    return Version(left, ".").HaveCommonPrefix(Version(right, "."));
}

TEST(Version, eachPieceBetweenSeparatorsIsOneNumber)
{
    EXPECT_EQ(parsed("7"), "7");
    EXPECT_EQ(parsed("1.2.3.4"), "1|2|3|4");
    EXPECT_EQ(parsed("5.10.0"), "5|10|0");
}

TEST(Version, anyCharacterOfTheSetSeparates)
{
    EXPECT_EQ(parsed("6,1 2", "., "), "6|1|2");
    EXPECT_EQ(parsed("6,1.2", ".,"), "6|1|2");
    EXPECT_EQ(parsed("6,1.2", "."), "6|2");
    EXPECT_EQ(parsed("6,1.2", ","), "6|1");
    EXPECT_EQ(parsed("1.2.3", ""), "1");
}

TEST(Version, theEmptyTextIsTheNumberZero)
{
    EXPECT_EQ(parsed(""), "0");
    EXPECT_EQ(parsed("", ""), "0");
    EXPECT_EQ(Version("", ".,").ToString(0, "."), "0");
}

TEST(Version, emptyPiecesAreZero)
{
    EXPECT_EQ(parsed("1..2"), "1|0|2");
    EXPECT_EQ(parsed("7.4."), "7|4|0");
    EXPECT_EQ(parsed(".7"), "0|7");
    EXPECT_EQ(parsed("."), "0|0");
    EXPECT_EQ(parsed("..."), "0|0|0|0");
}

TEST(Version, aPieceIsReadUpToItsFirstOtherCharacter)
{
    EXPECT_EQ(parsed("8.1-beta"), "8|1");
    EXPECT_EQ(parsed("3a"), "3");
    EXPECT_EQ(parsed("0x10.9"), "0|9");
    EXPECT_EQ(parsed("1 2.3"), "1|3");
}

TEST(Version, aPieceWithoutLeadingDigitsIsZero)
{
    EXPECT_EQ(parsed("rolling"), "0");
    EXPECT_EQ(parsed("v5.2"), "0|2");
    EXPECT_EQ(parsed("-.+. "), "0|0|0");
    EXPECT_EQ(parsed("--1"), "0");
}

TEST(Version, leadingWhiteSpaceAndASignAreAccepted)
{
    EXPECT_EQ(parsed(" 1.\t2.\n3"), "1|2|3");
    EXPECT_EQ(parsed("-1.+2. -3"), "-1|2|-3");
}

TEST(Version, aPieceEndsAtItsNulByte)
{
    EXPECT_EQ(parsed(std::string("1\0002.3", 5)), "1|3");
}

TEST(Version, numbersAreCutTo32Bits)
{
    EXPECT_EQ(parsed("2147483647.-2147483648"), "2147483647|-2147483648");
    EXPECT_EQ(parsed("2147483648"), "-2147483648");
    EXPECT_EQ(parsed("4294967296.4294967297"), "0|1");
    // Beyond 64 bits strtol gives its largest or smallest value, of which 32 bits stay.
    EXPECT_EQ(parsed("9223372036854775807.99999999999999999999"), "-1|-1");
    EXPECT_EQ(parsed("-99999999999999999999"), "0");
}

TEST(Version, compareUsesTheOrderOfNumbersAndNotOfTexts)
{
    EXPECT_EQ(compared("5.10", "5.9"), 1);
    EXPECT_EQ(compared("5.9", "5.10"), -1);
    EXPECT_EQ(compared("18.04", "18.4"), 0);
}

TEST(Version, theFirstDifferenceDecides)
{
    EXPECT_EQ(compared("2.0.9", "1.9.9"), 1);
    EXPECT_EQ(compared("1.3.0", "1.2.9"), 1);
    EXPECT_EQ(compared("1.2.3", "1.2.4"), -1);
    EXPECT_EQ(compared("1.2.3", "1.2.3"), 0);
}

TEST(Version, compareTakesMissingNumbersForZero)
{
    EXPECT_EQ(compared("2", "2.0.0"), 0);
    EXPECT_EQ(compared("2.0.0", "2"), 0);
    EXPECT_EQ(compared("1.2", "1.2.0"), 0);
    EXPECT_EQ(compared("1.2", "1.2.0.0"), 0);
    EXPECT_EQ(compared("1.2", "1.2.1"), -1);
    EXPECT_EQ(compared("1.2.1", "1.2"), 1);
    EXPECT_EQ(compared("", "0.0"), 0);
}

TEST(Version, aNegativeNumberSortsBelowAMissingOne)
{
    EXPECT_EQ(compared("1.-1", "1"), -1);
    EXPECT_EQ(compared("1", "1.-1"), 1);
    EXPECT_EQ(compared("-2", "-1"), -1);
}

TEST(Version, compareDoesNotOverflow)
{
    EXPECT_EQ(compared("2147483647", "-2147483648"), 1);
    EXPECT_EQ(compared("-2147483648", "2147483647"), -1);
}

TEST(Version, aCommonPrefixIsThatOfTheShorterOne)
{
    EXPECT_TRUE(shareAPrefix("1.2", "1.2.5"));
    EXPECT_TRUE(shareAPrefix("1.2.5", "1.2"));
    EXPECT_TRUE(shareAPrefix("7", "7.9"));
    EXPECT_TRUE(shareAPrefix("2", "2.0.0"));
    EXPECT_TRUE(shareAPrefix("1.2.3", "1.2.3"));
    EXPECT_FALSE(shareAPrefix("1.3", "1.2.5"));
    EXPECT_FALSE(shareAPrefix("7", "8.7"));
    EXPECT_FALSE(shareAPrefix("70", "7"));
}

TEST(Version, aCommonPrefixTakesNoMissingNumberForZero)
{
    EXPECT_TRUE(shareAPrefix("1", "1.5"));
    EXPECT_EQ(compared("1", "1.5"), -1);
    EXPECT_FALSE(shareAPrefix("", "7"));
    EXPECT_TRUE(shareAPrefix("", "0.7"));
}

TEST(Version, isWrittenFromTheGivenIndexOn)
{
    const Version version("1.2.3.4", ".");
    EXPECT_EQ(version.ToString(0, "."), "1.2.3.4");
    EXPECT_EQ(version.ToString(2, "."), "3.4");
    EXPECT_EQ(version.ToString(3, "."), "4");
}

TEST(Version, isWrittenEmptyFromAnIndexThatItDoesNotHave)
{
    const Version version("1.2.3.4", ".");
    EXPECT_EQ(version.ToString(4, "."), "");
    EXPECT_EQ(version.ToString(5, "."), "");
    EXPECT_EQ(version.ToString(std::numeric_limits<unsigned long>::max(), "."), "");
}

TEST(Version, theSeparatorIsWrittenBetweenNumbersOnly)
{
    const Version version("1.2.3", ".");
    EXPECT_EQ(version.ToString(0, ", "), "1, 2, 3");
    EXPECT_EQ(version.ToString(1, ""), "23");
    EXPECT_EQ(version.ToString(2, "."), "3");
}

TEST(Version, isWrittenInDecimalWithoutLeadingZeros)
{
    EXPECT_EQ(Version("10.04.1", ".").ToString(0, "."), "10.4.1");
    EXPECT_EQ(Version("-010.+0", ".").ToString(0, "."), "-10.0");
}

TEST(Version, copiesAreIndependentValues)
{
    Version copy("1.2", ".");
    const Version original(copy);
    copy = Version("3", ".");
    EXPECT_EQ(original.ToString(0, "."), "1.2");
    EXPECT_EQ(copy.ToString(0, "."), "3");
    copy = original;
    EXPECT_EQ(copy.compare(original), 0);
    EXPECT_EQ(copy.ToString(0, "."), "1.2");
}

} // namespace
