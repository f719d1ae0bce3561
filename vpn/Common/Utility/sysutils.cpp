#include "vpn/Common/Utility/sysutils.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/safe_string.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <unistd.h>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Common/Utility/sysutils";

bool hasModeBit(const struct stat& info, mode_t bit)
{
    return (info.st_mode & bit) != 0;
}

/// stat for the file tests. Absence is an ordinary answer and is not logged; `kind` names what was looked for.
bool examine(const char* function, const char* kind, const std::string& path, struct stat& info)
{
    if (stat(path.c_str(), &info) == 0) {
        return true;
    }
    const int error = errno;
    if (error != ENOENT) {
        CAppLog::LogReturnCode(function, kLogFile, __LINE__, Logging::DI_ERROR, "_tstat", static_cast<unsigned>(error),
                               nullptr, "%s: %s\nError: %s", kind, path.c_str(), std::strerror(error));
    }
    errno = error;
    return false;
}

std::string formattedTime(const char* format, std::size_t size, const std::tm& time)
{
    std::string text(size, '\0');
    text.resize(std::strftime(text.data(), text.size(), format, &time));
    return text;
}

int selectWithoutWaiting(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds)
{
    int ready = 0;
    do {
        CTimeVal none;
        ready = select(nfds, readfds, writefds, exceptfds, &none);
    } while (ready == -1 && errno == EINTR);
    return ready;
}

} // namespace

int qrn_select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, const timeval* timeout)
{
    if (timeout == nullptr) {
        return selectWithoutWaiting(nfds, readfds, writefds, exceptfds);
    }
    CTimeVal deadline;
    deadline.TimeStamp();
    deadline += CTimeVal(*timeout);
    CTimeVal remaining(*timeout);
    for (;;) {
        CTimeVal wait = remaining;
        const int ready = select(nfds, readfds, writefds, exceptfds, &wait);
        if (ready != -1) {
            return ready;
        }
        const int error = errno;
        if (error != EINTR) {
            CAppLog::LogDebugMessage("qrn_select", kLogFile, __LINE__, Logging::DI_ERROR,
                                     "qrn_select failed with errno: %d", error);
            // The log's back end may have met an error of its own.
            errno = error;
            return -1;
        }
        CTimeVal now;
        now.TimeStamp();
        remaining = deadline;
        remaining -= now;
        if (remaining.CompareTime(CTimeVal()) == 0) {
            return 0;
        }
    }
}

int milliseconds_sleep(unsigned ms)
{
    return usleep(ms * 1000U);
}

std::uint32_t GetCurrentTimeMillis()
{
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(now.tv_sec * 1000 + now.tv_usec / 1000);
}

std::time_t GetCurrentTimeSeconds()
{
    return std::time(nullptr);
}

std::uint32_t TimeNow(std::tm* out)
{
    if (out == nullptr) {
        return StatusCode::MissingArgument;
    }
    const std::time_t now = std::time(nullptr);
    localtime_r(&now, out);
    return StatusCode::Success;
}

std::uint32_t TimeNowToString(const char* format, char* buffer, std::size_t size)
{
    if (buffer == nullptr || size == 0 || format == nullptr) {
        return StatusCode::MissingArgument;
    }
    std::tm now{};
    const std::uint32_t status = TimeNow(&now);
    if (status != StatusCode::Success) {
        CAppLog::LogReturnCode("TimeNowToString", kLogFile, __LINE__, Logging::DI_ERROR, "TimeNow", status, nullptr,
                               nullptr);
        return status;
    }
    if (std::strftime(buffer, size, format, &now) != 0) {
        return StatusCode::Success;
    }
    CAppLog::LogReturnCode("TimeNowToString", kLogFile, __LINE__, Logging::DI_ERROR, "_tcsftime", 0, nullptr, "%s",
                           format);
    buffer[0] = '\0';
    return StatusCode::OperationFailed;
}

int unlink_file(const char* path)
{
    if (path == nullptr) {
        return EINVAL;
    }
    return unlink(path) == 0 ? 0 : errno;
}

bool fileExists(const std::string& path)
{
    // One bit of the mode and not its whole type field: callers count on the answer for sockets, and on
    // directoryExists for block devices too.
    struct stat info
    {};
    return examine("fileExists", "File", path, info) && hasModeBit(info, S_IFREG);
}

bool directoryExists(const std::string& path)
{
    struct stat info
    {};
    return examine("directoryExists", "Directory", path, info) && hasModeBit(info, S_IFDIR);
}

bool fileIsReadable(const std::string& path)
{
    struct stat info
    {};
    if (!examine("fileIsReadable", "File", path, info)) {
        return false;
    }
    if (info.st_size == 0) {
        CAppLog::LogDebugMessage("fileIsReadable", kLogFile, __LINE__, Logging::DI_WARNING, "File (%s) is empty.",
                                 path.c_str());
        return false;
    }
    // The owner's bit alone decides, not what the caller may do: that is what this question has always meant.
    if (!hasModeBit(info, S_IFREG) || !hasModeBit(info, S_IRUSR)) {
        CAppLog::LogDebugMessage("fileIsReadable", kLogFile, __LINE__, Logging::DI_WARNING,
                                 "File (%s) is not readable or is not a regular file.", path.c_str());
        return false;
    }
    return true;
}

bool ReleaseMemory()
{
    return true;
}

bool install_sighdlr(int signal, void (*handler)(int), void (**oldHandlerOut)(int))
{
    if (oldHandlerOut != nullptr) {
        *oldHandlerOut = nullptr;
    }
    struct sigaction action
    {};
    struct sigaction previous
    {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    if (sigaction(signal, &action, &previous) != 0) {
        CAppLog::LogReturnCode("install_sighdlr", kLogFile, __LINE__, Logging::DI_ERROR, "sigaction",
                               static_cast<unsigned>(errno), nullptr,
                               "Failed to install signal handler (%s). Signal# = %d.", std::strerror(errno), signal);
        return false;
    }
    if (oldHandlerOut != nullptr) {
        *oldHandlerOut = previous.sa_handler;
    }
    return true;
}

bool SysUtils::getFileInfo(const char* path, struct stat& info)
{
    return path != nullptr && stat(path, &info) == 0;
}

std::string SysUtils::GetFormattedTime(TIME_REPRESENTATION representation)
{
    std::tm now{};
    if (TimeNow(&now) != StatusCode::Success) {
        return {};
    }
    switch (representation) {
    case TIME_FILE_SUFFIX: {
        std::array<char, sizeof "_MMDD_hhmm"> text{};
        safe_snprintfA(text.data(), text.size(), "_%02d%02d_%02d%02d", now.tm_mon + 1, now.tm_mday, now.tm_hour,
                       now.tm_min);
        return text.data();
    }
    case TIME_ASCTIME: {
        std::array<char, 64> text{};
        return asctime_r(&now, text.data()) == nullptr ? "" : text.data();
    }
    case TIME_LONG_ZONE:
        return formattedTime("%a %b %d %H:%M:%S %Y %Z", 100, now);
    case TIME_LOCALE:
        break;
    }
    return formattedTime("%c", 64, now);
}
