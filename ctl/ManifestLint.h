#pragma once

#include "ctl/LintReport.h"

#include <string_view>
#include <vector>

namespace ctl {

/// What is to be said of one manifest.
struct LintResult
{
    /// The tool's own verdict, asked of its parser. False exactly when a finding is of a rule that rejects.
    bool isAccepted = false;
    /// In the order of their places; every place lies in the manifest or directly behind it.
    std::vector<LintFinding> findings;
};

/// Finds every fault of a manifest at once, given all bytes of its file. In one that is not well-formed only that and
/// what was seen before the XML parser gave up can be found.
///
/// Not to be called while a log is installed or other threads log: it listens to the log for what the XML parser says.
LintResult lintManifest(std::string_view bytes);

} // namespace ctl
