#include "ctl/CommandLine.h"
#include "ctl/Commands.h"
#include "ctl/Invocation.h"
#include "ctl/Streams.h"

#include <CLI/CLI.hpp>

#include <array>
#include <cerrno>
#include <exception>
#include <sstream>
#include <utility>
#include <vector>

using namespace ctl; // NOLINT(google-build-using-namespace): this is the program that the namespace is about

namespace {

/// Adds an option that takes one of these words.
template <typename Value>
void addChoice(CLI::App& program, const std::string& name, Value& value,
               const std::vector<std::pair<std::string, Value>>& choices, const std::string& description)
{
    std::string words;
    std::string separated;
    for (const auto& [word, meaning] : choices) {
        words += (words.empty() ? "" : "|") + word;
        separated += (separated.empty() ? "" : ", ") + word;
    }
    const auto take = [&value, choices, name, separated](const CLI::results_t& results) {
        for (const auto& [word, meaning] : choices) {
            if (word == results.back()) {
                value = meaning;
                return true;
            }
        }
        throw CLI::ValidationError(name, "it is one of " + separated);
    };
    program.add_option(name, take, description)->option_text(words);
}

/// In the order in which --help lists them.
constexpr std::array kCommands{addList, addCheck, addDiff, addLint, addPlan, addVerify, addFacts, addApply, addSync};

void addOptions(CLI::App& program, Options& options)
{
    addText(program, "--root", options.root, "Look up the whole machine below DIR")->option_text("DIR");
    CLI::Option* legacy = program.add_flag("--legacy", options.isLegacy, "The store of the legacy install root");
    addText(program, "--store", options.store, "This store file, not looked up below the root")
        ->option_text("FILE")
        ->excludes(legacy);
    addChoice<Format>(program, "--format", options.format,
                      {{"text", Format::Text}, {"json", Format::Json}, {"sarif", Format::Sarif}},
                      "text unless it is given; sarif with lint alone");
    addChoice<ColorChoice>(
        program, "--color", options.color,
        {{"auto", ColorChoice::Auto}, {"always", ColorChoice::Always}, {"never", ColorChoice::Never}},
        "auto unless it is given");
}

std::string faultOf(const CLI::App& program, const CLI::ParseError& error)
{
    const bool lacksCommand = program.get_subcommands().empty() && error.get_name() == "RequiredError";
    if (!lacksCommand) {
        return error.what();
    }
    const std::vector<std::string> others = program.remaining();
    if (others.empty()) {
        return "a command is required";
    }
    return (others.front().starts_with('-') ? "there is no option " : "there is no command ") +
           unguarded(others.front());
}

/// How the program ends when the arguments ask for nothing that can be run: help, the version, or a mistake.
Outcome answerOf(const CLI::App& program, const CLI::ParseError& error)
{
    std::ostringstream answer;
    std::ostringstream ignored;
    if (program.exit(error, answer, ignored) == 0) {
        return {ExitStatus::Done, answer.str()};
    }
    complain(faultOf(program, error));
    complain("try obg_manifestctl --help");
    return {ExitStatus::NotDone, {}};
}

Outcome outcomeOf(int argc, char** argv)
{
    Invocation invocation;
    CLI::App program(
        "See what is recorded in the installed-manifest store, what a run of obg_manifesttool would do, and "
        "what is wrong; change the store safely.",
        "obg_manifestctl");
    program.set_version_flag("--version", "obg_manifestctl " OBG_VERSION);
    program.require_subcommand(1);
    program.fallthrough();
    addOptions(program, invocation.options);
    for (const auto add : kCommands) {
        add(program, invocation);
    }
    try {
        program.parse(guardedArguments(argc, argv));
    } catch (const CLI::ParseError& error) {
        return answerOf(program, error);
    }
    if (invocation.options.format == Format::Sarif && !invocation.takesSarif) {
        complain("the format sarif is for lint alone");
        return {ExitStatus::NotDone, {}};
    }
    return invocation.run(invocation.options);
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
