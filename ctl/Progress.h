#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <string>

namespace ctl {

/// Shows on standard error how far a long piece of work is, when that is a terminal and the work lasts longer than a
/// second. The line is taken away at the end. advance() may be called by several threads.
class Progress
{
public:
    /// WHAT leads the line: "verifying 17 of 100".
    Progress(std::string what, std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// So many more of the total are done.
    void advance(std::size_t count = 1);

private:
    using Clock = std::chrono::steady_clock;

    void paint(std::size_t done) const;

    const std::string m_what;
    const std::size_t m_total;
    const bool m_isShown;
    std::atomic<std::size_t> m_done{0};
    /// When the line is painted next, in the clock's ticks.
    std::atomic<Clock::rep> m_next;
    std::atomic<bool> m_isPainted{false};
};

} // namespace ctl
