#include "vpn/Common/Utility/sysutils.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/ILogger.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <limits>
#include <string>

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/support/Privileges.h"
#include "tests/support/TimeZone.h"

// The two system functions below stand before those of the C library in this binary, so that a test can make the clock
// fail or jump and make select fail as often as it needs. Without such a wish they ask the kernel.

namespace {

struct Clock
{
    bool fails = false;
    bool fixed = false;
    timeval at{};
};

struct Select
{
    int calls = 0;
    int interruptions = 0;
    /// How far a signal that interrupts moves the fixed clock.
    time_t secondsPerInterruption = 0;
    timeval lastTimeout{};
};

Clock s_clock;
Select s_select;

} // namespace

extern "C" int gettimeofday(timeval* __restrict now, void* __restrict) noexcept
{
    if (s_clock.fails) {
        errno = EFAULT;
        return -1;
    }
    timespec at{};
    clock_gettime(CLOCK_REALTIME, &at);
    *now = s_clock.fixed ? s_clock.at : timeval{at.tv_sec, at.tv_nsec / 1000};
    return 0;
}

extern "C" int select(int nfds, fd_set* __restrict reads, fd_set* __restrict writes, fd_set* __restrict excepts,
                      timeval* __restrict timeout)
{
    ++s_select.calls;
    s_select.lastTimeout = timeout == nullptr ? timeval{-1, -1} : *timeout;
    if (s_select.interruptions > 0) {
        --s_select.interruptions;
        s_clock.at.tv_sec += s_select.secondsPerInterruption;
        errno = EINTR;
        return -1;
    }
    const timespec wait{s_select.lastTimeout.tv_sec, s_select.lastTimeout.tv_usec * 1000};
    return pselect(nfds, reads, writes, excepts, timeout == nullptr ? nullptr : &wait, nullptr);
}

namespace {

using obg::test::CapturedLog;
using obg::test::debugText;
using obg::test::IsDebugMessage;
using obg::test::IsReturnCode;
using obg::test::kAnyLine;
using obg::test::returnCodeText;
using obg::test::ScratchFolder;
using obg::test::sourceTag;
using obg::test::TimeZone;
using obg::test::WithoutPrivileges;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kFile = sourceTag("vpn/Common/Utility/sysutils");

using SteadyClock = std::chrono::steady_clock;

std::chrono::milliseconds since(SteadyClock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - start);
}

class sysutils : public ::testing::Test
{
protected:
    void SetUp() override
    {
        s_clock = {};
        s_select = {};
    }

    void TearDown() override
    {
        s_clock = {};
        s_select = {};
    }

    CapturedLog m_log;
    ScratchFolder m_folder;
};

// qrn_select

class qrn_select_test : public sysutils
{
protected:
    void SetUp() override
    {
        sysutils::SetUp();
        ASSERT_EQ(pipe(m_pipe.data()), 0);
        FD_ZERO(&m_reads);
        FD_SET(m_pipe[0], &m_reads);
    }

    void TearDown() override
    {
        close(m_pipe[0]);
        close(m_pipe[1]);
        sysutils::TearDown();
    }

    void makeReadable() const { ASSERT_EQ(write(m_pipe[1], "x", 1), 1); }

    int selectFor(const timeval* timeout) { return qrn_select(m_pipe[0] + 1, &m_reads, nullptr, nullptr, timeout); }

    std::array<int, 2> m_pipe{-1, -1};
    fd_set m_reads{};
};

/** Sends this process SIGALRM every few milliseconds for the scope. */
class SignalTimer
{
public:
    SignalTimer()
    {
        s_signals = 0;
        struct sigaction action
        {};
        action.sa_handler = [](int) { s_signals = s_signals + 1; };
        sigaction(SIGALRM, &action, &m_before);
        const itimerval everyFewMilliseconds{{0, 5000}, {0, 5000}};
        setitimer(ITIMER_REAL, &everyFewMilliseconds, nullptr);
    }

    ~SignalTimer()
    {
        const itimerval off{};
        setitimer(ITIMER_REAL, &off, nullptr);
        sigaction(SIGALRM, &m_before, nullptr);
    }

    SignalTimer(const SignalTimer&) = delete;
    SignalTimer& operator=(const SignalTimer&) = delete;

