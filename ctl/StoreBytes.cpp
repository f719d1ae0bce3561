#include "ctl/StoreBytes.h"

#include <sstream>
#include <string>

namespace ctl {

CInstalledManifestInfo loadStore(std::string_view bytes)
{
    std::istringstream file{std::string(bytes)};
    return CInstalledManifestInfo::FromStream(file, {});
}

} // namespace ctl
