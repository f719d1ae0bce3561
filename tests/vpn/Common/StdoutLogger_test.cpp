#include "vpn/Common/StdoutLogger.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <locale>
#include <map>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/Files.h"
#include "tests/support/TimeZone.h"
#include "tests/support/ToolRun.h"
#include "tests/vpn/Common/LogsBeforeMain.h"
#include "vpn/Common/AppLog.h"

// Stands before that of the C library in this binary, and lags by more than a tick.
extern "C" std::time_t time(std::time_t* result) noexcept
{
    const std::time_t late = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()) - 3600;
    if (result != nullptr) {
        *result = late;
    }
    return late;
}

namespace {

using obg::test::LogLine;
using obg::test::parseLogLine;
using obg::test::readFile;
using obg::test::ScratchFolder;
using obg::test::TimeZone;

constexpr auto kOtherImportance = static_cast<Logging::DebugImportance>('X');

/** Stands behind std::cout for the scope: keeps what is written and counts the flushes. */
class RedirectedCout : public std::streambuf
{
public:
    RedirectedCout() : m_before(std::cout.rdbuf(this)) {}
    ~RedirectedCout() override { std::cout.rdbuf(m_before); }

    const std::string& text() const { return m_text; }

    /** What had been written at each flush. */
    const std::vector<std::string>& flushed() const { return m_flushed; }

protected:
    int_type overflow(int_type c) override
    {
        m_text.push_back(traits_type::to_char_type(c));
        return c;
    }

    std::streamsize xsputn(const char* bytes, std::streamsize count) override
    {
        m_text.append(bytes, static_cast<std::size_t>(count));
        return count;
    }

