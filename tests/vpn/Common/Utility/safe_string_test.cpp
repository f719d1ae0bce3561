#include "vpn/Common/Utility/safe_string.h"

#include <clocale>
#include <cstdarg>
#include <string>

#include <gmock/gmock.h>

namespace {

/** The whole buffer, what lies behind a terminator included. */
template <std::size_t N> std::string bytesOf(const char (&buffer)[N])
{
    return {buffer, N};
}

[[gnu::format(printf, 3, 4)]] std::size_t callVsnprintf(char* buffer, std::size_t size, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const std::size_t result = safe_vsnprintfA(buffer, size, format, arguments);
    va_end(arguments);
    return result;
}

TEST(safe_strnlenA, givesTheIndexOfTheTerminator)
{
    EXPECT_EQ(safe_strnlenA("abc", 10), 3U);
    EXPECT_EQ(safe_strnlenA("", 10), 0U);
    EXPECT_EQ(safe_strnlenA("abc", 4), 3U);
}

TEST(safe_strnlenA, givesTheLimitWhenNoTerminatorLiesBeforeIt)
{
    const char text[] = {'a', 'b', 'c'};
    EXPECT_EQ(safe_strnlenA(text, 3), 3U);
    EXPECT_EQ(safe_strnlenA("abcdef", 3), 3U);
}

TEST(safe_strnlenA, nullOrNoRoomIsZero)
{
    EXPECT_EQ(safe_strnlenA(nullptr, 10), 0U);
    EXPECT_EQ(safe_strnlenA("abc", 0), 0U);
}

TEST(safe_strlcpyA, copiesATextThatFitsAndGivesItsLength)
{
    char buffer[] = "######";
    EXPECT_EQ(safe_strlcpyA(buffer, "abc", 6), 3U);
    EXPECT_EQ(bytesOf(buffer), std::string("abc\0##\0", 7));
}

TEST(safe_strlcpyA, fillsTheBufferExactly)
{
    char buffer[] = "####";
    EXPECT_EQ(safe_strlcpyA(buffer, "abc", 4), 3U);
    EXPECT_EQ(bytesOf(buffer), std::string("abc\0\0", 5));
}

TEST(safe_strlcpyA, cutsALongerTextAndGivesTheSizeNotTheLength)
{
    char buffer[] = "######";
    EXPECT_EQ(safe_strlcpyA(buffer, "abcdef", 4), 4U);
    EXPECT_EQ(bytesOf(buffer), std::string("abc\0##\0", 7));
}

TEST(safe_strlcpyA, sizeOneLeavesRoomForTheTerminatorOnly)
{
    char buffer[] = "##";
    EXPECT_EQ(safe_strlcpyA(buffer, "abc", 1), 1U);
    EXPECT_EQ(bytesOf(buffer), std::string("\0#\0", 3));
}

TEST(safe_strlcpyA, nullSourceGivesZeroAndWritesNothing)
{
    char buffer[] = "##";
    EXPECT_EQ(safe_strlcpyA(buffer, nullptr, 2), 0U);
    EXPECT_STREQ(buffer, "##");
}

TEST(safe_strlcpyA, withoutDestinationOrSizeGivesTheBoundedLength)
{
    char buffer[] = "##";
    EXPECT_EQ(safe_strlcpyA(nullptr, "abcdef", 4), 4U);
    EXPECT_EQ(safe_strlcpyA(nullptr, "ab", 4), 2U);
    EXPECT_EQ(safe_strlcpyA(buffer, "abcdef", 0), 0U);
    EXPECT_STREQ(buffer, "##");
}

TEST(safe_strlcatA, appendsATextThatFitsAndGivesTheSumOfLengths)
{
    char buffer[] = "ab\0#####";
    EXPECT_EQ(safe_strlcatA(buffer, "cd", 8), 4U);
    EXPECT_EQ(bytesOf(buffer), std::string("abcd\0###\0", 9));
}

TEST(safe_strlcatA, cutsWhatDoesNotFit)
{
    char buffer[] = "ab\0#####";
    EXPECT_EQ(safe_strlcatA(buffer, "cdef", 5), 6U);
    EXPECT_EQ(bytesOf(buffer), std::string("abcd\0###\0", 9));
}

TEST(safe_strlcatA, boundsTheSourceBySizeInItsResult)
{
    char buffer[] = "ab\0#####";
    EXPECT_EQ(safe_strlcatA(buffer, "cdefghijkl", 5), 7U);
    EXPECT_EQ(bytesOf(buffer), std::string("abcd\0###\0", 9));
}

TEST(safe_strlcatA, aBufferFullToItsLastByteStaysAsItIs)
{
    char buffer[] = "abc\0#";
    EXPECT_EQ(safe_strlcatA(buffer, "de", 4), 5U);
    EXPECT_EQ(bytesOf(buffer), std::string("abc\0#\0", 6));
}

TEST(safe_strlcatA, aBufferWithoutTerminatorGivesTheSizeAndIsNotWritten)
{
    char buffer[] = {'1', '2', '3', '4', '5', '6', '7', '8'};
    EXPECT_EQ(safe_strlcatA(buffer, "x", 8), 8U);
    EXPECT_EQ(bytesOf(buffer), "12345678");
}

TEST(safe_strlcatA, missingArgumentsGiveTheSize)
{
    char buffer[] = "ab";
    EXPECT_EQ(safe_strlcatA(nullptr, "x", 7), 7U);
    EXPECT_EQ(safe_strlcatA(buffer, nullptr, 3), 3U);
    EXPECT_EQ(safe_strlcatA(buffer, "x", 0), 0U);
    EXPECT_STREQ(buffer, "ab");
}

TEST(safe_strlcspnA, pointsToTheFirstByteThatIsRejected)
{
    const char* text = "key=a;b";
    EXPECT_EQ(safe_strlcspnA(text, ";=", 7), text + 3);
    EXPECT_EQ(safe_strlcspnA(text, "k", 1), text);
}

TEST(safe_strlcspnA, aMatchBehindTheLimitIsNotSeen)
{
    const char* text = "ab;";
    EXPECT_EQ(safe_strlcspnA(text, ";", 2), nullptr);
    EXPECT_EQ(safe_strlcspnA(text, ";", 3), text + 2);
}

TEST(safe_strlcspnA, theTerminatorEndsTheSearchAndIsNoMatch)
{
    EXPECT_EQ(safe_strlcspnA("ab\0;", ";", 4), nullptr);
    EXPECT_EQ(safe_strlcspnA("ab", "", 10), nullptr);
}

TEST(safe_strlcspnA, missingArgumentsGiveNull)
{
    EXPECT_EQ(safe_strlcspnA(nullptr, ";", 2), nullptr);
    EXPECT_EQ(safe_strlcspnA("a;", nullptr, 2), nullptr);
    EXPECT_EQ(safe_strlcspnA(";", ";", 0), nullptr);
}

TEST(safe_vsnprintfA, formatsAndGivesTheLength)
{
    char buffer[] = "##########";
    EXPECT_EQ(callVsnprintf(buffer, 10, "%s-%d", "ab", 12), 5U);
    EXPECT_STREQ(buffer, "ab-12");
}

TEST(safe_vsnprintfA, alwaysClearsTheLastByteOfTheBuffer)
{
    char buffer[] = "##########";
    callVsnprintf(buffer, 10, "%s", "ab");
    EXPECT_EQ(bytesOf(buffer), std::string("ab\0######\0\0", 11));
}

TEST(safe_vsnprintfA, cutsALongTextAndGivesItsWholeLength)
{
    char buffer[] = "##########+";
    EXPECT_EQ(callVsnprintf(buffer, 10, "%s", "12345678901234567890"), 20U);
    EXPECT_EQ(bytesOf(buffer), std::string("123456789\0+\0", 12));
}

TEST(safe_vsnprintfA, withSizeZeroGivesZeroAndWritesNothing)
{
    char buffer[] = "#";
    EXPECT_EQ(callVsnprintf(buffer, 0, "%s", "ab"), 0U);
    EXPECT_STREQ(buffer, "#");
}

TEST(safe_vsnprintfA, missingArgumentsGiveTheSize)
{
    char buffer[] = "##";
    const char* noFormat = nullptr;
    EXPECT_EQ(callVsnprintf(nullptr, 3, "%s", "ab"), 3U);
    EXPECT_EQ(callVsnprintf(buffer, 3, noFormat, "ab"), 3U);
    EXPECT_STREQ(buffer, "##");
}

TEST(safe_vsnprintfA, anErrorOfTheFormatterGivesTheSizeAndATerminatedBuffer)
{
    // The C locale has no multibyte form of this character, which is the formatter's EILSEQ.
    ASSERT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
    const wchar_t text[] = {0x20AC, 0};
    char buffer[] = "##########";
    EXPECT_EQ(callVsnprintf(buffer, 10, "%ls", text), 10U);
    EXPECT_EQ(buffer[9], '\0');
}

TEST(safe_snprintfA, formatsItsVariadicArguments)
{
    char buffer[] = "######";
    EXPECT_EQ(safe_snprintfA(buffer, 6, "%d:%s", 7, "abcdef"), 8U);
    EXPECT_STREQ(buffer, "7:abc");
}

TEST(safe_snprintfA, withSizeZeroGivesZeroAndWritesNothing)
{
    char buffer[] = "#";
    EXPECT_EQ(safe_snprintfA(buffer, 0, "%d", 7), 0U);
    EXPECT_STREQ(buffer, "#");
}

} // namespace
