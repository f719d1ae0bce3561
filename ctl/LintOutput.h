#pragma once

#include "ctl/Color.h"
#include "ctl/ManifestLint.h"

#include <string>
#include <vector>

namespace ctl {

/// A manifest that was looked at.
struct LintedManifest
{
    /// As the command line has it.
    std::string path;
    LintResult result;
};

/// A line for each finding, as compilers write it: FILE:LINE:COLUMN: error|warning: TEXT [rule].
std::string lintText(const std::vector<LintedManifest>& manifests, const Colors& colors);

/// The document obg-manifest-lint.
std::string lintJson(const std::vector<LintedManifest>& manifests);

/// A log of SARIF 2.1.0, which sites for code review read. `isComplete` is false when a manifest could not be opened.
std::string lintSarif(const std::vector<LintedManifest>& manifests, bool isComplete);

/// Why a rule is there and how to mend what breaks it.
std::string explainedText(const LintRule& rule);

/// The same as a document obg-manifest-lint.
std::string explainedJson(const LintRule& rule);

} // namespace ctl
