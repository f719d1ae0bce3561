#pragma once

#include "ctl/Paths.h"

#include <string>

namespace ctl {

/// A file that was read whole.
struct FileBytes
{
    std::string bytes;
    /// 0, or why the file could not be opened or read; ENOENT when it is not there.
    int error = 0;
};

/// Reads a regular file, or all that comes through a pipe. Takes no more memory than was read, whatever size the file
/// claims to have.
FileBytes readFile(const Place& place);

/// As readFile, but waits for nothing: what is no regular file is an error.
FileBytes readRegularFile(const Place& place);

} // namespace ctl
