#include "ctl/Streams.h"

#include "ctl/Text.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace ctl {

namespace {

bool writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
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
    // Some file systems report only now that there was no room.
    return text.empty() || (writeAll(STDOUT_FILENO, text) && close(STDOUT_FILENO) == 0);
}

void complain(std::string_view text)
{
    static_cast<void>(writeAll(STDERR_FILENO, "obg_manifestctl: " + printable(text) + "\n"));
}

void complain(std::string_view what, std::string_view path, int error)
{
    complain(std::string(what) + " " + std::string(path) + ": " + std::strerror(error));
}

} // namespace ctl
