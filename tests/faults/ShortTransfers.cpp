// Preloaded into the tool: the kernel may move fewer bytes than asked for, and here it does.
//
//   OBG_SHORT_FILE  the file in question, or, with * at the end, all whose paths start so
//   OBG_SHORT_CALL  which call on it is cut short, as NAME:NUMBER ("read:2"); NAME is read or write
//   OBG_SHORT_SIZE  how many bytes that call moves
//   OBG_SHORT_THEN  with which errno every later write to the file fails; not set: they succeed

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::string_view setting(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool isTheFile(int fd)
{
    std::array<char, 4096> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    const std::string_view open(path.data(), length < 0 ? 0 : static_cast<std::size_t>(length));
    const std::string_view meant = setting("OBG_SHORT_FILE");
    return meant.ends_with('*') ? open.starts_with(meant.substr(0, meant.size() - 1)) : open == meant;
}

bool s_isPast = false;

/** Whether this call on the file is the one that is cut short. */
bool isTheCall(std::string_view name, int& count)
{
    ++count;
    const bool isIt = setting("OBG_SHORT_CALL") == std::string(name) + ":" + std::to_string(count);
    s_isPast = s_isPast || isIt;
    return isIt;
}

std::size_t shortSize()
{
    return static_cast<std::size_t>(std::atoi(setting("OBG_SHORT_SIZE").data()));
}

bool failsFromNowOn()
{
    if (!s_isPast || setting("OBG_SHORT_THEN").empty()) {
        return false;
    }
    errno = std::atoi(setting("OBG_SHORT_THEN").data());
    return true;
}

} // namespace

extern "C" ssize_t read(int fd, void* buffer, std::size_t size)
{
    static int s_count = 0;
    const bool isShort = isTheFile(fd) && isTheCall("read", s_count);
    return syscall(SYS_read, fd, buffer, isShort ? shortSize() : size);
}

extern "C" ssize_t write(int fd, const void* buffer, std::size_t size)
{
    static int s_count = 0;
    if (!isTheFile(fd)) {
        return syscall(SYS_write, fd, buffer, size);
    }
    if (failsFromNowOn()) {
        return -1;
    }
    return syscall(SYS_write, fd, buffer, isTheCall("write", s_count) ? shortSize() : size);
}
