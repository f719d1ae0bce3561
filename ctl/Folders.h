#pragma once

#include <string>

namespace ctl {

/// Makes a folder and those above it that are missing, and brings their names to the disk. Returns 0 or an errno.
int makeFolder(const std::string& path);

/// True when nothing stands at the path. Where that cannot be told it is false.
bool isMissing(const std::string& path);

/// The path behind the current folder, unless it is absolute itself.
std::string absolutePath(const std::string& path);

} // namespace ctl
