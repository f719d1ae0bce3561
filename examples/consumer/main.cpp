// What another component of the client asks the library: the platform, and what is installed on it.

#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Common/Utility/VersionCompare.h"
#include "vpn/Common/Utility/osverapi.h"

#include <iostream>

namespace {

void printStore(const char* root, eManifestDataPath which)
{
    const CInstalledManifestInfo store(which);
    std::cout << root << '\n';
    for (const auto& [fileId, version] : store.GetInstalledEntries())
        std::cout << "  " << fileId << ' ' << version << '\n';
}

} // namespace

int main()
{
    const Version current("", ".,"); // the zero version asks for the machine's own
    std::cout << "Operating system: " << GetFriendlyOSInfo(true, current) << '\n'
              << "Release: " << GetOsVersion().versionText << '\n'
              << "Local update version: " << CInstalledManifestInfo::GetLocalUpdateTxtVersion() << '\n'
              << "Legacy release: "
              << (CInstalledManifestInfo::IsInstalledVersionMarigoldOrEarlier() ? "installed" : "not installed")
              << '\n';
    printStore("/opt/orvanta/brightgate", eCurrentDataPath);
    printStore("/opt/orvanta/tessellink", eLegacyDataPath);
}
