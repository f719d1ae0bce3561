#pragma once

#include <chrono>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <sys/resource.h>
#include <sys/types.h>

namespace obg::test {

/** One line of the standard-output log, taken apart. */
struct LogLine
{
    std::string time;
    std::string identity;
    pid_t pid = 0;
    std::string level;
    std::string message;

    bool operator==(const LogLine&) const = default;
};

/** Takes a line "TIME IDENTITY[PID]: [LEVEL] MESSAGE" apart. False, with LINE untouched, when it does not read so. */
bool parseLogLine(const std::string& text, LogLine& line);

/** How a program ended and what it wrote. */
struct ToolResult
{
    pid_t pid = 0;
    /** The exit status, or -1 when a signal ended the program. */
    int exitStatus = -1;
    /** The signal that ended the program, or 0. */
    int signal = 0;
    bool timedOut = false;
    std::string out;
    std::string err;

    /** Standard output as log lines. A line that does not parse, or is cut short, fails the test. */
    std::vector<LogLine> log() const;

    /** Each log line as "[LEVEL] MESSAGE". */
    std::vector<std::string> messages() const;
};

/**
 * Runs a program, by default the obg_manifesttool of this build, and waits for its end:
 *
 *     const ToolResult result = ToolRun({"-i", kCurrentRoot, manifest}).limit(RLIMIT_FSIZE, 0).run();
 *
 * The program sees this process's environment and the private machine. Standard input is empty. A program that cannot
 * be started fails the test.
 */
class ToolRun
{
public:
    explicit ToolRun(std::vector<std::string> arguments);

    /** Runs this program instead; PATH is searched. */
    ToolRun& program(std::string path);

    /** What the program is told as its own name instead of its path. */
    ToolRun& name(std::string argv0);

    /** Permission bits bind the program as they bind an ordinary user; see WithoutPrivileges. */
    ToolRun& withoutPrivileges();

    /** Sets soft and hard limit of RESOURCE (RLIMIT_AS, RLIMIT_FSIZE, ...). */
    ToolRun& limit(int resource, rlim_t value);

    /** Sets one variable of the environment. */
    ToolRun& environment(const std::string& variable, const std::string& value);

    /** Sets TZ, for example "XYZ-5:30" for five and a half hours east of UTC. */
    ToolRun& timeZone(const std::string& zone);

    /** Starts the program in this folder. */
    ToolRun& folder(std::string path);

    /** Starts the program with this folder as its root; the folders and paths given here are looked up there. */
    ToolRun& root(std::string path);

    /** The kernel refuses to mount anything or to make a namespace, as it does in a container. */
    ToolRun& withoutMounts();

    /** How long the program may take before it is killed and the test fails; 30 seconds when not set. */
    ToolRun& timeout(std::chrono::milliseconds limit);

    ToolResult run() const;

private:
    [[noreturn]] void execute(int out, int err) const;

    std::vector<std::string> m_arguments;
    std::string m_program;
    std::string m_name;
    std::string m_folder;
    std::string m_root;
    std::vector<std::pair<int, rlim_t>> m_limits;
    std::map<std::string, std::string> m_environment;
    std::chrono::milliseconds m_timeout{std::chrono::seconds{30}};
    bool m_withoutPrivileges = false;
    bool m_withoutMounts = false;
};

} // namespace obg::test
