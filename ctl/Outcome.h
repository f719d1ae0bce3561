#pragma once

#include <string>

namespace ctl {

/// The exit statuses, the same for all commands.
enum class ExitStatus : int
{
    /// Done, nothing to report.
    Done = 0,
    /// Done, and there is something to report: a finding, a difference, no match.
    Something = 1,
    /// Not done: what stood on disk before stands there still.
    NotDone = 2,
};

/// How a command ended. Nothing is printed before the whole result is known: a command collects its text or its one
/// JSON document in `output`, and main writes that to standard output. Complaints have gone to standard error by then.
/// What a command that changes the disk has to tell goes through Delivery.
struct Outcome
{
    ExitStatus status = ExitStatus::Done;
    std::string output;
    /// The status when `output` cannot be written.
    ExitStatus unwritten = ExitStatus::NotDone;
};

} // namespace ctl
