#pragma once

#include <sys/time.h>

/// A time of day or a span of time, in seconds (`tv_sec`) and microseconds (`tv_usec`), both signed 64-bit. It is the
/// system's own `timeval` and can be handed to gettimeofday and select as it stands. In normal form the microseconds
/// are 0 to 999999, but see operator+=.
///
/// Sums and differences never overflow: whatever the fields hold, negative and extreme values included, a result that
/// a 64-bit field cannot hold becomes the nearest value that it can. Nothing here logs; a value may be used by one
/// thread at a time.
class CTimeVal : public timeval
{
public:
    /// Zero.
    CTimeVal() : CTimeVal(0, 0) {}
    CTimeVal(time_t seconds, suseconds_t microseconds) : timeval{seconds, microseconds} {}
    explicit CTimeVal(const timeval& value) : timeval(value) {}

    /// Sets this value to the current time of day.
    void TimeStamp();

    /// 1 when this value is later than `other`, -1 when it is earlier, 0 when they are equal.
    int CompareTime(const CTimeVal& other) const;

    /// Adds `other`. Microseconds are carried into seconds only when their sum is above 1,000,000: a sum of exactly
    /// 1,000,000 stays as it is. Seconds stop at the largest 64-bit value.
    CTimeVal& operator+=(const CTimeVal& other);

    /// Takes `other` off; becomes zero when this value is not later than `other`.
    CTimeVal& operator-=(const CTimeVal& other);
};
