#include "vpn/Common/AppLog.h"
#include "vpn/Common/ILogger.h"
#include "vpn/Common/StdoutLogger.h"

#include <benchmark/benchmark.h>

#include <iostream>
#include <memory>
#include <streambuf>

namespace {

class DroppingLogger : public ILogger
{
public:
    long Log(Logging::Severity, const char* text, const char*, Logging::MessageID, Logging::DebugImportance) override
    {
        benchmark::DoNotOptimize(text);
        return 0;
    }
};

class DroppingBuffer : public std::streambuf
{
protected:
    int overflow(int character) override { return traits_type::not_eof(character); }
    std::streamsize xsputn(const char*, std::streamsize size) override { return size; }
};

/// Sends standard output nowhere for the length of a benchmark.
class SilentOutput
{
public:
    SilentOutput() : m_own(std::cout.rdbuf(&m_nowhere)) {}
    ~SilentOutput() { std::cout.rdbuf(m_own); }
    SilentOutput(const SilentOutput&) = delete;
    SilentOutput& operator=(const SilentOutput&) = delete;

private:
    DroppingBuffer m_nowhere;
    std::streambuf* m_own;
};

void Log_debug_message(benchmark::State& state)
{
    long result = 0;
    const CAppLog log(result, "obg_bench", std::make_unique<DroppingLogger>().release());
    for (auto _ : state) {
        CAppLog::LogDebugMessage("parseManifestFile", "../../../../vpn/Downloader/ManifestInfo", 120,
                                 Logging::DI_WARNING, "Too few elements in manifest: %d", 2);
    }
}
BENCHMARK(Log_debug_message);

void Log_return_code(benchmark::State& state)
{
    long result = 0;
    const CAppLog log(result, "obg_bench", std::make_unique<DroppingLogger>().release());
    for (auto _ : state) {
        CAppLog::LogReturnCode("main", "../main", 128, Logging::DI_ERROR, "CInstalledManifestInfo::WriteFile",
                               0xFE000009, nullptr, nullptr);
    }
}
BENCHMARK(Log_return_code);

void Log_line_on_standard_output(benchmark::State& state)
{
    const SilentOutput silent;
    CStdoutLogger logger("obg_bench");
    for (auto _ : state) {
        logger.Log(Logging::S_DEBUG, "Function: main File: ../main Line: 98 Failed to parse input manifest",
                   "MID_DEBUG_MESSAGE", Logging::MID_DEBUG_MESSAGE, Logging::DI_ERROR);
    }
}
BENCHMARK(Log_line_on_standard_output);

} // namespace
