#include "ctl/Manifest.h"

#include "ctl/Streams.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace ctl {

namespace {

/// 0, or why not even one byte can be read from the file. Waits for no writer of a pipe.
int reasonAgainstReading(const std::string& path)
{
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file == -1) {
        return errno;
    }
    char first = 0;
    ssize_t size = -1;
    do {
        size = read(file, &first, 1);
    } while (size == -1 && errno == EINTR);
    const int reason = size == -1 ? errno : 0;
    close(file);
    return reason;
}

} // namespace

std::optional<std::string> readManifest(const Place& place)
{
    const int reason = place.error != 0 ? place.error : reasonAgainstReading(place.actual);
    if (reason != 0) {
        complain("cannot read", place.shown, reason);
        return std::nullopt;
    }
    return CManifestInfo::readManifestFile(place.actual);
}

std::unique_ptr<const CManifestInfo> parseManifest(const std::string& text, const Options& options, Profiles profiles)
{
    CManifestInfo::Reading reading;
    reading.honourServiceType = profiles == Profiles::AsInstalled;
    reading.legacyRoot = options.isLegacy;
    bool isAccepted = false;
    std::unique_ptr<const CManifestInfo> manifest(
        new CManifestInfo(CManifestInfo::FromText(isAccepted, text, reading)));
    if (!isAccepted) {
        return nullptr;
    }
    return manifest;
}

std::unique_ptr<const CManifestInfo> acceptedManifest(const std::string& path, const Options& options)
{
    const std::optional<std::string> text = readManifest({path, path, 0});
    if (!text) {
        return nullptr;
    }
    auto manifest = parseManifest(*text, options, Profiles::AsTool);
    if (manifest == nullptr) {
        complain(path + " is rejected; see why with: obg_manifestctl lint " + path);
    }
    return manifest;
}

} // namespace ctl
