#pragma once

#include "ctl/Invocation.h"

namespace CLI {
class App;
} // namespace CLI

namespace ctl {

/// Each adds one command, with its options, to the program; see Invocation.
void addApply(CLI::App& program, Invocation& invocation);
void addCheck(CLI::App& program, Invocation& invocation);
void addDiff(CLI::App& program, Invocation& invocation);
void addFacts(CLI::App& program, Invocation& invocation);
void addLint(CLI::App& program, Invocation& invocation);
void addList(CLI::App& program, Invocation& invocation);
void addPlan(CLI::App& program, Invocation& invocation);
void addSync(CLI::App& program, Invocation& invocation);
void addVerify(CLI::App& program, Invocation& invocation);

} // namespace ctl
