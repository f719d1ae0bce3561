#include "tests/support/ToolRun.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/Paths.h"
#include "tests/support/Privileges.h"

namespace obg::test {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kNotStarted = 127;

/** The reading end of a pipe from the child, and what came through it. */
struct Channel
{
    int fd;
    std::string* text;
};

int millisecondsUntil(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

/** Takes what is there to read. False at the end of the stream. */
bool drain(const Channel& channel)
{
    std::array<char, 65536> chunk;
    const ssize_t got = read(channel.fd, chunk.data(), chunk.size());
    if (got > 0) {
        channel.text->append(chunk.data(), static_cast<std::size_t>(got));
    }
    return got > 0 || (got < 0 && errno == EINTR);
}

/** Collects both streams until the child has closed them. False when the deadline comes first. */
bool collect(std::array<Channel, 2> channels, Clock::time_point deadline)
{
    std::array<pollfd, 2> polled{pollfd{channels[0].fd, POLLIN, 0}, pollfd{channels[1].fd, POLLIN, 0}};
    while (polled[0].fd >= 0 || polled[1].fd >= 0) {
        const int ready = poll(polled.data(), polled.size(), millisecondsUntil(deadline));
        if (ready == 0) {
            return false;
        }
        for (std::size_t i = 0; ready > 0 && i < channels.size(); ++i) {
            if (polled[i].revents != 0 && !drain(channels[i])) {
                polled[i].fd = -1;
            }
        }
    }
    return true;
}

} // namespace

bool parseLogLine(const std::string& text, LogLine& line)
{
    static const std::regex form(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d) (\S*)\[(\d+)\]: \[([A-Z]+)\] )");
    std::smatch head;
    if (!std::regex_search(text, head, form, std::regex_constants::match_continuous)) {
        return false;
    }
    line = {head[1], head[2], static_cast<pid_t>(std::strtol(head[3].str().c_str(), nullptr, 10)), head[4],
            head.suffix()};
    return true;
}

std::vector<LogLine> ToolResult::log() const
{
    EXPECT_TRUE(out.empty() || out.back() == '\n') << "the last line is cut short: " << out;
    std::vector<LogLine> lines;
    std::istringstream stream(out);
    for (std::string text; std::getline(stream, text);) {
        LogLine line;
        if (parseLogLine(text, line)) {
            lines.push_back(line);
        } else {
            ADD_FAILURE() << "not a log line: " << text;
        }
    }
    return lines;
}

std::vector<std::string> ToolResult::messages() const
{
    std::vector<std::string> texts;
    for (const LogLine& line : log()) {
        texts.push_back("[" + line.level + "] " + line.message);
    }
    return texts;
}

ToolRun::ToolRun(std::vector<std::string> arguments)
    : m_arguments(std::move(arguments)), m_program(toolPath()), m_name(m_program)
{}

ToolRun& ToolRun::program(std::string path)
{
    m_program = std::move(path);
    m_name = m_program;
    return *this;
}

ToolRun& ToolRun::name(std::string argv0)
{
    m_name = std::move(argv0);
    return *this;
}

ToolRun& ToolRun::withoutPrivileges()
{
    m_withoutPrivileges = true;
    return *this;
}

ToolRun& ToolRun::limit(int resource, rlim_t value)
{
    m_limits.emplace_back(resource, value);
    return *this;
}

ToolRun& ToolRun::environment(const std::string& variable, const std::string& value)
{
    m_environment[variable] = value;
    return *this;
}

ToolRun& ToolRun::timeZone(const std::string& zone)
{
    return environment("TZ", zone);
}

ToolRun& ToolRun::folder(std::string path)
{
    m_folder = std::move(path);
    return *this;
}

ToolRun& ToolRun::root(std::string path)
{
    m_root = std::move(path);
    return *this;
}

ToolRun& ToolRun::withoutMounts()
{
    m_withoutMounts = true;
    return *this;
}

ToolRun& ToolRun::timeout(std::chrono::milliseconds limit)
{
    m_timeout = limit;
    return *this;
}

void ToolRun::execute(int out, int err) const
{
    std::vector<char*> argv{const_cast<char*>(m_name.c_str())};
    for (const std::string& argument : m_arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    for (const auto& [variable, value] : m_environment) {
        setenv(variable.c_str(), value.c_str(), 1);
    }

    bool ready = dup2(open("/dev/null", O_RDONLY), STDIN_FILENO) >= 0 && dup2(out, STDOUT_FILENO) >= 0 &&
                 dup2(err, STDERR_FILENO) >= 0;
    ready = ready && (m_root.empty() || (chroot(m_root.c_str()) == 0 && chdir("/") == 0));
    ready = ready && (m_folder.empty() || chdir(m_folder.c_str()) == 0);
    for (const auto& [resource, value] : m_limits) {
        const rlimit both{value, value};
        ready = ready && setrlimit(static_cast<__rlimit_resource_t>(resource), &both) == 0;
    }
    ready = ready && (!m_withoutPrivileges || dropPrivilegesForGood());
    ready = ready && (!m_withoutMounts || refuseMountsForGood());
    if (ready) {
        execvp(m_program.c_str(), argv.data());
    }
    dprintf(STDERR_FILENO, "cannot start %s: %s\n", m_program.c_str(), std::strerror(errno));
    _exit(kNotStarted);
}

ToolResult ToolRun::run() const
{
    ToolResult result;
    std::array<int, 2> out{};
    std::array<int, 2> err{};
    if (pipe2(out.data(), O_CLOEXEC) != 0 || pipe2(err.data(), O_CLOEXEC) != 0) {
        ADD_FAILURE() << "cannot make a pipe: " << std::strerror(errno);
        return result;
    }
    result.pid = fork();
    if (result.pid == 0) {
        execute(out[1], err[1]);
    }
    close(out[1]);
    close(err[1]);

    result.timedOut = !collect({Channel{out[0], &result.out}, Channel{err[0], &result.err}}, Clock::now() + m_timeout);
    if (result.timedOut) {
        ADD_FAILURE() << m_program << " did not end in " << m_timeout.count() << " ms";
        kill(result.pid, SIGKILL);
    }
    close(out[0]);
    close(err[0]);

    int status = 0;
    while (waitpid(result.pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    EXPECT_NE(result.exitStatus, kNotStarted) << result.err;
    return result;
}

} // namespace obg::test
