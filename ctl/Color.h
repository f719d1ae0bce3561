#pragma once

#include "ctl/Options.h"

#include <string_view>

namespace ctl {

/// The sequences that change how text looks on a terminal; all empty when there is to be no colour.
struct Colors
{
    std::string_view error;
    std::string_view warning;
    std::string_view good;
    std::string_view strong;
    /// Back to plain text.
    std::string_view plain;
};

/// Colours for standard output: as `--color` says, else on a terminal without NO_COLOR only.
Colors colorsFor(const Options& options);

} // namespace ctl
