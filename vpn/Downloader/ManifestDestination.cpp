#include "vpn/Downloader/ManifestInfo.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/InstallRoots.h"

#include <string_view>
#include <utility>

#include <sys/stat.h>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Downloader/ManifestInfo";
constexpr std::string_view kScriptPrefix = "scripts_";
constexpr std::string_view kHelpPrefix = "help_";

struct Directories
{
    std::string first;
    std::string second;
};

/// One folder of an install root, for both directories.
Directories below(bool isLegacy, std::string_view folder)
{
    const std::string_view root = isLegacy ? InstallRoot::Legacy : InstallRoot::Current;
    std::string directory;
    directory.reserve(root.size() + folder.size());
    directory.append(root).append(folder);
    std::string same = directory;
    return {std::move(directory), std::move(same)};
}

Directories profileDirectories(const std::string& serviceType)
{
    const auto profile = CManifestInfo::ms_mapClientProfileInfo.find(serviceType);
    if (profile == CManifestInfo::ms_mapClientProfileInfo.end()) {
        CAppLog::LogDebugMessage("resolveSpecialDirectory", kLogFile, __LINE__, Logging::DI_WARNING,
                                 "Unknown client profile type %s", serviceType.c_str());
        return {};
    }
    // Profiles belong to the current root, also in a manifest of the legacy one.
    const std::string root = std::string(InstallRoot::Current) + "/";
    return {root + profile->second.directory, root + profile->second.secondaryDirectory};
}

Directories directoriesOf(const ManifestFileInfo& entry, bool isLegacy)
{
    switch (entry.type) {
    case eFileTypeBinary:
        if (entry.fileName.starts_with(kScriptPrefix)) {
            // Scripts of the legacy root stand directly below it.
            return below(isLegacy, isLegacy ? "/script/" : "/vpn/script/");
        }
        return entry.fileName.starts_with(kHelpPrefix) ? below(isLegacy, "/help/") : Directories{};
    case eFileTypeL10n:
        return below(isLegacy, "/l10n/" + entry.lang + "/LC_MESSAGES/");
    case eFileTypeProfile:
        return profileDirectories(entry.serviceType);
    case eFileTypeResource:
        return below(isLegacy, "/resources/");
    default:
        return {};
    }
}

/// Stores a directory with its closing "/"; an empty one leaves `field` as it was.
void storeDirectory(std::string& directory, std::string& field)
{
    if (directory.empty()) {
        return;
    }
    if (directory.back() != '/') {
        directory += '/';
    }
    field = std::move(directory);
}

void removePrefix(std::string& text, std::string_view prefix)
{
    if (text.starts_with(prefix)) {
        text.erase(0, prefix.size());
    }
}

/// Logs one broken rule.
void logBroken(unsigned line, Logging::DebugImportance importance, const char* rule)
{
    CAppLog::LogDebugMessage("manifestInfoIsSane", kLogFile, line, importance, "%s", rule);
}

/// The same with the file name of the manifest, not the resolved one.
void logBroken(unsigned line, Logging::DebugImportance importance, const char* rule, const std::string& fileName)
{
    CAppLog::LogDebugMessage("manifestInfoIsSane", kLogFile, line, importance, "%s (%s)", rule, fileName.c_str());
}

bool hasHash(const ManifestFileInfo& entry)
{
    return !entry.hash.empty() && entry.hashType != eHashTypeNone;
}

} // namespace

void CManifestInfo::resolveFileNames(ManifestFileInfo& entry) const
{
    std::string_view given = entry.fileName.empty() ? entry.uri : entry.fileName;
    given.remove_prefix(given.rfind('/') + 1);
    entry.fileName = given;
    entry.resolvedFileName = entry.fileName;
    std::string& name = entry.resolvedFileName;
    if (entry.type == eFileTypeTransform) {
        if (name.find(".xml") == std::string::npos) {
            name += ".xml";
        }
        if (name == "TLTransforms.xml" || name == "UninstallOldGRD.xml") {
            entry.module = "all";
        }
    } else if (entry.type == eFileTypeBinary) {
        // Only the name on disk loses its prefixes; the one of the manifest still says where the file goes.
        removePrefix(name, kScriptPrefix);
        removePrefix(name, kHelpPrefix);
    }
}

void CManifestInfo::resolveSpecialDirectory(ManifestFileInfo& entry) const
{
    Directories directories = directoriesOf(entry, m_legacyRoot);
    storeDirectory(directories.first, entry.destinationDirectory);
    storeDirectory(directories.second, entry.secondaryDirectory);
}

void CManifestInfo::setFileAction(ManifestFileInfo& entry) const
{
    const FileKind* const kind = findFileKind(entry.type);
    if (kind != nullptr && (kind->actionRule == ActionRule::Fixed || entry.action == eFileActionNone)) {
        entry.action = kind->action;
    }
}

bool CManifestInfo::manifestInfoIsSane(const ManifestFileInfo& entry) const
{
    const FileKind* const kind = findFileKind(entry.type);
    const Demand demand = kind == nullptr ? Demand::Nothing : kind->demand;
    bool isSane = true;
    if (entry.uri.empty() && entry.fileName.empty()) {
        logBroken(__LINE__, Logging::DI_ERROR, "Manifest must specify a URI or filename");
        isSane = false;
    }
    if (demand == Demand::HashAndLanguage && (!hasHash(entry) || entry.lang.empty())) {
        logBroken(__LINE__, Logging::DI_ERROR, "Manifest must specify hash, hash type and lang for localization files",
                  entry.fileName);
        isSane = false;
    }
    if (kind != nullptr && !kind->fileName.empty() && entry.fileName != kind->fileName) {
        logBroken(__LINE__, Logging::DI_ERROR, "Manifest has invalid filename for localization file", entry.fileName);
        isSane = false;
    }
    if (demand == Demand::Hash && !hasHash(entry)) {
        logBroken(__LINE__, Logging::DI_ERROR,
                  "Manifest must specify hash and hash type for OEM customization files and profiles", entry.fileName);
        isSane = false;
    }
    if (entry.action == eFileActionNone) {
        logBroken(__LINE__, Logging::DI_WARNING, "Manifest must specify file action", entry.fileName);
        isSane = false;
    }
    return isSane;
}

std::uint32_t CManifestInfo::fileCbSize(const std::string& path)
{
    struct stat info
    {};
    if (path.empty() || stat(path.c_str(), &info) != 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(info.st_size);
}

bool CManifestInfo::fileExists(const std::string& path)
{
    struct stat info
    {};
    return stat(path.c_str(), &info) == 0;
}
