#pragma once

#include "ctl/Options.h"
#include "ctl/Outcome.h"

#include <functional>

namespace ctl {

/// What the command line asks for. Each command registers itself by one function
///
///     void addNAME(CLI::App& program, Invocation& invocation);
///
/// which stands in the table in main.cpp, adds a subcommand with its options, and gives it a callback that sets `run`.
struct Invocation
{
    Options options;
    /// The command that was chosen. Called once, after all arguments have been understood.
    std::function<Outcome(const Options& options)> run;
    /// True when the chosen command knows the format `sarif`.
    bool takesSarif = false;
};

} // namespace ctl
