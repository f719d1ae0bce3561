#pragma once

#include <cstdint>

namespace Logging {

/// How grave a message is, numbered like the priorities of syslog. It comes from the message table.
enum Severity : std::uint32_t
{
    S_EMERGENCY = 0,
    S_ALERT = 1,
    S_CRITICAL = 2,
    S_ERROR = 3,
    S_WARNING = 4,
    S_NOTICE = 5,
    S_INFO = 6,
    S_DEBUG = 7,
};

/// How much a diagnostic matters: a character code that the caller chooses.
enum DebugImportance : std::uint32_t
{
    DI_ERROR = 'E',
    DI_WARNING = 'W',
    DI_INFO = 'I',
    /// Set by the log itself for plain messages of the table.
    DI_TABLE = 'T',
};

/// Index of a message in the table.
enum MessageID : std::uint32_t
{
    MID_UNKNOWN = 0,
    MID_DEBUG_MESSAGE = 1,
    MID_DEBUG_RETURN_CODE = 2,
    MID_VERBOSE_MESSAGE = 3,
};

} // namespace Logging

/// One message of the table. Static; never freed.
struct LogMessageDef
{
    const char* name;
    Logging::Severity severity;
    /// A format for printf.
    const char* format;
};

/// Messages with successive ids.
struct LogMessageSet
{
    const LogMessageDef* messages;
    std::uint32_t firstId;
    std::uint64_t count;
};

/// The table of messages. It is read-only, so all of this may be called from several threads at once.
class CLoggingMessages
{
public:
    /// The list of message sets, built on first use; `count` receives how many there are.
    static const LogMessageSet* getTables(unsigned long& count);

    /// The first set's messages; `count` receives how many there are.
    static const LogMessageDef* get_message_set_0(unsigned long& count);

    /// The message with that id; a fixed fallback record, never null, when there is none.
    static const LogMessageDef* GetLogMessage(Logging::MessageID id);
};
