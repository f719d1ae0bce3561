#pragma once

#include <string>

namespace obg::test {

/** The obg_manifesttool of this build. */
std::string toolPath();

/** The root of the source tree. */
std::string sourceTree();

/** The folder of the example manifests. */
std::string examplesFolder();

} // namespace obg::test
