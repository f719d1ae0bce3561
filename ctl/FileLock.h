#pragma once

#include "vpn/Common/Utility/FileDescriptor.h"

#include <chrono>
#include <string>
#include <string_view>

namespace ctl {

/// Keeps all others that ask out while it is held: flock on the file of the name and ".lock" beside the one that is
/// meant. The kernel frees it when its holder ends, however that ends.
///
/// The lock file stays when the lock is given back. If it were unlinked, one that waits on it would get the lock of a
/// file that nobody else finds, and the next that comes would make a new one. Should somebody else unlink it, whoever
/// gets the lock sees that, and asks again for the file that stands there now.
///
/// Its holder's process id and command stand in it, for the complaint of whoever does not get it. Anybody may have laid
/// the file there, so it has to be a plain file of one name, and is written only then; what is read from it is shown,
/// and nothing more.
///
/// Who holds two locks takes that of the state of sync first, and that of the store then.
class FileLock
{
public:
    enum class Result
    {
        Held,
        /// Another one holds it, and has not given it back in time.
        Busy,
        /// The lock file cannot be made, opened or locked.
        Failed,
    };

    FileLock() = default;
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// Asks for the lock of the file at PATH, whose links have been followed, and goes on asking for PATIENCE. COMMAND
    /// is what others are told that holds it. Other than Held comes with error(). Shows its progress while it waits.
    Result acquire(const std::string& path, std::chrono::milliseconds patience, const std::string& command);

    /// Gives the lock back, as the destructor does.
    void release();

    /// What failed, in words, with the path; of a busy one its holder too. Bytes of the lock file stand in it.
    const std::string& error() const { return m_error; }

private:
    using Clock = std::chrono::steady_clock;

    Result waitUntil(Clock::time_point end);
    Result ask();
    bool openLockFile();
    bool isPlainFile();
    bool isStillThere() const;
    bool writeHolder(std::string_view text) const;
    void nameHolder();
    bool fail();

    std::string m_lockPath;
    FileDescriptor m_file;
    bool m_isHeld = false;
    std::string m_error;
};

/// Gets the lock of a file that is to be replaced, and removes what killed commands have left beside it. False, with
/// the reason in ERROR, when it is not to be had.
bool lockToReplace(FileLock& lock, const std::string& path, std::chrono::milliseconds patience,
                   const std::string& command, std::string& error);

} // namespace ctl
