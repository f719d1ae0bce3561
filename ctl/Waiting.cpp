#include "ctl/Waiting.h"

#include "ctl/CommandLine.h"

namespace ctl {

namespace {

/// More than anybody waits, and little enough to be counted in any unit.
constexpr std::chrono::seconds kAYear{31'536'000};

} // namespace

void addWait(Command& command, std::chrono::seconds& patience)
{
    command.addSeconds("--wait", patience, kAYear,
                       "How long to wait for another run that changes the store; 60 unless it is given");
}

} // namespace ctl
