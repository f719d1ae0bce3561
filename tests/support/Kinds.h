#pragma once

#include <algorithm>
#include <cstdint>

#include "vpn/Common/ManifestFileType.h"

namespace obg::test {

/** The number behind those of all kinds of file, which none has until the next one gets it. */
constexpr std::uint32_t numberBehindAllKinds()
{
    std::uint32_t highest = 0;
    for (const FileKind& kind : kFileKinds) {
        highest = std::max<std::uint32_t>(highest, kind.type);
    }
    return highest + 1;
}

} // namespace obg::test
