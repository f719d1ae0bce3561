#pragma once

#include "vpn/Common/Utility/TimeVal.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <sys/select.h>
#include <sys/stat.h>

// Process-level functions that the rest of the code uses instead of asking the operating system directly. They keep no
// state, so all but the editing of one and the same file may be done from several threads at once. Failures are told
// by the result; those of the file tests, of TimeNowToString, of install_sighdlr and of qrn_select are logged too.

/// select that survives signals: an interrupted wait goes on for what is left of `timeout`, and gives 0 when nothing
/// is. A null `timeout` polls and returns at once; it is not an endless wait. `*timeout` is not changed. Returns the
/// number of ready descriptors, 0 when the time is over, or -1 with errno set (logged unless the time-out was null).
int qrn_select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, const timeval* timeout);

/// Sleeps. The microseconds are computed in unsigned 32 bits, so values above 4294967 wrap. Returns what usleep
/// returns.
int milliseconds_sleep(unsigned ms);

/// The time of day in milliseconds, cut to 32 bits, so that it wraps; 0 when there is none.
std::uint32_t GetCurrentTimeMillis();

/// Seconds since the epoch.
std::time_t GetCurrentTimeSeconds();

/// Sets `*out` to the current local time. Returns 0, or 0xFE000002 when `out` is null.
std::uint32_t TimeNow(std::tm* out);

/// Writes the current local time to `buffer` of `size` bytes as strftime formats it. Returns 0, 0xFE000002 when an
/// argument is missing, or 0xFE000009, logged and with an empty text, when the result is empty or does not fit.
std::uint32_t TimeNowToString(const char* format, char* buffer, std::size_t size);

/// Removes a file. Returns 0, EINVAL when `path` is null, or the errno of the failure.
int unlink_file(const char* path);

/// True when `path`, links followed, exists and its mode has the bit of regular files. Only that one bit is tested, so
/// a socket passes as well. A failure other than ENOENT is logged. errno is left as the failure has set it.
bool fileExists(const std::string& path);

/// True when `path`, links followed, exists and its mode has the bit of directories. Only that one bit is tested, so a
/// block device and a socket pass as well. A failure other than ENOENT is logged.
bool directoryExists(const std::string& path);

/// True when `path` is not empty, has the bit of regular files and may be read by its owner, whoever the caller is.
/// All other answers but ENOENT are logged.
bool fileIsReadable(const std::string& path);

/// Does nothing and returns true.
bool ReleaseMemory();

/// Installs `handler` for `signal`, with an empty mask and no flags. `oldHandlerOut`, unless null, receives the
/// previous handler, or null on failure. Returns false, logged, when the system refuses.
bool install_sighdlr(int signal, void (*handler)(int), void (**oldHandlerOut)(int));

/// How GetFormattedTime writes the time. Every other value selects the locale's form.
enum TIME_REPRESENTATION : int
{
    TIME_LOCALE = 0,
    /// _0315_0942: month, day, hour and minute.
    TIME_FILE_SUFFIX = 1,
    /// As asctime writes it, closing line feed included.
    TIME_ASCTIME = 2,
    /// Weekday, month, day, time, year and the zone's name.
    TIME_LONG_ZONE = 3,
};

/// Operations on small text files, line by line.
///
/// Lines end at a line feed. Unless said otherwise, each line read loses its trailing white space (space, tab, form
/// feed, vertical tab, line feed, carriage return) and what follows a NUL byte, and that is what is compared and
/// written back: any edit strips every line that it keeps. Files are edited in place, without a temporary file or a
/// lock: a failure before the rewrite leaves the file as it was, one during it is reported and not repaired.
///
/// All return true for success, or for "found"; a false that comes from a failure is logged.
class SysUtils
{
public:
    enum eFileInsertPos
    {
        eInsertAfter = 0,
        eInsertBefore = 1
    };

    /// Fills `info` as stat does, links followed. False when that fails or `path` is null; not logged.
    static bool getFileInfo(const char* path, struct stat& info);

    /// The current local time as text; empty when it does not fit the form's buffer.
    static std::string GetFormattedTime(TIME_REPRESENTATION representation);

    /// Reads all lines. `lines` is emptied first, whatever follows, and keeps what was read when the reading fails;
    /// `fileName` may be one of them.
    static bool ReadTextFile(const std::string& fileName, std::vector<std::string>& lines);

    /// Replaces all of a file by `contents` as they stand; makes the file when there is none.
    static bool SetTextFileContents(const std::string& fileName, const std::string& contents);

    /// Appends a line feed and then `line`, so that `line` stands on a line of its own also after a last line without
    /// end; makes the file when there is none. Nothing that is already there is touched.
    static bool AppendLineToFile(const std::string& fileName, const std::string& line);

    /// Inserts `text` as a line before or after the first line that begins with `match`, or at the end when none does.
    static bool InsertIntoFileBeforeMatchingLine(const std::string& fileName, const std::string& text,
                                                 const std::string& match);
    static bool InsertIntoFileAfterMatchingLine(const std::string& fileName, const std::string& text,
                                                const std::string& match);
    static bool insertIntoFilePrePostMatchingLine(const std::string& fileName, const std::string& text,
                                                  const std::string& match, eFileInsertPos position);

    /// Removes every line that equals `line`. True, with the file untouched, when there is none, also because the file
    /// cannot be read.
    static bool RemoveFromFileMatchingLine(const std::string& fileName, const std::string& line);

    /// True when some line equals `line`. The name is known to callers as it is spelt.
    static bool SeachFileForMatchingLine(const std::string& fileName, const std::string& line);

    /// True when the file holds nothing but white space, or nothing. Lines are looked at as they stand.
    static bool FileHasOnlyWhiteSpace(const std::string& fileName);
};
