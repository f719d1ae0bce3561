#include "ctl/Streams.h"

#include "ctl/Text.h"
#include "vpn/Common/Utility/FileDescriptor.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace ctl {

namespace {

/// What brings a terminal to the start of the line and empties that, and what keeps a line from going on in the next.
constexpr std::string_view kLineAnew = "\r\033[K";
constexpr std::string_view kNoWrap = "\033[?7l";
constexpr std::string_view kWrap = "\033[?7h";

/// Guards standard error, and whether a status stands there.
std::mutex s_mutex;
bool s_hasStatus = false;

/// What cannot be written to standard error is lost.
void writeInPlaceOfStatus(std::string_view text)
{
    std::string anew(s_hasStatus ? kLineAnew : "");
    static_cast<void>(FileDescriptor::write(STDERR_FILENO, anew.append(text)));
    s_hasStatus = false;
}

/// Some file systems report only at a close that there was no room. That of a copy does as well, and no file that is
/// opened later gets the number.
bool closes(int descriptor)
{
    const int copy = dup(descriptor);
    return copy != -1 && (close(copy) == 0 || errno == EINTR);
}

/// Whether standard error takes a line at once. A terminal that its user has stopped does not.
bool takesStatus()
{
    pollfd stream{STDERR_FILENO, POLLOUT, 0};
    return poll(&stream, 1, 0) == 1 && (stream.revents & POLLOUT) != 0;
}

} // namespace

void holdStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1) {
            // Gets the lowest free number, which is that of the stream; it cannot be written to.
            static_cast<void>(open("/dev/null", O_RDONLY));
        }
    }
}

void ignoreSignalsOfWrites()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool writeResult(std::string_view text)
{
    return text.empty() || (FileDescriptor::write(STDOUT_FILENO, text) && closes(STDOUT_FILENO));
}

void complain(std::string_view text)
{
    const std::scoped_lock lock(s_mutex);
    writeInPlaceOfStatus("obg_manifestctl: " + printable(text) + "\n");
}

void showStatus(std::string_view line)
{
    const std::scoped_lock lock(s_mutex);
    if (!takesStatus()) {
        return;
    }
    writeInPlaceOfStatus(line.empty() ? "" : std::string(kNoWrap).append(line).append(kWrap));
    s_hasStatus = !line.empty();
}

void complain(std::string_view what, std::string_view path, int error)
{
    complain(std::string(what) + " " + std::string(path) + ": " + std::strerror(error));
}

} // namespace ctl
