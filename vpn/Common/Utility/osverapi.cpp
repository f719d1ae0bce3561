#include "vpn/Common/Utility/osverapi.h"

#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/Utility/safe_string.h"
#include "vpn/Common/Utility/sysutils.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <optional>

#include <sys/utsname.h>

namespace {

enum PlatformType : std::uint32_t
{
    kPlatformUnknown = 0,
    kPlatformWindowsFirst = 1,
    kPlatformWindowsNt = 3,
    kPlatformWindowsLast = 4,
    kPlatformLinux = 6,
    kPlatformSolaris = 7,
};

constexpr const char* kOsRelease = "/etc/os-release";
constexpr std::array kReleaseFiles{kOsRelease, "/proc/version", "/etc/issue"};
constexpr const char* kVersionSeparators = ".,";

Version zeroVersion()
{
    return {"", kVersionSeparators};
}

/// What getOSIDValue finds; nothing when it finds none.
std::optional<std::string> valueOf(const std::string& text, const std::string& key)
{
    const std::size_t hit = text.find(key + "=");
    const std::size_t begin = hit + key.size() + 1;
    if (hit == std::string::npos || begin == text.size()) {
        return std::nullopt;
    }
    if (text[begin] == '"') {
        const std::size_t quote = text.find('"', begin + 1);
        if (quote == std::string::npos) {
            return std::nullopt;
        }
        return text.substr(begin + 1, quote - begin - 1);
    }
    // The first character belongs to the value whatever it is, and the last one of the text never does: readers of
    // these values have always got them so.
    const std::size_t last = text.size() - 1;
    if (begin == last) {
        return std::nullopt;
    }
    std::size_t end = begin + 1;
    while (end < last && std::isprint(static_cast<unsigned char>(text[end])) != 0) {
        ++end;
    }
    return text.substr(begin, end - begin);
}

/// What can be read of the file: all of it, unless reading fails before its end.
std::string contentsOf(std::ifstream& file)
{
    // Byte by byte: a read of many that fails half way does not tell how many it got.
    std::string text;
    for (char byte = 0; file.get(byte);) {
        text += byte;
    }
    return text;
}

/// The whole of /etc/os-release, or else the first line of the release file that there is. A file that holds nothing
/// is an answer; one that is missing or cannot be opened is none.
bool getLinuxDistributionInfo(std::string& text)
{
    text.clear();
    const auto path = std::find_if(kReleaseFiles.begin(), kReleaseFiles.end(), fileExists);
    if (path == kReleaseFiles.end()) {
        return false;
    }
    std::ifstream file(*path);
    if (!file.is_open()) {
        return false;
    }
    if (*path == kOsRelease) {
        text = contentsOf(file);
        return true;
    }
    std::string line;
    if (!std::getline(file, line) && !file.eof()) {
        return false;
    }
    text = line.c_str();
    return true;
}

/// The distribution's text in lower case, byte by byte; empty when there is none.
bool getLowerCaseDistributionInfo(std::string& text)
{
    if (!getLinuxDistributionInfo(text)) {
        return false;
    }
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return true;
}

bool distributionMentions(const char* name)
{
    std::string text;
    return getLowerCaseDistributionInfo(text) && text.find(name) != std::string::npos;
}

bool nameAndVersion(std::string& name, std::string& version)
{
    std::string text;
    return getLinuxDistributionInfo(text) && getOSIDValue(text, "NAME", name) && getOSIDValue(text, "VERSION", version);
}

std::uint32_t platformType()
{
    return GetOsVersion().platformType;
}

} // namespace

bool getOSIDValue(const std::string& text, const std::string& key, std::string& value)
{
    if (text.empty() || key.empty()) {
        return false;
    }
    // Assigned at last, because `value` may be the text or the key.
    const std::optional<std::string> found = valueOf(text, key);
    value = found.value_or("");
    return found.has_value();
}

OSVersionInfo GetOsVersion()
{
    OSVersionInfo info{};
    info.platformType = kPlatformLinux;
    safe_strlcpyA(info.platformName, "Linux", sizeof info.platformName);

    std::string name;
    std::string version;
    utsname system{};
    if (nameAndVersion(name, version)) {
        safe_snprintfA(info.versionText, sizeof info.versionText, "%s %s", name.c_str(), version.c_str());
    } else if (uname(&system) == 0) {
        safe_snprintfA(info.versionText, sizeof info.versionText, "%s %s %s %s", system.sysname, system.release,
                       system.version, system.machine);
    } else {
        safe_strlcpyA(info.versionText, "Unknown", sizeof info.versionText);
    }
    return info;
}

Version GetOsVersionID()
{
    // Asked first on every platform, though its answer does not count here.
    GetOsVersion();
    std::string text;
    std::string value;
    if (getLowerCaseDistributionInfo(text) && getOSIDValue(text, "version_id", value)) {
        return {value, kVersionSeparators};
    }
    return zeroVersion();
}

std::string GetFriendlyOSInfo(const bool& useCurrent, const Version& version)
{
    const Version zero = zeroVersion();
    const bool isGiven = version.compare(zero) != 0;
    const Version shown = isGiven || !useCurrent ? version : GetOsVersionID();

    std::string label = "Linux";
    if (IsOs_LINUX_Ubuntu()) {
        label = "Ubuntu";
    } else if (IsOs_LINUX_RedHat()) {
        label = "RHEL";
    }
    if (shown.compare(zero) != 0) {
        label.append(" ").append(shown.ToString(0, "."));
    }
    return label;
}

void GetOs_PlatformTypeString(char* buffer, unsigned int size)
{
    safe_strlcpyA(buffer, GetOsVersion().platformName, size);
}

void GetOs_PlatformVersionString(char* buffer, unsigned int size)
{
    safe_strlcpyA(buffer, GetOsVersion().versionText, size);
}

bool IsOs_LINUX_Ubuntu()
{
    return distributionMentions("ubuntu");
}

bool IsOs_LINUX_RedHat()
{
    return distributionMentions("red hat");
}

bool IsOs_LINUX_RedHat_7_Only()
{
    return IsOs_LINUX_RedHat() && GetOsVersionID().HaveCommonPrefix(Version("7", "."));
}

bool IsOs_LINUX_Ubuntu_1804_OrGreater()
{
    return IsOs_LINUX_Ubuntu() && GetOsVersionID().compare(Version("18.04", ".")) >= 0;
}

bool IsOs_UNKNOWN()
{
    return platformType() == kPlatformUnknown;
}

bool IsOs_WIN32()
{
    const std::uint32_t type = platformType();
    return type >= kPlatformWindowsFirst && type <= kPlatformWindowsLast;
}

bool IsOs_WINNT_2000()
{
    const OSVersionInfo info = GetOsVersion();
    return info.platformType == kPlatformWindowsNt && info.majorVersion > 4;
}

bool IsOs_WINNT_2000_Only()
{
    const OSVersionInfo info = GetOsVersion();
    return info.platformType == kPlatformWindowsNt && info.majorVersion == 5 && info.minorVersion == 0;
}

bool IsOs_LINUX()
{
    return platformType() == kPlatformLinux;
}

bool IsOs_SOLARIS()
{
    return platformType() == kPlatformSolaris;
}

bool IsOs_PalmWebOS()
{
    struct stat info
    {};
    return IsOs_LINUX() && stat("/proc/nduid", &info) == 0;
}

bool IsOsType_Mobile()
{
    return IsOs_PalmWebOS() || IsOs_AppleIOS() || IsOs_Android() || IsOs_ChromeOS() || IsOs_WindowsPhone();
}
