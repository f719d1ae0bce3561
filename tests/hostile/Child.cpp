#include "tests/hostile/Child.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define OBG_UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define OBG_UNDER_SANITIZER 1
#endif
#endif

namespace obg::test {

namespace {

constexpr long kMegabyte = 1024L * 1024;

#ifdef OBG_UNDER_SANITIZER
constexpr bool kMemoryCanBeLimited = false;
#else
constexpr bool kMemoryCanBeLimited = true;
#endif

/** A figure of /proc/self/statm in pages: 0 the address space, 1 what is resident. */
long pages(int figure)
{
    std::ifstream statm("/proc/self/statm");
    long count = 0;
    for (int i = 0; i <= figure; ++i) {
        statm >> count;
    }
    return count;
}

void limit(__rlimit_resource resource, rlim_t value)
{
    const rlimit both{value, value};
    if (setrlimit(resource, &both) != 0) {
        std::perror("setrlimit");
        _exit(EXIT_FAILURE);
    }
}

[[noreturn]] void runChild(const std::function<std::string()>& function, long megabytes, unsigned cpuSeconds, int out)
{
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_CPU, cpuSeconds);
    if (kMemoryCanBeLimited) {
        limit(RLIMIT_AS, static_cast<rlim_t>(pages(0) * sysconf(_SC_PAGESIZE) + megabytes * kMegabyte));
    }
    const std::string report = function();
    const ssize_t written = write(out, report.data(), report.size());
    _exit(written == static_cast<ssize_t>(report.size()) ? EXIT_SUCCESS : EXIT_FAILURE);
}

std::string readAll(int in)
{
    std::string all;
    char piece[4096];
    for (ssize_t got = read(in, piece, sizeof piece); got > 0; got = read(in, piece, sizeof piece)) {
        all.append(piece, static_cast<std::size_t>(got));
    }
    return all;
}

} // namespace

ChildResult runInChild(const std::function<std::string()>& function, long megabytes, unsigned cpuSeconds)
{
    ChildResult result;
    int ends[2];
    if (pipe(ends) != 0) {
        ADD_FAILURE() << "no pipe";
        return result;
    }
    const long before = pages(1) * sysconf(_SC_PAGESIZE) / kMegabyte;
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        runChild(function, megabytes, cpuSeconds, ends[1]);
    }
    close(ends[1]);
    result.report = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) {
        ADD_FAILURE() << "no child";
        return result;
    }
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.cpuSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                        1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    result.grownMegabytes = usage.ru_maxrss / 1024 - before;
    return result;
}

} // namespace obg::test
