#pragma once

#include "vpn/Common/Utility/VersionCompare.h"

#include <cstdint>
#include <string>

// Which operating system, distribution and release this is. The same questions exist on other platforms; on Linux most
// of them answer false by construction. The answers come from the first of /etc/os-release, /proc/version and
// /etc/issue that exists, read anew by every call: there is no state, so all may be called from several threads at
// once. Only the test whether a release file exists logs, and only when it fails for another reason than absence; a
// file that is missing or cannot be opened is a false answer or an empty value. The capitalisation of the names (IsOs_
// and IsOS_) is part of the interface.

/// What GetOsVersion tells of the platform.
struct OSVersionInfo
{
    /// 0 unknown, 1 to 4 the Windows family (3 its NT line), 6 Linux, 7 Solaris.
    std::uint32_t platformType;
    std::uint32_t majorVersion;
    std::uint32_t minorVersion;
    /// 0 on Linux.
    std::uint32_t reserved;
    char platformName[64];
    /// For people to read.
    char versionText[256];
};

/// Looks up `key` in the text of a release file and puts what follows its "=" into `value`: a quoted text without its
/// quotes, or else everything printable from there on. Returns false, with `value` empty (unchanged when `text` or
/// `key` is empty), when there is none or a quote is not closed.
///
/// The key is found anywhere, also inside a longer one: the ID of a text that names VERSION_ID first is that version.
/// An unquoted value's first character is taken whatever it is, a line feed too, and the text's last character never.
/// `value` may be `text` or `key` itself.
bool getOSIDValue(const std::string& text, const std::string& key, std::string& value);

/// The platform: name and version as the release file states them, or what uname says, or "Unknown".
OSVersionInfo GetOsVersion();

/// The distribution's release number; the single number 0 when there is none.
Version GetOsVersionID();

/// A short label: Ubuntu, RHEL or Linux, and the version, such as "Ubuntu 22.4". A `version` equal to 0 stands for the
/// running release when `useCurrent` is true and for no version otherwise.
std::string GetFriendlyOSInfo(const bool& useCurrent, const Version& version);

/// Copy the platform's name or version text into `buffer` of `size` bytes, cutting what does not fit.
void GetOs_PlatformTypeString(char* buffer, unsigned int size);
void GetOs_PlatformVersionString(char* buffer, unsigned int size);

/// The distribution: any mention of "ubuntu" or "red hat" in the release file counts, in whatever letter case.
bool IsOs_LINUX_Ubuntu();
bool IsOs_LINUX_RedHat();
bool IsOs_LINUX_RedHat_7_Only();
bool IsOs_LINUX_Ubuntu_1804_OrGreater();

/// The platform type.
bool IsOs_UNKNOWN();
bool IsOs_WIN32();
bool IsOs_WINNT_2000();
bool IsOs_WINNT_2000_Only();
bool IsOs_LINUX();
bool IsOs_SOLARIS();

/// Linux with the marker /proc/nduid.
bool IsOs_PalmWebOS();

/// Any of IsOs_PalmWebOS, IsOs_AppleIOS, IsOs_Android, IsOs_ChromeOS, IsOs_WindowsPhone.
bool IsOsType_Mobile();

/// Questions of other platforms: always false on Linux.
bool CheckOsVersion(unsigned char major, unsigned char minor);
bool IsOs_WINNT_XP();
bool IsOs_WINNT_XP_Only();
bool IsOs_WINNT_XP_HomeEdition();
bool IsOs_WINNT_2K3_Only();
bool IsOs_Wow64();
bool IsOs_Wow64_ARM64();
bool IsOs_WIN_VISTA();
bool IsOs_WIN_VISTA_Only();
bool IsOs_WIN_7();
bool IsOs_WIN_7_Only();
bool IsOs_WIN_7_SP1();
bool IsOs_WIN_8();
bool IsOs_WIN_8_Only();
bool IsOs_WIN_8Point10();
bool IsOs_WIN_8Point10_Only();
bool IsOs_WIN_10();
bool IsOs_WIN_10_Only();
bool IsOs_WIN_11();
bool IsOs_WIN_11_Only();
bool IsOs_WIN_Server();
bool IsOs_MAC();
bool IsOS_MacOSX_10_9_OrGreater();
bool IsOS_MacOSX_10_10_OrGreater();
bool IsOS_MacOSX_10_11_OrGreater();
bool IsOS_MacOSX_With_ARP_Bug();
bool IsOS_MacOSX_10_12_OrGreater();
bool IsOS_MacOSX_10_13_OrGreater();
bool IsOS_MacOSX_10_15_OrGreater();
bool IsOS_MacOS_11_OrGreater();
bool IsOS_MacOS_13_OrGreater();
bool IsOS_MacOS_13_2_OrGreater();
bool IsOs_AppleIOS();
bool IsOS_AppleIOS_7_OrGreater();
bool IsOS_AppleIOS_10_OrGreater();
bool IsOS_AppleIOS_12_OrGreater();
bool IsOs_WindowsPhone();
bool IsOs_Android();
bool IsOs_ChromeOS();
