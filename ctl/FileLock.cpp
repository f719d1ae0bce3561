#include "ctl/FileLock.h"

#include "ctl/AtomicFile.h"
#include "ctl/Progress.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ctl {

namespace {

/// How long between two questions for a lock that another one holds.
constexpr std::chrono::milliseconds kBetweenQuestions{20};

/// As much of a lock file as is shown.
constexpr std::size_t kHolderAtMost = 200;

} // namespace

FileLock::~FileLock()
{
    release();
}

FileLock::Result FileLock::acquire(const std::string& path, std::chrono::milliseconds patience,
                                   const std::string& command)
{
    m_lockPath = path + ".lock";
    const Clock::time_point end = Clock::now() + patience;
    Result result = ask();
    if (result == Result::Busy) {
        nameHolder();
        result = waitUntil(end);
    }
    if (result == Result::Held) {
        m_isHeld = true;
        writeHolder(std::to_string(getpid()) + " " + command + "\n");
    }
    return result;
}

void FileLock::release()
{
    if (m_isHeld) {
        // The next holder is not to be taken for this one until it has written its own name.
        writeHolder("");
        m_isHeld = false;
    }
    m_file.reset();
}

/// Asks again and again for a busy one.
FileLock::Result FileLock::waitUntil(Clock::time_point end)
{
    const Progress progress("waiting: " + m_error);
    Result result = Result::Busy;
    while (result == Result::Busy && Clock::now() < end) {
        std::this_thread::sleep_for(std::min<Clock::duration>(kBetweenQuestions, end - Clock::now()));
        result = ask();
    }
    if (result == Result::Busy) {
        nameHolder();
    }
    return result;
}

/// Asks once.
FileLock::Result FileLock::ask()
{
    while (openLockFile()) {
        int result = -1;
        do {
            result = flock(m_file.number(), LOCK_EX | LOCK_NB);
        } while (result != 0 && errno == EINTR);
        if (result != 0 && errno == EWOULDBLOCK) {
            return Result::Busy;
        }
        if (result != 0) {
            fail();
            return Result::Failed;
        }
        if (isStillThere()) {
            return Result::Held;
        }
    }
    return Result::Failed;
}

/// Opens the lock file, or makes it. A link is not followed: it would lead to a file that is none of this program's.
bool FileLock::openLockFile()
{
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    m_file.reset(open(m_lockPath.c_str(), flags));
    if (!m_file.isOpen() && errno == ENOENT) {
        m_file.reset(open(m_lockPath.c_str(), flags | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
        if (!m_file.isOpen() && errno == EEXIST) {
            m_file.reset(open(m_lockPath.c_str(), flags));
        }
    }
    return m_file.isOpen() ? isPlainFile() : fail();
}

bool FileLock::isPlainFile()
{
    struct stat is
    {};
    if (fstat(m_file.number(), &is) != 0) {
        return fail();
    }
    // A second name may be that of a file which is not to be written into.
    if (!S_ISREG(is.st_mode) || is.st_nlink > 1) {
        m_error = "cannot lock " + m_lockPath + ": not a plain file of one name";
        return false;
    }
    return true;
}

/// Whether the file that is locked is the one that others find.
bool FileLock::isStillThere() const
{
    struct stat mine
    {};
    struct stat found
    {};
    return fstat(m_file.number(), &mine) == 0 && lstat(m_lockPath.c_str(), &found) == 0 &&
           mine.st_dev == found.st_dev && mine.st_ino == found.st_ino;
}

/// True when it stands there. On a full disk it does not; the lock holds as well, and its holder has no name.
bool FileLock::writeHolder(std::string_view text) const
{
    return ftruncate(m_file.number(), 0) == 0 &&
           pwrite(m_file.number(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

void FileLock::nameHolder()
{
    std::array<char, kHolderAtMost> bytes{};
    const ssize_t size = pread(m_file.number(), bytes.data(), bytes.size(), 0);
    const std::string_view text(bytes.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
    const std::string_view line = text.substr(0, text.find('\n'));
    const std::size_t blank = line.find(' ');
    m_error = m_lockPath + " is held by ";
    if (blank == std::string_view::npos) {
        m_error += "an unknown process";
    } else {
        m_error.append("process ")
            .append(line.substr(0, blank))
            .append(" (")
            .append(line.substr(blank + 1))
            .append(")");
    }
}

bool FileLock::fail()
{
    m_error = systemError("cannot lock", m_lockPath, errno);
    return false;
}

bool lockToReplace(FileLock& lock, const std::string& path, std::chrono::milliseconds patience,
                   const std::string& command, std::string& error)
{
    if (lock.acquire(path, patience, command) != FileLock::Result::Held) {
        error = lock.error();
        return false;
    }
    removeLeftovers(path);
    return true;
}

} // namespace ctl
