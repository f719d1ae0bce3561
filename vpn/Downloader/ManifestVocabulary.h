#pragma once

#include "vpn/Common/ManifestFileType.h"

#include <cstdint>
#include <string>
#include <string_view>

/// The algorithm of a listed file's hash.
enum HashType : std::uint32_t
{
    eHashTypeNone = 0,
    eHashTypeSha1 = 1,
    eHashTypeSha256 = 2,
};

/// One file entry of a package manifest.
struct ManifestFileInfo
{
    bool isCore = false;
    FileAction action = eFileActionNone;
    ManifestFileType type = eFileTypeNone;
    HashType hashType = eHashTypeNone;
    std::string uri;
    /// The last path component of the name that the manifest, or else the profile table or the uri, gives.
    std::string fileName;
    std::string version;
    std::string hash;
    std::string module;
    /// The key of the entry in the installed-manifest store.
    std::string id;
    /// Both directories end in "/" when they are set.
    std::string secondaryDirectory;
    std::string destinationDirectory;
    /// The file's name as it is to be on disk.
    std::string resolvedFileName;
    /// Language of a localisation file; names a directory.
    std::string lang;
    std::string displayName;
    std::string depends;
    /// Kind of a client profile; a key of CManifestInfo::ms_mapClientProfileInfo.
    std::string serviceType = "user";
    std::string platform;
    std::string os;
    std::string osPkgId;
    std::string arch;
    bool standalone = false;
};

/// What is fixed for one kind of client profile.
struct ClientProfileInfo
{
    ClientProfileInfo(std::string_view name, std::string_view extension, std::string_view firstDirectory,
                      std::string_view secondDirectory, std::string_view display, bool profileFlag);

    /// May be empty: the manifest names the file then.
    std::string fileName;
    std::string profileExtension;
    /// Both relative to the current install root.
    std::string directory;
    std::string secondaryDirectory;
    std::string displayName;
    /// Nothing in this program reads it, nor the extension; both are kept for other components.
    bool flag;
};
