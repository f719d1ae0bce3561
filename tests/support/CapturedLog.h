#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/LogTexts.h"
#include "vpn/Common/AppLog.h"
#include "vpn/Common/ILogger.h"

namespace obg::test {

/** One call of the back end. */
struct LogRecord
{
    Logging::Severity severity;
    std::string text;
    std::string messageName;
    Logging::MessageID id;
    Logging::DebugImportance importance;
};

/** Shows the record in a failure message. */
void PrintTo(const LogRecord& record, std::ostream* stream);

/** Installs a recording back end for the scope. A log that is already in use fails the test. */
class CapturedLog
{
public:
    CapturedLog();
    ~CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    /** What was logged so far, in order. */
    std::vector<LogRecord> records() const;

    /** The texts alone. */
    std::vector<std::string> texts() const;

    /** Forgets what was logged so far. */
    void clear();

private:
    class Recorder;

    mutable std::mutex m_mutex;
    std::vector<LogRecord> m_records;
    std::unique_ptr<CAppLog> m_log;
};

/** A diagnostic of this importance ('E', 'W', 'I') with this text; see debugText. */
MATCHER_P2(IsDebugMessage, importance, text, "")
{
    return arg.severity == Logging::S_DEBUG && arg.messageName == "MID_DEBUG_MESSAGE" &&
           arg.id == Logging::MID_DEBUG_MESSAGE && static_cast<int>(arg.importance) == importance &&
           ::testing::Value(arg.text, LogTextIs(text));
}

/** The record of a failed call, of this importance and with this text; see returnCodeText. */
MATCHER_P2(IsReturnCode, importance, text, "")
{
    return arg.severity == Logging::S_DEBUG && arg.messageName == "MID_DEBUG_RETURN_CODE" &&
           arg.id == Logging::MID_DEBUG_RETURN_CODE && static_cast<int>(arg.importance) == importance &&
           ::testing::Value(arg.text, LogTextIs(text));
}

} // namespace obg::test
