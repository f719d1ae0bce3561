#include "vpn/Common/Utility/TimeVal.h"

#include <cstdint>
#include <ctime>
#include <limits>
#include <ostream>

#include <gmock/gmock.h>

void PrintTo(const CTimeVal& value, std::ostream* stream)
{
    *stream << value.tv_sec << " s " << value.tv_usec << " us";
}

namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

MATCHER_P2(Is, seconds, microseconds, "")
{
    return arg.tv_sec == static_cast<std::int64_t>(seconds) && arg.tv_usec == static_cast<std::int64_t>(microseconds);
}

CTimeVal sum(CTimeVal a, const CTimeVal& b)
{
    a += b;
    return a;
}

CTimeVal difference(CTimeVal a, const CTimeVal& b)
{
    a -= b;
    return a;
}

static_assert(sizeof(CTimeVal) == sizeof(timeval));
static_assert(sizeof(CTimeVal) == 2 * sizeof(std::int64_t));

TEST(CTimeVal, isLaidOutAsTheSystemsTimeval)
{
    CTimeVal value;
    value.tv_sec = 5;
    value.tv_usec = 7;
    const auto* fields = reinterpret_cast<const std::int64_t*>(&value);
    EXPECT_EQ(fields[0], 5);
    EXPECT_EQ(fields[1], 7);
}

TEST(CTimeVal, timeStampIsTheCurrentTimeOfDay)
{
    const std::time_t before = std::time(nullptr);
    CTimeVal value;
    value.TimeStamp();
    EXPECT_GE(value.tv_sec, before - 1);
    EXPECT_LE(value.tv_sec, before + 5);
    EXPECT_GE(value.tv_usec, 0);
    EXPECT_LE(value.tv_usec, 999999);
}

TEST(CTimeVal, comparesSecondsThenMicroseconds)
{
    EXPECT_EQ(CTimeVal(2, 0).CompareTime(CTimeVal(1, 999999)), 1);
    EXPECT_EQ(CTimeVal(1, 999999).CompareTime(CTimeVal(2, 0)), -1);
    EXPECT_EQ(CTimeVal(1, 2).CompareTime(CTimeVal(1, 1)), 1);
    EXPECT_EQ(CTimeVal(1, 1).CompareTime(CTimeVal(1, 2)), -1);
    EXPECT_EQ(CTimeVal(1, 1).CompareTime(CTimeVal(1, 1)), 0);
}

TEST(CTimeVal, comparesExtremesWithoutOverflow)
{
    EXPECT_EQ(CTimeVal(kMax, kMax).CompareTime(CTimeVal(kMin, kMin)), 1);
    EXPECT_EQ(CTimeVal(kMin, kMin).CompareTime(CTimeVal(kMax, kMax)), -1);
    EXPECT_EQ(CTimeVal(0, kMin).CompareTime(CTimeVal(0, kMax)), -1);
}

TEST(CTimeVal, addsBelowASecondWithoutCarry)
{
    EXPECT_THAT(sum({1, 200000}, {2, 300000}), Is(3, 500000));
}

TEST(CTimeVal, aSumOfExactlyAMillionMicrosecondsIsNotCarried)
{
    EXPECT_THAT(sum({0, 500000}, {0, 500000}), Is(0, 1000000));
}

TEST(CTimeVal, aSumAboveAMillionMicrosecondsIsCarried)
{
    EXPECT_THAT(sum({0, 500000}, {0, 600000}), Is(1, 100000));
    EXPECT_THAT(sum({0, 500000}, {0, 500001}), Is(1, 1));
}

TEST(CTimeVal, carriesEveryWholeSecondOfUnnormalisedValues)
{
    EXPECT_THAT(sum({1, 2500000}, {1, 1000000}), Is(5, 500000));
    EXPECT_THAT(sum({0, 1000000}, {0, 1000000}), Is(2, 0));
}

TEST(CTimeVal, secondsSaturateAtTheLargestValue)
{
    EXPECT_THAT(sum({kMax - 1, 0}, {5, 0}), Is(kMax, 0));
    EXPECT_THAT(sum({kMax, 0}, {kMax, 0}), Is(kMax, 0));
    EXPECT_THAT(sum({kMax - 5, 0}, {5, 0}), Is(kMax, 0));
    EXPECT_THAT(sum({kMax - 5, 0}, {4, 0}), Is(kMax - 1, 0));
}

