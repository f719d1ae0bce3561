#include "tests/support/FailingReads.h"

#include <algorithm>
#include <cerrno>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool s_armed = false;
std::size_t s_left = 0;
int s_error = 0;

} // namespace

extern "C" ssize_t read(int fd, void* buffer, std::size_t size)
{
    if (!s_armed) {
        return syscall(SYS_read, fd, buffer, size);
    }
    if (s_left == 0) {
        errno = s_error;
        return -1;
    }
    const ssize_t got = syscall(SYS_read, fd, buffer, std::min(size, s_left));
    s_left -= got > 0 ? static_cast<std::size_t>(got) : 0;
    return got;
}

namespace obg::test {

FailingReads::FailingReads(std::size_t allowed, int error)
{
    s_left = allowed;
    s_error = error;
    s_armed = true;
}

FailingReads::~FailingReads()
{
    s_armed = false;
}

} // namespace obg::test
