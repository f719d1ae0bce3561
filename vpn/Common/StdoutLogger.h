#pragma once

#include "vpn/Common/ILogger.h"

#include <string>

/// The back end that writes each message as one line to standard output and flushes it, so that the line is out even
/// if the process dies next:
///
///     2024-05-01 13:45:10 obg_manifesttool[4242]: [ERROR] Function: main File: ../main Line: 98 Failed ...
///
/// The time is that of the system clock, in local time. A line is written in one piece, through the buffer of std::cout
/// but whatever state, format and exceptions that stream is set to. An error while writing loses the line, is not
/// noticed, and does not keep later lines from being written.
class CStdoutLogger : public ILogger
{
public:
    /// `programName` stands before the process id in every line; null gives an empty name.
    explicit CStdoutLogger(const char* programName);
    ~CStdoutLogger() override;

    /// Writes `text` with its line feeds turned into spaces. Returns 0, or 0xFE000002 when `text` is null.
    long Log(Logging::Severity severity, const char* text, const char* messageName, Logging::MessageID id,
             Logging::DebugImportance importance) override;

    /// The level that a line shows: the severity's own text, but for debug messages one by their importance.
    static const char* getLevel(Logging::Severity severity, Logging::DebugImportance importance);

private:
    std::string m_programName;
};
