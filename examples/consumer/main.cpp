// What another component of the client asks the library: the platform, what is installed on it, and where the files of
// a manifest belong.

#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Common/Utility/VersionCompare.h"
#include "vpn/Common/Utility/osverapi.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <iostream>

namespace {

const char* wordOf(InstalledManifestState state)
{
    switch (state) {
    case InstalledManifestState::Absent:
        return "absent";
    case InstalledManifestState::Unreadable:
        return "unreadable";
    case InstalledManifestState::Unsupported:
        return "unsupported";
    case InstalledManifestState::Damaged:
        return "damaged";
    case InstalledManifestState::Good:
        break;
    }
    return "good";
}

void printStore(const CInstalledManifestInfo& store)
{
    std::cout << store.GetPath() << ": " << wordOf(store.GetState()) << '\n';
    for (const auto& entry : store.GetEntries())
        std::cout << "  " << entry.fileId << ' ' << entry.version << '\n';
}

void printProfile()
{
    const char* const text =
        "<vpn rev=\"1.0\"><file id=\"Site\" version=\"1\" type=\"profile\" service-type=\"tindra\">"
        "<uri>profiles/Site.xml</uri><hash type=\"sha1\">00</hash></file></vpn>";
    CManifestInfo::Reading reading;
    reading.honourServiceType = true;
    bool isAccepted = false;
    const CManifestInfo manifest = CManifestInfo::FromText(isAccepted, text, reading);
    std::cout << "Manifest: " << (isAccepted ? "accepted" : "rejected") << '\n';
    for (const ManifestFileInfo* file : manifest.getFileList())
        std::cout << "  " << file->id << " is " << file->destinationDirectory << file->resolvedFileName << '\n';
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
    printStore(CInstalledManifestInfo(eCurrentDataPath));
    printStore(CInstalledManifestInfo(eLegacyDataPath));
    printStore(CInstalledManifestInfo::AtPath("/opt/image/VPNManifest.dat"));
    printProfile();
}
