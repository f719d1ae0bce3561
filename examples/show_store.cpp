// Prints what the two stores of this machine hold, one line an entry: file id, kind, version.

#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <cstdio>
#include <string>

namespace {

std::string wordOf(ManifestFileType type)
{
    for (const auto& [word, known] : CManifestInfo::ms_mapStringToType) {
        if (known == type) {
            return word;
        }
    }
    return std::to_string(type);
}

void show(const char* root, eManifestDataPath which)
{
    const CInstalledManifestInfo store(which);
    const auto entries = store.GetInstalledEntries();
    if (entries.empty()) {
        return;
    }
    std::printf("%s\n", root);
    for (const auto& [id, version] : entries) {
        std::printf("  %-20s %-8s %s\n", id.c_str(), wordOf(store.GetInstalledType(id)).c_str(), version.c_str());
    }
}

} // namespace

int main()
{
    show("/opt/orvanta/brightgate", eCurrentDataPath);
    show("/opt/orvanta/tessellink", eLegacyDataPath);
}
