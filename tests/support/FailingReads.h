#pragma once

#include <cstddef>

namespace obg::test {

/**
 * For the scope, the bytes that this program's read() calls give run out: after ALLOWED bytes every call fails with
 * ERROR, as on a disk with a bad sector. A program that uses it is linked with FailingReads.cpp, whose read() stands
 * before the C library's. Only one object at a time.
 */
class FailingReads
{
public:
    FailingReads(std::size_t allowed, int error);
    ~FailingReads();
    FailingReads(const FailingReads&) = delete;
    FailingReads& operator=(const FailingReads&) = delete;
};

} // namespace obg::test
