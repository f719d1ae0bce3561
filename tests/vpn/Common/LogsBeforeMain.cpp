// No stream header is included here: what starts the standard streams must be the logger itself.
#include "tests/vpn/Common/LogsBeforeMain.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "vpn/Common/AppLog.h"
#include "vpn/Common/StdoutLogger.h"

namespace {

/** Logs while standard output is turned to a file in memory. */
class LogsOnConstruction
{
public:
    LogsOnConstruction() : m_file(memfd_create("early", MFD_CLOEXEC))
    {
        const int before = dup(STDOUT_FILENO);
        dup2(m_file, STDOUT_FILENO);
        {
            long result = -1;
            const CAppLog log(result, "early", new CStdoutLogger("early"));
            CAppLog::LogDebugMessage("f", "../f", 1, Logging::DI_ERROR, "%s", "early");
        }
        dup2(before, STDOUT_FILENO);
        close(before);
    }

    ~LogsOnConstruction() { close(m_file); }
    LogsOnConstruction(const LogsOnConstruction&) = delete;
    LogsOnConstruction& operator=(const LogsOnConstruction&) = delete;

    std::string text() const
    {
        std::string bytes(4096, '\0');
        const ssize_t got = pread(m_file, bytes.data(), bytes.size(), 0);
        bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return bytes;
    }

private:
    int m_file;
};

const LogsOnConstruction s_early;

} // namespace

std::string textLoggedBeforeMain()
{
    return s_early.text();
}