    static int signals() { return s_signals; }

private:
    static inline volatile std::sig_atomic_t s_signals = 0;
    struct sigaction m_before
    {};
};

TEST_F(qrn_select_test, givesTheNumberOfReadyDescriptors)
{
    makeReadable();
    const timeval timeout{5, 0};
    EXPECT_EQ(selectFor(&timeout), 1);
    EXPECT_TRUE(FD_ISSET(m_pipe[0], &m_reads));
}

TEST_F(qrn_select_test, handsEverySetToSelect)
{
    makeReadable();
    fd_set writes;
    FD_ZERO(&writes);
    FD_SET(m_pipe[1], &writes);
    const timeval timeout{5, 0};
    EXPECT_EQ(qrn_select(m_pipe[1] + 1, &m_reads, &writes, nullptr, &timeout), 2);

    std::array<int, 2> sockets{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()), 0);
    fd_set excepts;
    FD_ZERO(&excepts);
    FD_SET(sockets[0], &excepts);
    const timeval shortly{0, 1000};
    EXPECT_EQ(qrn_select(sockets[0] + 1, nullptr, nullptr, &excepts, &shortly), 0);
    EXPECT_FALSE(FD_ISSET(sockets[0], &excepts));
    close(sockets[0]);
    close(sockets[1]);
}

