#include "ctl/CommandLine.h"
#include "ctl/Commands.h"
#include "ctl/Streams.h"

#include <array>
#include <cerrno>
#include <exception>

using namespace ctl; // NOLINT(google-build-using-namespace): this is the program that the namespace is about

namespace {

/// In the order in which --help lists them.
constexpr std::array kCommands{addList, addCheck, addDiff, addLint, addPlan, addVerify, addFacts, addApply, addSync};

Outcome outcomeOf(int argc, char** argv)
{
    CommandLine commandLine;
    for (const auto add : kCommands) {
        add(commandLine);
    }
    return commandLine.run(argc, argv);
}

} // namespace

int main(int argc, char* argv[])
{
    holdStandardStreams();
    ignoreSignalsOfWrites();
    try {
        const Outcome outcome = outcomeOf(argc, argv);
        if (writeResult(outcome.output)) {
            return static_cast<int>(outcome.status);
        }
        complain("cannot write to", "standard output", errno);
        return static_cast<int>(outcome.unwritten);
    } catch (const std::exception& error) {
        complain(error.what());
    }
    return static_cast<int>(ExitStatus::NotDone);
}
