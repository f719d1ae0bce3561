#pragma once

#include <string>

namespace ctl {

enum class Format
{
    Text,
    Json,
    Sarif,
};

enum class ColorChoice
{
    Auto,
    Always,
    Never,
};

/// What stands before the command on the command line; it means the same for every command.
struct Options
{
    /// `--root`: the folder below which the whole machine is looked up; empty for this machine.
    std::string root;
    /// `--legacy`: the store of the legacy install root is meant.
    bool isLegacy = false;
    /// `--store`: the store file, not looked up below the root; empty when it was not given.
    std::string store;
    Format format = Format::Text;
    ColorChoice color = ColorChoice::Auto;
};

} // namespace ctl
