// Runs a program and says what it cost, in a process so small that the peak memory it reports is the program's own:
//
//     obg_bench_measure PROGRAM [ARGUMENT...]
//
// prints one line: CPU time in microseconds (user and system, children included), peak resident memory in bytes,
// exit status. The program's standard output goes to /dev/null.

#include <cstdio>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kCannotRun = 127;

long long microseconds(const timeval& time)
{
    return static_cast<long long>(time.tv_sec) * 1'000'000 + time.tv_usec;
}

[[noreturn]] void become(char** argv)
{
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (null >= 0) {
        dup2(null, STDOUT_FILENO);
        execvp(argv[0], argv);
    }
    std::perror(argv[0]);
    _exit(kCannotRun);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        return 2;
    }
    const pid_t child = fork();
    if (child == 0) {
        become(argv + 1);
    }
    int status = 0;
    rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) {
        std::perror("obg_bench_measure");
        return 1;
    }
    std::printf("%lld %lld %d\n", microseconds(usage.ru_utime) + microseconds(usage.ru_stime),
                static_cast<long long>(usage.ru_maxrss) * 1024, WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    return 0;
}
