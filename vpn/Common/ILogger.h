#pragma once

#include "vpn/Common/BasicLoggingMessages.h"

/// A back end of the log: takes each finished message to where it is kept.
class ILogger
{
public:
    /// Takes one message. `text` and `messageName` stay the caller's and live only for the call, which may come from
    /// any thread. Returns 0, or a status code as a positive number.
    virtual long Log(Logging::Severity severity, const char* text, const char* messageName, Logging::MessageID id,
                     Logging::DebugImportance importance) = 0;

    virtual ~ILogger();
};