TEST_F(qrn_select_test, givesZeroWhenTheTimeIsOver)
{
    const timeval timeout{0, 20000};
    const auto start = SteadyClock::now();
    EXPECT_EQ(selectFor(&timeout), 0);
    EXPECT_GE(since(start).count(), 19);
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(qrn_select_test, leavesTheCallersTimeoutAsItIs)
{
    const timeval timeout{0, 2000};
    selectFor(&timeout);
    EXPECT_EQ(timeout.tv_sec, 0);
    EXPECT_EQ(timeout.tv_usec, 2000);
}

TEST_F(qrn_select_test, aNullTimeoutPolls)
{
    const auto start = SteadyClock::now();
    EXPECT_EQ(selectFor(nullptr), 0);
    EXPECT_LT(since(start).count(), 2000);
    EXPECT_EQ(s_select.lastTimeout.tv_sec, 0);
    EXPECT_EQ(s_select.lastTimeout.tv_usec, 0);

    makeReadable();
    FD_SET(m_pipe[0], &m_reads);
    EXPECT_EQ(selectFor(nullptr), 1);
}

TEST_F(qrn_select_test, aNullTimeoutRepeatsOnlyWhileInterrupted)
{
    s_select.interruptions = 3;
    EXPECT_EQ(selectFor(nullptr), 0);
    EXPECT_EQ(s_select.calls, 4);
}

TEST_F(qrn_select_test, aFailureWithNullTimeoutIsGivenAndNotLogged)
{
    EXPECT_EQ(qrn_select(-1, nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(s_select.calls, 1);
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(qrn_select_test, waitsOnThroughRealSignals)
{
    const timeval timeout{0, 60000};
    const SignalTimer timer;
    const auto start = SteadyClock::now();
    EXPECT_EQ(selectFor(&timeout), 0);
    EXPECT_GE(since(start).count(), 59);
    EXPECT_GE(SignalTimer::signals(), 2);
    EXPECT_GE(s_select.calls, 2);
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(qrn_select_test, afterASignalWaitsForTheRestOfTheTimeOnly)
{
    s_clock.fixed = true;
    s_clock.at = {1000, 0};
    s_select.interruptions = 1;
    s_select.secondsPerInterruption = 2;
    makeReadable();
    const timeval timeout{7, 500000};
    EXPECT_EQ(selectFor(&timeout), 1);
    EXPECT_EQ(s_select.calls, 2);
    EXPECT_EQ(s_select.lastTimeout.tv_sec, 5);
    EXPECT_EQ(s_select.lastTimeout.tv_usec, 500000);
}

TEST_F(qrn_select_test, aSignalAfterTheDeadlineEndsTheWait)
{
    s_clock.fixed = true;
    s_clock.at = {1000, 0};
    s_select.interruptions = 1;
    s_select.secondsPerInterruption = 9;
    makeReadable();
    const timeval timeout{7, 500000};
    EXPECT_EQ(selectFor(&timeout), 0);
    EXPECT_EQ(s_select.calls, 1);
}

TEST_F(qrn_select_test, aSignalWhenNoTimeIsLeftEndsTheWait)
{
    s_select.interruptions = 1;
    const timeval none{0, 0};
    EXPECT_EQ(selectFor(&none), 0);
    EXPECT_EQ(s_select.calls, 1);
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(qrn_select_test, anyOtherFailureIsLogged)
{
    const timeval timeout{5, 0};
    EXPECT_EQ(qrn_select(-1, nullptr, nullptr, nullptr, &timeout), -1);
    EXPECT_THAT(m_log.records(), ElementsAre(IsDebugMessage('E', debugText("qrn_select", kFile, kAnyLine,
                                                                           "qrn_select failed with errno: 22"))));
}

/// A back end that meets an error of its own.
class FailingLogger : public ILogger
{
public:
    long Log(Logging::Severity, const char*, const char*, Logging::MessageID, Logging::DebugImportance) override
    {
        errno = EIO;
        return 0;
    }
};

TEST(qrn_select_errno, isThatOfTheFailureAfterItIsLogged)
{
    long result = 0;
    const CAppLog log(result, "test", new FailingLogger);
    const timeval timeout{5, 0};
    EXPECT_EQ(qrn_select(-1, nullptr, nullptr, nullptr, &timeout), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(qrn_select_test, aClosedDescriptorIsAFailure)
{
    close(m_pipe[0]);
    const timeval timeout{5, 0};
    EXPECT_EQ(selectFor(&timeout), -1);
    EXPECT_THAT(m_log.records(), ElementsAre(IsDebugMessage('E', debugText("qrn_select", kFile, kAnyLine,
                                                                           "qrn_select failed with errno: 9"))));
    m_pipe[0] = -1;
}

// Time

TEST_F(sysutils, millisecondsSleepSleepsThatLong)
{
    const auto start = SteadyClock::now();
    EXPECT_EQ(milliseconds_sleep(20), 0);
    EXPECT_GE(since(start).count(), 20);
    EXPECT_LT(since(start).count(), 2000);
}

TEST_F(sysutils, millisecondsSleepWrapsAt32BitsOfMicroseconds)
{
    // 4294968 ms are 704 microseconds more than 32 bits hold.
    const auto start = SteadyClock::now();
    EXPECT_EQ(milliseconds_sleep(4294968), 0);
    EXPECT_LT(since(start).count(), 2000);
}

TEST_F(sysutils, millisecondsSleepGivesTheFailureOfAnInterruptedSleep)
{
    const SignalTimer timer;
    EXPECT_EQ(milliseconds_sleep(5000), -1);
}

TEST_F(sysutils, getCurrentTimeMillisCountsMillisecondsIn32Bits)
{
    s_clock.fixed = true;
    s_clock.at = {12, 345999};
    EXPECT_EQ(GetCurrentTimeMillis(), 12345U);
    // 1700000000 s * 1000 + 999 = 395 * 2^32 + 3487919079
    s_clock.at = {1700000000, 999999};
    EXPECT_EQ(GetCurrentTimeMillis(), 3487919079U);
    s_clock.at = {4294967, 295000};
    EXPECT_EQ(GetCurrentTimeMillis(), 4294967295U);
    s_clock.at = {4294967, 296000};
    EXPECT_EQ(GetCurrentTimeMillis(), 0U);
}

TEST_F(sysutils, getCurrentTimeMillisIsZeroWithoutAClock)
{
    s_clock.fails = true;
    EXPECT_EQ(GetCurrentTimeMillis(), 0U);
}

TEST_F(sysutils, getCurrentTimeSecondsIsTheTime)
{
    const std::time_t before = std::time(nullptr);
    const std::time_t now = GetCurrentTimeSeconds();
    EXPECT_GE(now, before);
    EXPECT_LE(now, std::time(nullptr));
}

TEST_F(sysutils, timeNowIsLocalTime)
{
    const TimeZone zone("XYZ-5:30");
    std::tm out{};
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(TimeNow(&out), 0U);
    const std::time_t after = std::time(nullptr);
    EXPECT_EQ(out.tm_gmtoff, 5 * 3600 + 30 * 60);
    const std::time_t told = timegm(&out) - (5 * 3600 + 30 * 60);
    EXPECT_GE(told, before);
    EXPECT_LE(told, after);
}

TEST_F(sysutils, timeNowNeedsAPlaceToWriteTo)
{
    EXPECT_EQ(TimeNow(nullptr), 0xFE000002U);
}

TEST_F(sysutils, timeNowToStringFormatsLocalTime)
{
    const TimeZone zone("XYZ-5:30");
    char buffer[40] = "####";
    EXPECT_EQ(TimeNowToString("%Z %z", buffer, sizeof buffer), 0U);
    EXPECT_STREQ(buffer, "XYZ +0530");

    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(TimeNowToString("%s", buffer, sizeof buffer), 0U);
    EXPECT_GE(std::stoll(buffer), before);
    EXPECT_LE(std::stoll(buffer), std::time(nullptr));
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(sysutils, timeNowToStringNeedsAllItsArguments)
{
    char buffer[] = "####";
    EXPECT_EQ(TimeNowToString(nullptr, buffer, 4), 0xFE000002U);
    EXPECT_EQ(TimeNowToString("%Y", nullptr, 4), 0xFE000002U);
    EXPECT_EQ(TimeNowToString("%Y", buffer, 0), 0xFE000002U);
    EXPECT_STREQ(buffer, "####");
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(sysutils, timeNowToStringLogsATextThatDoesNotFit)
{
    char buffer[] = "##########";
    EXPECT_EQ(TimeNowToString("%Y-%m-%d", buffer, 10), 0xFE000009U);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_THAT(m_log.records(), ElementsAre(IsReturnCode('E', returnCodeText("TimeNowToString", kFile, kAnyLine,
                                                                              "_tcsftime", 0, "%Y-%m-%d", ""))));
}

TEST_F(sysutils, timeNowToStringFillsTheBufferExactly)
{
    char buffer[] = "############";
    EXPECT_EQ(TimeNowToString("%Y-%m-%d", buffer, 11), 0U);
    EXPECT_EQ(std::strlen(buffer), 10U);
}

TEST_F(sysutils, timeNowToStringTakesAnEmptyTextForAFailure)
{
    char buffer[] = "####";
    EXPECT_EQ(TimeNowToString("", buffer, 4), 0xFE000009U);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_THAT(m_log.records(), ElementsAre(IsReturnCode(
                                     'E', returnCodeText("TimeNowToString", kFile, kAnyLine, "_tcsftime", 0, "", ""))));
}

// Files

/** One path of each kind that the file tests tell apart. */
class sysutilsFiles : public sysutils
{
protected:
    std::string file() const { return m_folder.write("file", "x"); }

    std::string directory() const
    {
        const std::string path = m_folder.path("directory");
        EXPECT_EQ(mkdir(path.c_str(), 0755), 0);
        // On some file systems an empty directory has size 0.
        EXPECT_EQ(mkdir((path + "/inner").c_str(), 0755), 0);
        return path;
    }

    std::string link(const std::string& target) const
    {
        const std::string path = m_folder.path("link");
        EXPECT_EQ(symlink(target.c_str(), path.c_str()), 0);
        return path;
    }

    std::string fifo() const
    {
        const std::string path = m_folder.path("fifo");
        EXPECT_EQ(mkfifo(path.c_str(), 0644), 0);
        return path;
    }

    std::string unixSocket() const
    {
        const std::string path = m_folder.path("socket");
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        close(fd);
        return path;
    }

    std::string belowAFile() const { return m_folder.write("file", "x") + "/name"; }
    std::string missing() const { return m_folder.path("missing"); }

    static auto statFailed(const std::string& function, const std::string& kind, const std::string& path, int error,
                           const std::string& errorText)
    {
        return IsReturnCode('E', returnCodeText(function, kFile, kAnyLine, "_tstat", static_cast<unsigned>(error),
                                                "unknown", kind + ": " + path + "\nError: " + errorText));
    }

    static auto warning(const std::string& text)
    {
        return IsDebugMessage('W', debugText("fileIsReadable", kFile, kAnyLine, text));
    }
};

TEST_F(sysutilsFiles, unlinkFileRemovesAFile)
{
    const std::string path = file();
    EXPECT_EQ(unlink_file(path.c_str()), 0);
    EXPECT_FALSE(obg::test::pathExists(path));
}

TEST_F(sysutilsFiles, unlinkFileRemovesALinkAndNotItsTarget)
{
    const std::string target = file();
    EXPECT_EQ(unlink_file(link(target).c_str()), 0);
    EXPECT_TRUE(obg::test::pathExists(target));
}

TEST_F(sysutilsFiles, unlinkFileGivesTheErrno)
{
    EXPECT_EQ(unlink_file(nullptr), 22);
    EXPECT_EQ(unlink_file(missing().c_str()), ENOENT);
    EXPECT_EQ(unlink_file(directory().c_str()), EISDIR);
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(sysutilsFiles, fileExistsForFilesAndLinksToThem)
{
    const std::string path = file();
    EXPECT_TRUE(fileExists(path));
    EXPECT_TRUE(fileExists(link(path)));
    EXPECT_TRUE(fileExists(m_folder.write("empty", "")));
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(sysutilsFiles, fileExistsTestsOneBitWhichSocketsHaveToo)
{
    EXPECT_TRUE(fileExists(unixSocket()));
    EXPECT_FALSE(fileExists(fifo()));
    EXPECT_FALSE(fileExists(directory()));
    EXPECT_FALSE(fileExists("/dev/null"));
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(sysutilsFiles, absenceIsNeverLogged)
{
    const std::string dangling = link(missing());
    for (const std::string& path : {missing(), dangling, std::string()}) {
        EXPECT_FALSE(fileExists(path));
        EXPECT_FALSE(directoryExists(path));
        EXPECT_FALSE(fileIsReadable(path));
    }
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(sysutilsFiles, fileExistsLogsOtherFailures)
{
    const std::string path = belowAFile();
    EXPECT_FALSE(fileExists(path));
    EXPECT_THAT(m_log.records(), ElementsAre(statFailed("fileExists", "File", path, 20, "Not a directory")));
}

TEST_F(sysutilsFiles, directoryExistsForDirectoriesAndLinksToThem)
{
    const std::string path = directory();
    EXPECT_TRUE(directoryExists(path));
    EXPECT_TRUE(directoryExists(link(path)));
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(sysutilsFiles, directoryExistsTestsOneBitWhichSocketsHaveToo)
{
    EXPECT_TRUE(directoryExists(unixSocket()));
    EXPECT_FALSE(directoryExists(fifo()));
    EXPECT_FALSE(directoryExists(file()));
    EXPECT_FALSE(directoryExists("/dev/null"));
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(sysutilsFiles, directoryExistsLogsOtherFailures)
{
    const std::string path = belowAFile();
    EXPECT_FALSE(directoryExists(path));
    EXPECT_THAT(m_log.records(), ElementsAre(statFailed("directoryExists", "Directory", path, 20, "Not a directory")));
}

TEST_F(sysutilsFiles, aClosedFolderIsAFailureForAnOrdinaryUser)
{
    const std::string folder = directory();
    const std::string path = folder + "/inner";
    ASSERT_EQ(chmod(folder.c_str(), 0), 0);
    {
        const WithoutPrivileges ordinary;
        EXPECT_FALSE(fileExists(path));
        EXPECT_FALSE(directoryExists(path));
        EXPECT_FALSE(fileIsReadable(path));
    }
    EXPECT_THAT(m_log.records(), ElementsAre(statFailed("fileExists", "File", path, 13, "Permission denied"),
                                             statFailed("directoryExists", "Directory", path, 13, "Permission denied"),
                                             statFailed("fileIsReadable", "File", path, 13, "Permission denied")));
}

TEST_F(sysutilsFiles, fileIsReadableForAFileWithBytesThatItsOwnerMayRead)
{
    const std::string path = file();
    ASSERT_EQ(chmod(path.c_str(), 0400), 0);
    EXPECT_TRUE(fileIsReadable(path));
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(sysutilsFiles, fileIsReadableLooksAtTheOwnersBitAlone)
{
    // This process may read the file whatever its mode says.
    const std::string path = file();
    ASSERT_EQ(chmod(path.c_str(), 0277), 0);
    EXPECT_FALSE(fileIsReadable(path));
    EXPECT_THAT(m_log.records(), ElementsAre(warning("File (" + path + ") is not readable or is not a regular file.")));
}

TEST_F(sysutilsFiles, fileIsReadableWarnsOfAnEmptyFile)
{
    const std::string path = m_folder.write("empty", "");
    EXPECT_FALSE(fileIsReadable(path));
    EXPECT_THAT(m_log.records(), ElementsAre(warning("File (" + path + ") is empty.")));
}

TEST_F(sysutilsFiles, fileIsReadableAsksForTheSizeFirst)
{
    const std::string path = unixSocket();
    EXPECT_FALSE(fileIsReadable(path));
    EXPECT_THAT(m_log.records(), ElementsAre(warning("File (" + path + ") is empty.")));
}

TEST_F(sysutilsFiles, fileIsReadableWarnsOfADirectory)
{
    const std::string path = directory();
    EXPECT_FALSE(fileIsReadable(path));
    EXPECT_THAT(m_log.records(), ElementsAre(warning("File (" + path + ") is not readable or is not a regular file.")));
}

TEST_F(sysutilsFiles, fileIsReadableLogsOtherFailures)
{
    const std::string path = link("link");
    EXPECT_FALSE(fileIsReadable(path));
    EXPECT_THAT(m_log.records(),
                ElementsAre(statFailed("fileIsReadable", "File", path, 40, "Too many levels of symbolic links")));
}

// Process

TEST_F(sysutils, releaseMemoryIsTrue)
{
    EXPECT_TRUE(ReleaseMemory());
}

void handlerA(int) {}
void handlerB(int) {}

/** Gives SIGUSR1 back as it was. */
class install_sighdlr_test : public sysutils
{
protected:
    void SetUp() override { ASSERT_EQ(sigaction(SIGUSR1, nullptr, &m_before), 0); }
    void TearDown() override { sigaction(SIGUSR1, &m_before, nullptr); }

private:
    struct sigaction m_before
    {};
};

TEST_F(install_sighdlr_test, installsTheHandlerWithAnEmptyMaskAndNoFlags)
{
    EXPECT_TRUE(install_sighdlr(SIGUSR1, handlerA, nullptr));
    struct sigaction installed
    {};
    ASSERT_EQ(sigaction(SIGUSR1, nullptr, &installed), 0);
    EXPECT_EQ(installed.sa_handler, handlerA);
    for (int signal = 1; signal < NSIG; ++signal) {
        EXPECT_NE(sigismember(&installed.sa_mask, signal), 1) << signal;
    }
    constexpr int kRestorerOfTheCLibrary = 0x04000000;
    EXPECT_EQ(installed.sa_flags & ~kRestorerOfTheCLibrary, 0);
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(install_sighdlr_test, givesThePreviousHandler)
{
    void (*before)(int) = handlerB;
    EXPECT_TRUE(install_sighdlr(SIGUSR1, handlerA, &before));
    EXPECT_EQ(before, SIG_DFL);
    EXPECT_TRUE(install_sighdlr(SIGUSR1, SIG_IGN, &before));
    EXPECT_EQ(before, handlerA);
    EXPECT_TRUE(install_sighdlr(SIGUSR1, handlerB, &before));
    EXPECT_EQ(before, SIG_IGN);
}

TEST_F(install_sighdlr_test, logsARefusalAndClearsThePreviousHandler)
{
    void (*before)(int) = handlerB;
    EXPECT_FALSE(install_sighdlr(SIGKILL, handlerA, &before));
    EXPECT_EQ(before, nullptr);
    EXPECT_THAT(m_log.records(),
                ElementsAre(IsReturnCode(
                    'E', returnCodeText("install_sighdlr", kFile, kAnyLine, "sigaction", 22, "unknown",
                                        "Failed to install signal handler (Invalid argument). Signal# = 9."))));
}

TEST_F(install_sighdlr_test, refusesSignalsThatDoNotExist)
{
    EXPECT_FALSE(install_sighdlr(4711, handlerA, nullptr));
    EXPECT_THAT(m_log.records(),
                ElementsAre(IsReturnCode(
                    'E', returnCodeText("install_sighdlr", kFile, kAnyLine, "sigaction", 22, "unknown",
                                        "Failed to install signal handler (Invalid argument). Signal# = 4711."))));
}

} // namespace
