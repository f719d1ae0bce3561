#include "ctl/Waiting.h"

#include <CLI/CLI.hpp>

namespace ctl {

namespace {

/// More than anybody waits, and little enough to be counted in any unit.
constexpr long kAYear = 31'536'000;

} // namespace

void addWait(CLI::App& command, std::chrono::seconds& patience)
{
    command
        .add_option_function<long>(
            "--wait", [&patience](const long& seconds) { patience = std::chrono::seconds(seconds); },
            "How long to wait for another run that changes the store; 60 unless it is given")
        ->check(CLI::Range(0L, kAYear))
        ->option_text("SECONDS");
}

} // namespace ctl
