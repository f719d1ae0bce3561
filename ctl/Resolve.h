#pragma once

#include <string>
#include <string_view>

namespace ctl {

/// Follows the symbolic links in PATH as a process would whose root folder is ROOT. Returns ROOT and the path behind it
/// in which no link is left; from the first part on that does not exist or cannot be looked at, PATH stands as it is.
/// Empty when more links are met than the kernel follows.
std::string resolvedBelow(const std::string& root, std::string_view path);

} // namespace ctl
