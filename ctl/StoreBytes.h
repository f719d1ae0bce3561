#pragma once

#include "vpn/Common/InstalledManifestInfo.h"

#include <string_view>

namespace ctl {

/// The store in the bytes of a file, as the tool loads it. It is not to be written.
CInstalledManifestInfo loadStore(std::string_view bytes);

} // namespace ctl
