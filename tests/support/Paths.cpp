#include "tests/support/Paths.h"

namespace obg::test {

std::string toolPath()
{
    return OBG_TEST_TOOL;
}

std::string sourceTree()
{
    return OBG_TEST_SOURCE_TREE;
}

std::string examplesFolder()
{
    return sourceTree() + "/examples";
}

} // namespace obg::test
