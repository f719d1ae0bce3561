#pragma once

#include "vpn/Common/BasicLoggingMessages.h"

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <vector>

class CManualLock;
class ILogger;

/// Kinds of component and levels for verbose logging, which has none yet.
enum CUST_LOG_COMPONENT : std::uint32_t
{
};
enum CUST_LOG_LEVEL : std::uint32_t
{
};

/// Descriptions of the status codes of one table.
struct ErrorTable
{
    std::uint32_t count;
    const char* const* texts;
};

/// The tables of descriptions, by the table index of a status code.
struct ErrorTables
{
    std::uint32_t count;
    const ErrorTable* tables;
};

/// The process-wide log. Everything is reported through its static operations, which format a message into a
/// per-thread buffer (nothing is allocated) and hand it to the one installed back end. A message is dropped without a
/// sign when no back end is installed.
///
/// An object of this class keeps the log up: the first one installs its back end, the last one to end deletes it. The
/// logging operations take no lock and may be called from any thread while such objects come and go, as long as one of
/// them outlives every thread that logs.
///
/// Call conventions: `function` is the caller's plain name, `file` and `line` are printed as passed. The caller's own
/// text is cut at 2048 bytes, the whole message at 2560; nothing reports the cut.
class CAppLog
{
public:
    /// Registers an instance and forgets the error tables. `logger` is installed, and owned from then on, when it is
    /// not null and no back end is installed yet; otherwise it stays the caller's. `result` receives 0, or the status
    /// of createLogger when there is no back end to be had.
    CAppLog(long& result, const char* name, ILogger* logger);

    /// Unregisters the instance; the last one deletes the back end.
    ~CAppLog();

    CAppLog(const CAppLog&) = delete;
    CAppLog& operator=(const CAppLog&) = delete;

    /// Would make a default back end, but there is none: sets `out` to null and returns 0xFE000001.
    static long createLogger(const char* name, ILogger*& out);

    /// Deletes the back end and installs a default one in its place. Returns the status of createLogger, so that no
    /// back end is left, or 0xFE00000A, with nothing changed, when no instance exists. No other thread may be logging.
    static long UpdateLogger(const char* name);

    /// True when a back end is installed.
    static bool HasLogger();

    /// Registers the descriptions of status codes, which stay the caller's and outlive their use, in place of those
    /// before. To be called after an instance was made. Null takes them back.
    static void SetErrorTables(const ErrorTables* tables);

    /// Logs the message `id` of the table with the arguments of its format, as a plain message of the table.
    template <class... Arguments> static void LogMessage(Logging::MessageID id, Arguments... arguments)
    {
        logArguments(Logging::DI_TABLE, id, arguments...);
    }

    /// The same with an importance.
    template <class... Arguments>
    static void log(Logging::MessageID id, Logging::DebugImportance importance, Arguments... arguments)
    {
        logArguments(importance, id, arguments...);
    }
    static void logV(Logging::MessageID id, Logging::DebugImportance importance, std::va_list arguments);

    /// Formats into `buffer` of `size` bytes, cutting what does not fit. A null `format` gives an empty text; a null
    /// `buffer` nothing at all.
    [[gnu::format(printf, 1, 0)]] static void getFormattedMessage(const char* format, std::va_list arguments,
                                                                  char* buffer, unsigned long size);

    /// Logs a free-form diagnostic. A null `format` gives an empty text.
    [[gnu::format(printf, 5, 6)]] static void LogDebugMessage(const char* function, const char* file, unsigned line,
                                                              Logging::DebugImportance importance, const char* format,
                                                              ...);

    /// Logs that the call of `invokedFunction` gave `code`. The description is `description`, or else what the error
    /// tables say of a code of the 0xFE000000 family, or else "unknown". With code 0 and no description the caller's
    /// text stands in its place. Both texts may be null.
    [[gnu::format(printf, 8, 9)]] static void LogReturnCode(const char* function, const char* file, unsigned line,
                                                            Logging::DebugImportance importance,
                                                            const char* invokedFunction, unsigned code,
                                                            const char* description, const char* format, ...);

    /// Places for verbose logging by component; they do nothing yet.
    static void LogVerboseMessage(const char* function, const char* file, unsigned line,
                                  Logging::DebugImportance importance, CUST_LOG_COMPONENT component,
                                  CUST_LOG_LEVEL level, const char* format, ...);
    static void LogAggVerboseMessage(const char* function, const char* file, unsigned line,
                                     Logging::DebugImportance importance,
                                     const std::vector<CUST_LOG_COMPONENT>& components, CUST_LOG_LEVEL level,
                                     const char* format, ...);

    /// Always 0.
    static unsigned GetLogLevel(CUST_LOG_COMPONENT component);

private:
    /// Takes the id as a number, because an enumeration must not stand before the dots of a variable argument list.
    static void logArguments(Logging::DebugImportance importance, std::uint32_t id, ...);
    static CManualLock& getLock();
    static const char* describe(unsigned code);

    static std::uint32_t sm_instanceCount;
    static std::atomic<ILogger*> sm_pLogger;
    static std::atomic<const ErrorTables*> sm_pErrorTables;
};