TEST(CTimeVal, theCarryCountsTowardsSaturation)
{
    EXPECT_THAT(sum({kMax - 1, 600000}, {0, 600000}), Is(kMax, 200000));
    EXPECT_THAT(sum({kMax - 3, 600000}, {2, 600000}), Is(kMax, 200000));
    EXPECT_THAT(sum({kMax - 4, 600000}, {2, 600000}), Is(kMax - 1, 200000));
}

TEST(CTimeVal, onceSaturatedANegativeSummandDoesNotBringItBack)
{
    EXPECT_THAT(sum({kMax, 0}, {-10, 0}), Is(kMax, 0));
    EXPECT_THAT(sum({kMax - 1, 600000}, {-10, 600000}), Is(kMax, 200000));
}

TEST(CTimeVal, addsNegativeSeconds)
{
    EXPECT_THAT(sum({-5, 0}, {3, 0}), Is(-2, 0));
    EXPECT_THAT(sum({5, 0}, {-8, 0}), Is(-3, 0));
    EXPECT_THAT(sum({-5, 0}, {kMax, 0}), Is(kMax - 5, 0));
    EXPECT_THAT(sum({0, -300000}, {0, 100000}), Is(0, -200000));
}

TEST(CTimeVal, extremeSumsStayWithinTheScale)
{
    EXPECT_THAT(sum({kMin, 0}, {kMin, 0}), Is(kMin, 0));
    EXPECT_THAT(sum({kMin, 0}, {kMax, 0}), Is(-1, 0));
    EXPECT_THAT(sum({0, kMin}, {0, kMin}), Is(0, kMin));
    EXPECT_THAT(sum({0, kMax}, {0, kMax}), Is(kMax / 1000000, kMax % 1000000));
    EXPECT_THAT(sum({kMax, kMax}, {kMax, kMax}), Is(kMax, kMax % 1000000));
}

TEST(CTimeVal, addsItselfToItself)
{
    CTimeVal value(2, 600000);
    const CTimeVal& same = value;
    value += same;
    EXPECT_THAT(value, Is(5, 200000));
}

TEST(CTimeVal, subtractsWithoutBorrow)
{
    EXPECT_THAT(difference({3, 500000}, {1, 200000}), Is(2, 300000));
    EXPECT_THAT(difference({3, 500000}, {3, 200000}), Is(0, 300000));
}

TEST(CTimeVal, subtractsWithBorrow)
{
    EXPECT_THAT(difference({3, 200000}, {1, 500000}), Is(1, 700000));
    EXPECT_THAT(difference({1, 0}, {0, 999999}), Is(0, 1));
}

TEST(CTimeVal, subtractingALaterOrEqualTimeGivesZero)
{
    EXPECT_THAT(difference({1, 0}, {1, 1}), Is(0, 0));
    EXPECT_THAT(difference({1, 0}, {5, 0}), Is(0, 0));
    EXPECT_THAT(difference({4, 2}, {4, 2}), Is(0, 0));
    CTimeVal value(4, 2);
    const CTimeVal& same = value;
    value -= same;
    EXPECT_THAT(value, Is(0, 0));
}

TEST(CTimeVal, subtractsNegativeValues)
{
    EXPECT_THAT(difference({-2, 0}, {-5, 0}), Is(3, 0));
    EXPECT_THAT(difference({1, 0}, {-1, 500000}), Is(1, 500000));
}

TEST(CTimeVal, extremeDifferencesStayWithinTheScale)
{
    EXPECT_THAT(difference({kMax, 0}, {kMin, 0}), Is(kMax, 0));
    EXPECT_THAT(difference({0, kMax}, {0, kMin}), Is(0, kMax));
    EXPECT_THAT(difference({kMin, kMax}, {kMin, kMin}), Is(0, kMax));
    EXPECT_THAT(difference({1, kMin}, {0, kMax}), Is(0, kMin));
    EXPECT_THAT(difference({kMin, kMin}, {kMax, kMax}), Is(0, 0));
}

TEST(CTimeVal, operatorsGiveTheObjectItself)
{
    CTimeVal value(1, 0);
    EXPECT_EQ(&(value += CTimeVal(1, 0)), &value);
    EXPECT_EQ(&(value -= CTimeVal(1, 0)), &value);
}

} // namespace
