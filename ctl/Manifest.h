#pragma once

#include "ctl/Paths.h"

#include <memory>
#include <optional>
#include <string>

class CManifestInfo;

namespace ctl {

/// Whose "service-type" counts when profiles are given their names and places.
enum class Profiles
{
    /// None: as the tool reads a manifest.
    AsTool,
    /// That of each profile: as the programs do that install the files.
    AsInstalled,
};

/// The text of a manifest as the tool reads it; empty for a file that it rejects for having none. nullopt, complained,
/// when the file cannot be opened or read.
std::optional<std::string> readManifest(const Place& place);

/// The manifest in a text, null when it is rejected, with destinations below the chosen install root.
std::unique_ptr<const CManifestInfo> parseManifest(const std::string& text, const Options& options, Profiles profiles);

/// Reads the manifest as the tool would. Null, complained, when that is not possible or the tool would reject it.
std::unique_ptr<const CManifestInfo> acceptedManifest(const std::string& path, const Options& options);

} // namespace ctl
