#pragma once

#include "ctl/Options.h"
#include "ctl/Outcome.h"
#include "ctl/SyncPlan.h"
#include "ctl/Waiting.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ctl {

struct SyncArguments
{
    /// The store is made from the manifests alone.
    bool isRebuild = false;
    /// Nothing is touched, and no lock is asked for.
    bool isDryRun = false;
    std::chrono::seconds patience = kPatience;
};

/// Something that is to be reported although all was done that could be.
struct SyncFinding
{
    std::string rule;
    std::optional<std::string> manifest;
    std::optional<std::string> id;
    std::string message;
};

/// What became of a run.
struct Synced
{
    ExitStatus status = ExitStatus::NotDone;
    /// Why it was not done, or what is not safe.
    std::vector<std::string> complaints;
    std::vector<SyncFinding> findings;
    /// Without changes when there was nothing to do.
    SyncPlan plan;
    bool isStoreChanged = false;
    /// Whether it outlasts a power cut.
    bool isSafe = true;
};

/// Is told once what will have been done, before the disk is changed; when it returns false nothing is.
using Deliver = std::function<bool(const Synced& planned)>;

/// Makes the chosen store hold what the installed manifests list. Complains of nothing itself: the locks have been
/// given back when there is something to complain of, as a terminal may be slow.
Synced runSync(const SyncArguments& arguments, const Options& options, const Deliver& deliver);

} // namespace ctl
