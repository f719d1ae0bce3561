#include "ctl/FileLock.h"

#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/support/PrivateMachine.h"

namespace fs = std::filesystem;
using namespace obg::test;
using namespace std::chrono_literals;
using ctl::FileLock;
using Result = ctl::FileLock::Result;

namespace {

class FileLockTest : public InstallRootsTest
{
protected:
    const std::string m_path = std::string(kCurrentRoot) + "/store";
    const std::string m_lockPath = m_path + ".lock";
};

TEST_F(FileLockTest, keepsASecondOneOutAndNamesTheHolder)
{
    FileLock first;
    FileLock second;
    ASSERT_EQ(first.acquire(m_path, 0ms, "obg_manifestctl sync"), Result::Held);
    EXPECT_EQ(second.acquire(m_path, 0ms, "obg_manifestctl apply"), Result::Busy);
    EXPECT_EQ(second.error(),
              m_lockPath + " is held by process " + std::to_string(getpid()) + " (obg_manifestctl sync)");
}

TEST_F(FileLockTest, isFreeAgainWhenGivenBackAndTheFileStays)
{
    {
        FileLock first;
        ASSERT_EQ(first.acquire(m_path, 0ms, "a"), Result::Held);
    }
    EXPECT_EQ(readFile(m_lockPath), "");
    FileLock second;
    EXPECT_EQ(second.acquire(m_path, 0ms, "b"), Result::Held);
}

TEST_F(FileLockTest, whoWaitsGetsItWhenItIsGivenBack)
{
    FileLock first;
    ASSERT_EQ(first.acquire(m_path, 0ms, "a"), Result::Held);
    std::thread later([&first] {
        std::this_thread::sleep_for(100ms);
        first.release();
    });
    FileLock second;
    EXPECT_EQ(second.acquire(m_path, 20s, "b"), Result::Held);
    later.join();
}

TEST_F(FileLockTest, whoWaitsInVainGivesUpInTime)
{
    FileLock first;
    ASSERT_EQ(first.acquire(m_path, 0ms, "a"), Result::Held);
    const auto start = std::chrono::steady_clock::now();
    FileLock second;
    EXPECT_EQ(second.acquire(m_path, 150ms, "b"), Result::Busy);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 150ms);
}

TEST_F(FileLockTest, aKilledHolderFreesIt)
{
    const pid_t holder = fork();
    if (holder == 0) {
        FileLock held;
        _exit(held.acquire(m_path, 0ms, "killed") == Result::Held && raise(SIGKILL) == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(holder, &status, 0), holder);
    ASSERT_TRUE(WIFSIGNALED(status));
    FileLock next;
    EXPECT_EQ(next.acquire(m_path, 0ms, "next"), Result::Held);
    EXPECT_EQ(readFile(m_lockPath), std::to_string(getpid()) + " next\n");
}

TEST_F(FileLockTest, aLockFileThatWasTakenAwayIsMadeAgain)
{
    FileLock first;
    ASSERT_EQ(first.acquire(m_path, 0ms, "a"), Result::Held);
    first.release();
    fs::remove(m_lockPath);
    FileLock second;
    ASSERT_EQ(second.acquire(m_path, 0ms, "b"), Result::Held);
    FileLock third;
    EXPECT_EQ(third.acquire(m_path, 0ms, "c"), Result::Busy);
}

TEST_F(FileLockTest, isClosedToOthersWhateverTheUmask)
{
    const mode_t before = umask(0);
    FileLock lock;
    EXPECT_EQ(lock.acquire(m_path, 0ms, "a"), Result::Held);
    umask(before);
    struct stat is
    {};
    ASSERT_EQ(stat(m_lockPath.c_str(), &is), 0);
    EXPECT_EQ(is.st_mode & 07777, 0600U);
}

TEST_F(FileLockTest, doesNotFollowALinkThatSomebodyHasLaid)
{
    writeFile(m_path + ".victim", "untouched");
    fs::create_symlink(m_path + ".victim", m_lockPath);
    FileLock lock;
    EXPECT_EQ(lock.acquire(m_path, 0ms, "a"), Result::Failed);
    EXPECT_EQ(readFile(m_path + ".victim"), "untouched");
}

TEST_F(FileLockTest, doesNotWriteIntoAFileOfASecondName)
{
    writeFile(m_path + ".victim", "untouched");
    fs::create_hard_link(m_path + ".victim", m_lockPath);
    FileLock lock;
    EXPECT_EQ(lock.acquire(m_path, 0ms, "a"), Result::Failed);
    EXPECT_EQ(readFile(m_path + ".victim"), "untouched");
}

TEST_F(FileLockTest, refusesAPipe)
{
    ASSERT_EQ(mkfifo(m_lockPath.c_str(), 0666), 0);
    FileLock lock;
    EXPECT_EQ(lock.acquire(m_path, 0ms, "a"), Result::Failed);
    EXPECT_EQ(lock.error(), "cannot lock " + m_lockPath + ": not a plain file of one name");
}

TEST_F(FileLockTest, aMissingFolderIsSaidInWords)
{
    FileLock lock;
    EXPECT_EQ(lock.acquire("/opt/missing/store", 10s, "a"), Result::Failed);
    EXPECT_EQ(lock.error(), "cannot lock /opt/missing/store.lock: No such file or directory");
}

TEST_F(FileLockTest, aHolderThatLeftNoNameIsUnknown)
{
    FileLock first;
    ASSERT_EQ(first.acquire(m_path, 0ms, "a"), Result::Held);
    writeFile(m_lockPath, "");
    FileLock second;
    EXPECT_EQ(second.acquire(m_path, 0ms, "b"), Result::Busy);
    EXPECT_EQ(second.error(), m_lockPath + " is held by an unknown process");
}

} // namespace
