#pragma once

namespace ctl {

class CommandLine;

/// Each adds one command with its options.
void addApply(CommandLine& commandLine);
void addCheck(CommandLine& commandLine);
void addDiff(CommandLine& commandLine);
void addFacts(CommandLine& commandLine);
void addLint(CommandLine& commandLine);
void addList(CommandLine& commandLine);
void addPlan(CommandLine& commandLine);
void addSync(CommandLine& commandLine);
void addVerify(CommandLine& commandLine);

} // namespace ctl
