#include "ctl/Progress.h"

#include <string_view>
#include <utility>

#include <unistd.h>

namespace ctl {

namespace {

constexpr std::chrono::milliseconds kPatience{1000};
constexpr std::chrono::milliseconds kPause{100};

void show(std::string_view text)
{
    // A line that cannot be shown is no loss.
    if (write(STDERR_FILENO, text.data(), text.size()) < 0) {
        return;
    }
}

} // namespace

Progress::Progress(std::string what, std::size_t total)
    : m_what(std::move(what)), m_total(total), m_isShown(isatty(STDERR_FILENO) == 1),
      m_next((Clock::now() + kPatience).time_since_epoch().count())
{}

Progress::~Progress()
{
    if (m_isPainted) {
        show("\r\033[K");
    }
}

void Progress::advance(std::size_t count)
{
    const std::size_t done = m_done += count;
    if (!m_isShown) {
        return;
    }
    const Clock::time_point now = Clock::now();
    Clock::rep next = m_next;
    // Of several threads that come at the same time, one paints.
    if (now.time_since_epoch().count() >= next &&
        m_next.compare_exchange_strong(next, (now + kPause).time_since_epoch().count())) {
        m_isPainted = true;
        paint(done);
    }
}

void Progress::paint(std::size_t done) const
{
    show("\r" + m_what + " " + std::to_string(done) + " of " + std::to_string(m_total) + "\033[K");
}

} // namespace ctl
