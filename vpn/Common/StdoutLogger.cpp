#include "vpn/Common/StdoutLogger.h"

#include "vpn/Common/StatusCodes.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <iostream>

#include <unistd.h>

namespace {

std::string localTime()
{
    // Not std::time, which lags behind the system clock by up to a tick of the kernel.
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm parts{};
    // As localtime does and localtime_r alone does not: a changed time zone counts from the next line on.
    tzset();
    localtime_r(&now, &parts);
    std::array<char, sizeof "-2147483648-12-31 23:59:59"> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return text.data();
}

} // namespace

CStdoutLogger::CStdoutLogger(const char* programName) : m_programName(programName == nullptr ? "" : programName)
{
    // A static constructor of another file may log before this file's own copy from <iostream> has run.
    const std::ios_base::Init standardStreams;
}

CStdoutLogger::~CStdoutLogger() = default;

long CStdoutLogger::Log(Logging::Severity severity, const char* text, const char* /*messageName*/,
                        Logging::MessageID /*id*/, Logging::DebugImportance importance)
{
    if (text == nullptr) {
        return StatusCode::MissingArgument;
    }
    std::string oneLine(text);
    std::replace(oneLine.begin(), oneLine.end(), '\n', ' ');
    const std::string line = localTime() + " " + m_programName + "[" + std::to_string(getpid()) + "]: [" +
                             getLevel(severity, importance) + "] " + oneLine + "\n";
    // A stream of its own on the same buffer: how std::cout formats, whether it throws, and whether an earlier line
    // failed, is nothing to this one.
    std::ostream(std::cout.rdbuf()).write(line.data(), static_cast<std::streamsize>(line.size())).flush();
    return StatusCode::Success;
}

const char* CStdoutLogger::getLevel(Logging::Severity severity, Logging::DebugImportance importance)
{
    static constexpr std::array levels{"EMERGENCY", "ALERT", "CRITICAL", "ERROR", "WARNING", "NOTICE", "INFO"};
    if (severity < levels.size()) {
        return levels[severity];
    }
    switch (importance) {
    case Logging::DI_ERROR:
        return "ERROR";
    case Logging::DI_WARNING:
        return "WARNING";
    case Logging::DI_INFO: // Not "INFO": log readers know informational notes as notices.
    case Logging::DI_TABLE:
        return "NOTICE";
    }
    return "DEBUG";
}
