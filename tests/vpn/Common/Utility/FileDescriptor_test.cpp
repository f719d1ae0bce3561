#include "vpn/Common/Utility/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

/** Both ends of a pipe, which the test hands on or closes. */
struct Pipe
{
    Pipe() { EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0); }
    int reading() const { return ends[0]; }
    int writing() const { return ends[1]; }

    std::array<int, 2> ends{};
};

bool isOpen(int number)
{
    return fcntl(number, F_GETFD) != -1;
}

/** Where the handler of SIGALRM writes a byte to. */
volatile std::sig_atomic_t s_wakes = -1;

/** Has a signal interrupt the call that is blocked by then; its handler writes a byte. */
class Alarm
{
public:
    explicit Alarm(int wakes)
    {
        s_wakes = wakes;
        struct sigaction action
        {};
        // Without SA_RESTART, so that the call that is interrupted fails.
        action.sa_handler = [](int) {
            if (::write(s_wakes, "!", 1) != 1) {
                std::abort();
            }
        };
        sigaction(SIGALRM, &action, &m_before);
        const itimerval soon{{0, 0}, {0, 20000}};
        setitimer(ITIMER_REAL, &soon, nullptr);
    }
    ~Alarm() { sigaction(SIGALRM, &m_before, nullptr); }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

private:
    struct sigaction m_before
    {};
};

/** Has every write of this thread return 0 from now on, without having written anything. */
void takeNothingOnThisThread()
{
    std::array<sock_filter, 4> filter{{
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, __NR_write},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
    }};
    const sock_fprog program{filter.size(), filter.data()};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

TEST(FileDescriptor, closesWhatItOwns)
{
    const Pipe pipe;
    {
        const FileDescriptor reading(pipe.reading());
        const FileDescriptor writing(pipe.writing());
        EXPECT_TRUE(reading.isOpen());
        EXPECT_TRUE(isOpen(pipe.reading()));
    }
    EXPECT_FALSE(isOpen(pipe.reading()));
    EXPECT_FALSE(isOpen(pipe.writing()));
}

TEST(FileDescriptor, handsWhatItOwnsOverToTheOneThatItIsMovedInto)
{
    const Pipe pipe;
    {
        FileDescriptor reading(pipe.reading());
        FileDescriptor second(std::move(reading));
        FileDescriptor third;
        EXPECT_FALSE(third.isOpen());
        third = std::move(second);
        EXPECT_EQ(third.number(), pipe.reading());
        EXPECT_TRUE(isOpen(pipe.reading()));
    }
    EXPECT_FALSE(isOpen(pipe.reading()));
    close(pipe.writing());
}

TEST(FileDescriptor, closesWhatAnotherOneIsMovedInPlaceOf)
{
    const Pipe pipe;
    FileDescriptor file(pipe.reading());
    file = FileDescriptor(pipe.writing());
    EXPECT_FALSE(isOpen(pipe.reading()));
    file.reset();
    EXPECT_FALSE(isOpen(pipe.writing()));
    EXPECT_FALSE(file.isOpen());
}

TEST(FileDescriptor, leavesWhatItHasReleasedOpen)
{
    const Pipe pipe;
    {
        FileDescriptor file(pipe.reading());
        EXPECT_EQ(file.release(), pipe.reading());
        EXPECT_FALSE(file.isOpen());
    }
    EXPECT_TRUE(isOpen(pipe.reading()));
    close(pipe.reading());
    close(pipe.writing());
}

TEST(FileDescriptor, ofAFailedOpenIsNotOpenAndNothingIsReadFromIt)
{
    const FileDescriptor none(open("/nonexistent/file", O_RDONLY));
    EXPECT_FALSE(none.isOpen());
    char byte = 0;
    EXPECT_EQ(none.read(&byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(FileDescriptor, readsWhatIsThereAndThenTheEnd)
{
    const Pipe pipe;
    const FileDescriptor reading(pipe.reading());
    {
        const FileDescriptor writing(pipe.writing());
        EXPECT_TRUE(writing.write("five!"));
    }
    std::array<char, 8> bytes{};
    EXPECT_EQ(reading.read(bytes.data(), 3), 3);
    EXPECT_EQ(reading.read(bytes.data() + 3, 5), 2);
    EXPECT_STREQ(bytes.data(), "five!");
    EXPECT_EQ(reading.read(bytes.data(), 8), 0);
}

TEST(FileDescriptor, writesAllOfWhatOneCallTakesOnlyInPart)
{
    // More than a pipe holds, so that writing goes on when it is read.
    const std::string text(1'000'000, 'x');
    const Pipe pipe;
    std::string received;
    std::thread reader([&] {
        const FileDescriptor reading(pipe.reading());
        std::array<char, 4096> block{};
        for (long count = 1; count > 0;) {
            count = reading.read(block.data(), block.size());
            received.append(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        }
    });
    {
        const FileDescriptor writing(pipe.writing());
        EXPECT_TRUE(writing.write(text));
    }
    reader.join();
    EXPECT_EQ(received, text);
}

TEST(FileDescriptor, leavesTheErrnoOfAWriteThatFailedBehindItsFirstPart)
{
    const Pipe pipe;
    const FileDescriptor reading(pipe.reading());
    const FileDescriptor writing(pipe.writing());
    ASSERT_EQ(fcntl(pipe.writing(), F_SETFL, O_NONBLOCK), 0);
    errno = 0;
    EXPECT_FALSE(writing.write(std::string(1'000'000, 'x')));
    EXPECT_EQ(errno, EAGAIN);
}

TEST(FileDescriptor, givesUpAWriteThatNothingComesOf)
{
    const Pipe pipe;
    const FileDescriptor reading(pipe.reading());
    const FileDescriptor writing(pipe.writing());
    bool isWritten = true;
    std::thread writer([&] {
        takeNothingOnThisThread();
        isWritten = writing.write("lost");
    });
    writer.join();
    EXPECT_FALSE(isWritten);
}

TEST(FileDescriptor, writesIntoAFileOfSomebodyElseAndLeavesItOpen)
{
    const Pipe pipe;
    const FileDescriptor reading(pipe.reading());
    const FileDescriptor writing(pipe.writing());
    EXPECT_TRUE(FileDescriptor::write(pipe.writing(), "six"));
    std::array<char, 4> bytes{};
    EXPECT_EQ(reading.read(bytes.data(), 3), 3);
    EXPECT_STREQ(bytes.data(), "six");
    EXPECT_TRUE(isOpen(pipe.writing()));
}

TEST(FileDescriptor, repeatsAReadThatASignalInterrupted)
{
    const Pipe pipe;
    const FileDescriptor reading(pipe.reading());
    const FileDescriptor writing(pipe.writing());
    const Alarm alarm(pipe.writing());
    char byte = 0;
    EXPECT_EQ(reading.read(&byte, 1), 1);
    EXPECT_EQ(byte, '!');
}

} // namespace
