#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <thread>

namespace ctl {

/// Shows on standard error how far a long piece of work is, when that is a terminal and the work lasts longer than a
/// second: "verifying files: 17 of 100, 3 s". The line is taken away when the object goes.
///
/// For anything that may take long, whatever holds it up: a large file, a slow disk, a lock that somebody else has. It
/// is shown by a thread of its own, so the work may block. One at a time: end one before the next one starts.
class Progress
{
public:
    /// `work` leads the line and may hold names as they were read. Without a total, only the seconds are shown.
    explicit Progress(std::string_view work, std::size_t total = 0);
    ~Progress() = default;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// One more of the total is done. May be called by several threads.
    void advance() { ++m_done; }

private:
    void showUntil(const std::stop_token& end) const;
    std::string line(std::chrono::seconds elapsed) const;

    const std::string m_work;
    const std::size_t m_total;
    std::atomic<std::size_t> m_done{0};
    /// Last, so that it ends before what it reads.
    std::jthread m_watch;
};

} // namespace ctl
