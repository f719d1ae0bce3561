#include "vpn/Common/InstalledManifestInfo.h"

#include "vpn/Common/InstallRoots.h"
#include "vpn/Common/Utility/StringUtils.h"

#include <algorithm>
#include <fstream>

bool CInstalledManifestInfo::IsInstalledVersionMarigoldOrEarlier()
{
    // The version itself is not compared: later releases do not record their core in the legacy store at all.
    return !CInstalledManifestInfo(eLegacyDataPath).GetInstalledVersion("VPNCore").empty();
}

std::string CInstalledManifestInfo::GetLocalUpdateTxtVersion()
{
    std::ifstream file(std::string(InstallRoot::Current) + "/update.txt");
    std::string line;
    if (!std::getline(file, line)) {
        return {};
    }
    std::replace(line.begin(), line.end(), ',', '.');
    return CStringUtils::removeLeadingAndTrailingWhitespaces(line.c_str());
}