    int sync() override
    {
        m_flushed.push_back(m_text);
        return 0;
    }

private:
    std::streambuf* m_before;
    std::string m_text;
    std::vector<std::string> m_flushed;
};

long logText(CStdoutLogger& logger, const char* text)
{
    return logger.Log(Logging::S_DEBUG, text, "MID_DEBUG_MESSAGE", Logging::MID_DEBUG_MESSAGE, Logging::DI_ERROR);
}

/** The one line that logging TEXT under NAME writes, its line end included. */
std::string lineFor(const char* name, const char* text)
{
    const RedirectedCout out;
    CStdoutLogger logger(name);
    EXPECT_EQ(logText(logger, text), 0);
    return out.text();
}

/** The system clock's seconds. */
std::time_t now()
{
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

/** The local times from BEFORE to AFTER for a zone OFFSET seconds east of UTC. */
std::vector<std::string> timesBetween(std::time_t before, std::time_t after, int offset)
{
    std::vector<std::string> times;
    for (std::time_t at = before; at <= after; ++at) {
        const std::time_t shifted = at + offset;
        std::tm parts{};
        gmtime_r(&shifted, &parts);
        char text[80];
        std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", parts.tm_year + 1900, parts.tm_mon + 1,
                      parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
        times.emplace_back(text);
    }
    return times;
}

// The level

TEST(CStdoutLoggerLevel, severitiesUpToInfoHaveTheirOwnTextWhateverTheImportance)
{
    const char* const levels[] = {"EMERGENCY", "ALERT", "CRITICAL", "ERROR", "WARNING", "NOTICE", "INFO"};
    for (std::uint32_t severity = 0; severity < std::size(levels); ++severity) {
        for (const char importance : {'T', 'E', 'I', 'W', 'X'}) {
            EXPECT_STREQ(CStdoutLogger::getLevel(static_cast<Logging::Severity>(severity),
                                                 static_cast<Logging::DebugImportance>(importance)),
                         levels[severity])
                << importance;
        }
    }
}

TEST(CStdoutLoggerLevel, higherSeveritiesAreClassedByTheImportance)
{
    const std::map<std::uint32_t, const char*> levels = {
        {84, "NOTICE"}, {69, "ERROR"}, {73, "NOTICE"}, {87, "WARNING"},       {88, "DEBUG"},
        {0, "DEBUG"},   {68, "DEBUG"}, {101, "DEBUG"}, {0xFFFFFFFF, "DEBUG"},
    };
    for (const std::uint32_t severity : {7U, 8U, 0xFFFFFFFFU}) {
        for (const auto& [importance, level] : levels) {
            EXPECT_STREQ(CStdoutLogger::getLevel(static_cast<Logging::Severity>(severity),
                                                 static_cast<Logging::DebugImportance>(importance)),
                         level)
                << severity << ' ' << importance;
        }
    }
}

TEST(CStdoutLoggerLevel, standsInTheLine)
{
    CStdoutLogger logger("tool");
    const RedirectedCout out;
    logger.Log(Logging::S_NOTICE, "a", "MID_UNKNOWN", Logging::MID_UNKNOWN, Logging::DI_ERROR);
    logger.Log(Logging::S_DEBUG, "b", "MID_DEBUG_MESSAGE", Logging::MID_DEBUG_MESSAGE, Logging::DI_WARNING);
    logger.Log(Logging::S_DEBUG, "c", "MID_DEBUG_MESSAGE", Logging::MID_DEBUG_MESSAGE, kOtherImportance);
    EXPECT_THAT(out.text(), ::testing::ContainsRegex("\\]: \\[NOTICE\\] a\n.*\\]: \\[WARNING\\] b\n.*"
                                                     "\\]: \\[DEBUG\\] c\n"));
}

// The line

TEST(CStdoutLogger, writesTimeNameProcessLevelAndText)
{
    const TimeZone zone("UTC0");
    const std::time_t before = now();
    const std::string line = lineFor("obg_manifesttool", "text of the message");
    const std::vector<std::string> times = timesBetween(before, now(), 0);

    constexpr std::size_t kTimeLength = 19;
    EXPECT_THAT(times, ::testing::Contains(line.substr(0, kTimeLength)));
    EXPECT_EQ(line.substr(kTimeLength),
              " obg_manifesttool[" + std::to_string(getpid()) + "]: [ERROR] text of the message\n");
}

TEST(CStdoutLogger, writesLocalTime)
{
    const TimeZone zone("XYZ-5:30");
    const std::time_t before = now();
    const std::string line = lineFor("tool", "text");
    EXPECT_THAT(timesBetween(before, now(), 5 * 3600 + 30 * 60), ::testing::Contains(line.substr(0, 19)));
}

TEST(CStdoutLogger, theTimeIsThatOfTheSystemClockAndNotTheOneThatLags)
{
    const TimeZone zone("UTC0");
    const std::time_t before = now();
    ASSERT_LT(std::time(nullptr), before);
    const std::string line = lineFor("tool", "text");
    EXPECT_THAT(timesBetween(before, now(), 0), ::testing::Contains(line.substr(0, 19)));
}

TEST(CStdoutLogger, followsAChangedTimeZone)
{
    const TimeZone before("UTC0");
    lineFor("tool", "text");
    setenv("TZ", "XYZ-5:30", 1); // And no tzset, which a program need not call.
    const std::time_t earliest = now();
    const std::string line = lineFor("tool", "text");
    EXPECT_THAT(timesBetween(earliest, now(), 5 * 3600 + 30 * 60), ::testing::Contains(line.substr(0, 19)));
}

/** Writes three digits in a group. */
struct Grouping : std::numpunct<char>
{
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(CStdoutLogger, howStandardOutputFormatsDoesNotShow)
{
    const std::string plain = lineFor("tool", "text").substr(19);
    std::ios usual(nullptr);
    usual.copyfmt(std::cout);
    const std::locale global = std::locale::global(std::locale(std::locale(), new Grouping));
    std::cout.imbue(std::locale());
    std::cout << std::hex << std::showbase << std::showpos << std::left << std::setfill('*');
    std::cout.width(60);
    EXPECT_EQ(lineFor("tool", "text").substr(19), plain);
    EXPECT_EQ(std::cout.width(), 60);
    std::locale::global(global);
    std::cout.copyfmt(usual);
}

TEST(CStdoutLogger, turnsEveryLineFeedIntoABlank)
{
    const std::string line = lineFor("tool", "\na\n\nb\r\n");
    EXPECT_THAT(line, ::testing::EndsWith("]: [ERROR]  a  b\r \n"));
}

TEST(CStdoutLogger, writesAnEmptyTextToo)
{
    EXPECT_THAT(lineFor("tool", ""), ::testing::EndsWith("]: [ERROR] \n"));
}

TEST(CStdoutLogger, writesLongTextsWhole)
{
    const std::string text(100000, 'x');
    EXPECT_THAT(lineFor("tool", text.c_str()), ::testing::EndsWith("]: [ERROR] " + text + "\n"));
}

TEST(CStdoutLogger, aNullNameIsEmpty)
{
    LogLine line;
    ASSERT_TRUE(parseLogLine(lineFor(nullptr, "text"), line));
    EXPECT_EQ(line.identity, "");
    EXPECT_EQ(line.pid, getpid());
}

TEST(CStdoutLogger, keepsACopyOfTheName)
{
    std::string name = "first";
    CStdoutLogger logger(name.c_str());
    name = "other";
    const RedirectedCout out;
    logText(logger, "text");
    EXPECT_THAT(out.text(), ::testing::HasSubstr(" first["));
}

TEST(CStdoutLogger, aNullTextIsAMissingArgumentAndWritesNothing)
{
    CStdoutLogger logger("tool");
    const RedirectedCout out;
    EXPECT_EQ(logText(logger, nullptr), 0xFE000002L);
    EXPECT_EQ(out.text(), "");
    EXPECT_TRUE(out.flushed().empty());
}

TEST(CStdoutLogger, flushesOncePerLineAndAfterItsEnd)
{
    CStdoutLogger logger("tool");
    const RedirectedCout out;
    logText(logger, "first");
    const std::string afterFirst = out.text();
    logText(logger, "second");
    EXPECT_THAT(out.flushed(), ::testing::ElementsAre(afterFirst, out.text()));
}

TEST(CStdoutLogger, aLineIsOutEvenIfTheProcessDiesNext)
{
    const ScratchFolder folder;
    const std::string file = folder.write("out", "");
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        dup2(open(file.c_str(), O_WRONLY), STDOUT_FILENO);
        CStdoutLogger logger("tool");
        logText(logger, "last words");
        _exit(0);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_THAT(readFile(file), ::testing::EndsWith("]: [ERROR] last words\n"));
}

TEST(CStdoutLogger, aStateOfStandardOutputThatIsNotGoodSilencesNothing)
{
    const RedirectedCout out;
    CStdoutLogger logger("tool");
    std::cout.setstate(std::ios::badbit);
    EXPECT_EQ(logText(logger, "text"), 0);
    std::cout.clear();
    EXPECT_THAT(out.text(), ::testing::EndsWith("]: [ERROR] text\n"));
}

TEST(CStdoutLogger, aLineThatCannotBeWrittenIsLostWithoutTheOnesBehindIt)
{
    const ScratchFolder folder;
    const std::string file = folder.write("out", "");
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        CStdoutLogger logger("tool");
        dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
        const long status = logText(logger, "lost");
        dup2(open(file.c_str(), O_WRONLY), STDOUT_FILENO);
        logText(logger, "kept");
        _exit(static_cast<int>(status));
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(readFile(file), ::testing::MatchesRegex("[^\n]*\\]: \\[ERROR\\] kept\n"));
}

/** Stands behind std::cout for the scope, and throws. */
class ThrowingCout : public std::streambuf
{
public:
    ThrowingCout() : m_before(std::cout.rdbuf(this)) {}
    ~ThrowingCout() override { std::cout.rdbuf(m_before); }

protected:
    int_type overflow(int_type /*c*/) override { throw std::runtime_error("no room"); }
    int sync() override { throw std::runtime_error("no room"); }

private:
    std::streambuf* m_before;
};

TEST(CStdoutLogger, noExceptionComesOutOfIt)
{
    CStdoutLogger logger("tool");
    const ThrowingCout out;
    std::cout.exceptions(std::ios::badbit | std::ios::failbit);
    EXPECT_NO_THROW(EXPECT_EQ(logText(logger, "text"), 0));
    std::cout.exceptions(std::ios::goodbit);
    EXPECT_TRUE(std::cout.good());
}

TEST(CStdoutLogger, isSilentWhereStandardOutputHasNoBuffer)
{
    CStdoutLogger logger("tool");
    std::streambuf* const before = std::cout.rdbuf(nullptr);
    EXPECT_EQ(logText(logger, "text"), 0);
    std::cout.rdbuf(before);
}

TEST(CStdoutLogger, receivesTheLogsMessages)
{
    const RedirectedCout out;
    long result = -1;
    const CAppLog log(result, "tool", new CStdoutLogger("tool"));
    CAppLog::LogDebugMessage("main", "../main", 98, Logging::DI_ERROR, "Failed to parse input manifest");
    CAppLog::LogDebugMessage("main", "../main", 87, Logging::DI_INFO, "using tessellink VPNManifest.dat");
    std::istringstream lines(out.text());
    std::string first;
    std::string second;
    std::getline(lines, first);
    std::getline(lines, second);
    EXPECT_THAT(first,
                ::testing::EndsWith("]: [ERROR] Function: main File: ../main Line: 98 Failed to parse input manifest"));
    EXPECT_THAT(second, ::testing::EndsWith(
                            "]: [NOTICE] Function: main File: ../main Line: 87 using tessellink VPNManifest.dat"));
}

TEST(CStdoutLogger, worksFromConstructorsThatRunBeforeMain)
{
    EXPECT_THAT(
        textLoggedBeforeMain(),
        ::testing::MatchesRegex(".* early\\[[0-9]+\\]: \\[ERROR\\] Function: f File: \\.\\./f Line: 1 early\n"));
}

} // namespace
