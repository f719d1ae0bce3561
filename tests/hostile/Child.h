#pragma once

#include <functional>
#include <string>

namespace obg::test {

/** How a function ended that ran in a process of its own. */
struct ChildResult
{
    /** The signal that ended the process, or 0. */
    int signal = 0;
    /** What the function returned; empty when it did not come to its end. */
    std::string report;
    double cpuSeconds = 0;
    /** How much the process grew at most. */
    long grownMegabytes = 0;
};

/**
 * Runs a function in a child whose processor time is limited to CPU_SECONDS, so that an endless one dies. Its memory
 * is limited to MEGABYTES more than this process has, but under a sanitizer, which reserves what it likes.
 */
ChildResult runInChild(const std::function<std::string()>& function, long megabytes, unsigned cpuSeconds);

} // namespace obg::test
