#pragma once

#include <chrono>

namespace ctl {

class Command;

/// How long a command waits for a lock that another one holds.
constexpr std::chrono::seconds kPatience{60};

/// Adds `--wait SECONDS` to a command that changes the store.
void addWait(Command& command, std::chrono::seconds& patience);

} // namespace ctl
