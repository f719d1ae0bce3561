#pragma once

#include "ctl/LineIndex.h"
#include "ctl/LintRules.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// One fault of a manifest.
struct LintFinding
{
    Rule rule;
    TextPlace place;
    /// What is wrong, with the words of the manifest in it: any bytes.
    std::string message;
    /// The column of the place in characters of UTF-8, for formats that count those.
    std::size_t character = 1;
};

/// The faults that were found so far.
class LintReport
{
public:
    void add(Rule rule, TextPlace place, std::string message);

    /// All of them in the order of their places, which lie in `text`; none is left behind.
    std::vector<LintFinding> takeSorted(std::string_view text, const LineIndex& lines);

private:
    std::vector<LintFinding> m_findings;
};

/// A word of the manifest for a message: in quotation marks, and cut where it is long.
std::string quoted(std::string_view word);

} // namespace ctl
