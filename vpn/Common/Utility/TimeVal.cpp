#include "vpn/Common/Utility/TimeVal.h"

#include <cstdint>
#include <limits>

namespace {

constexpr std::int64_t kMicrosecondsPerSecond = 1000000;
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

std::int64_t saturatingAdd(std::int64_t a, std::int64_t b)
{
    if (b > 0 && a > kMax - b) {
        return kMax;
    }
    if (b < 0 && a < kMin - b) {
        return kMin;
    }
    return a + b;
}

std::int64_t saturatingSubtract(std::int64_t a, std::int64_t b)
{
    if (b < 0 && a > kMax + b) {
        return kMax;
    }
    if (b > 0 && a < kMin + b) {
        return kMin;
    }
    return a - b;
}

} // namespace

void CTimeVal::TimeStamp()
{
    gettimeofday(this, nullptr);
}

int CTimeVal::CompareTime(const CTimeVal& other) const
{
    if (tv_sec != other.tv_sec) {
        return tv_sec > other.tv_sec ? 1 : -1;
    }
    if (tv_usec != other.tv_usec) {
        return tv_usec > other.tv_usec ? 1 : -1;
    }
    return 0;
}

CTimeVal& CTimeVal::operator+=(const CTimeVal& other)
{
    std::int64_t carry = 0;
    const std::int64_t otherSeconds = other.tv_sec;
    tv_usec = saturatingAdd(tv_usec, other.tv_usec);
    // Strictly above: callers rely on a full second of microseconds being left alone.
    if (tv_usec > kMicrosecondsPerSecond) {
        carry = tv_usec / kMicrosecondsPerSecond;
        tv_usec %= kMicrosecondsPerSecond;
    }
    // Once the seconds have reached the end of the scale they stay there, also when `other` is negative.
    tv_sec = saturatingAdd(tv_sec, carry);
    if (tv_sec != kMax) {
        tv_sec = saturatingAdd(tv_sec, otherSeconds);
    }
    return *this;
}

CTimeVal& CTimeVal::operator-=(const CTimeVal& other)
{
    if (CompareTime(other) <= 0) {
        tv_sec = 0;
        tv_usec = 0;
        return *this;
    }
    tv_sec = saturatingSubtract(tv_sec, other.tv_sec);
    if (tv_usec < other.tv_usec) {
        tv_usec = saturatingAdd(tv_usec, kMicrosecondsPerSecond);
        tv_sec = saturatingSubtract(tv_sec, 1);
    }
    tv_usec = saturatingSubtract(tv_usec, other.tv_usec);
    return *this;
}
