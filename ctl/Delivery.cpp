#include "ctl/Delivery.h"

#include "ctl/Streams.h"

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace ctl {

bool Delivery::take(std::string result)
{
    if (isatty(STDOUT_FILENO) == 1) {
        m_kept = std::move(result);
        return true;
    }
    m_isWritten = writeResult(result);
    m_error = m_isWritten ? 0 : errno;
    return m_isWritten;
}

Outcome Delivery::outcome(ExitStatus status)
{
    if (status != ExitStatus::NotDone) {
        return {status, std::move(m_kept), ExitStatus::Something};
    }
    if (m_error != 0) {
        complain("cannot write to", "standard output", m_error);
    }
    if (m_isWritten) {
        complain("nothing was changed; the result on standard output does not hold");
    }
    return {ExitStatus::NotDone, {}};
}

} // namespace ctl
