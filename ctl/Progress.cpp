#include "ctl/Progress.h"

#include "ctl/Streams.h"
#include "ctl/Text.h"

#include <condition_variable>
#include <mutex>
#include <system_error>

#include <unistd.h>

namespace ctl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kUnnoticed{1000};
constexpr std::chrono::milliseconds kBetweenLines{100};

} // namespace

Progress::Progress(std::string_view work, std::size_t total) : m_work(printable(work)), m_total(total)
{
    if (isatty(STDERR_FILENO) != 1) {
        return;
    }
    try {
        m_watch = std::jthread([this](const std::stop_token& end) { showUntil(end); });
    } catch (const std::system_error&) {
        // The work does not depend on it.
    }
}

void Progress::showUntil(const std::stop_token& end) const
{
    const Clock::time_point begin = Clock::now();
    std::condition_variable_any nothing;
    std::mutex mutex;
    std::unique_lock lock(mutex);
    for (auto pause = kUnnoticed;; pause = kBetweenLines) {
        nothing.wait_for(lock, end, pause, [] { return false; });
        if (end.stop_requested()) {
            break;
        }
        showStatus(line(std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin)));
    }
    showStatus({});
}

std::string Progress::line(std::chrono::seconds elapsed) const
{
    const std::string count = m_total == 0 ? "" : std::to_string(m_done) + " of " + std::to_string(m_total) + ", ";
    return m_work + ": " + count + std::to_string(elapsed.count()) + " s";
}

} // namespace ctl
