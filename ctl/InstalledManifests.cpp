#include "ctl/InstalledManifests.h"

#include "ctl/AtomicFile.h"
#include "ctl/Digest.h"
#include "ctl/FileBytes.h"
#include "ctl/Paths.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace ctl {

namespace {

/// A change to what a run makes of the same files is a change here.
constexpr std::string_view kRules = "1";

std::vector<Entry> entriesOf(const CManifestInfo& manifest)
{
    std::vector<Entry> entries;
    for (const ManifestFileInfo* file : manifest.getFileList()) {
        if (file != nullptr) {
            entries.push_back({file->id, {file->type, file->version}});
        }
    }
    return entries;
}

/// As the tool reads a manifest: up to the first NUL.
InstalledManifest parse(const std::string& name, const std::string& bytes)
{
    bool isParsed = false;
    const CManifestInfo manifest(isParsed, std::string(bytes.c_str()), false, false);
    if (!isParsed) {
        return {name, "it is not acceptable; see what is wrong with: obg_manifestctl lint", {}};
    }
    std::vector<Entry> entries = entriesOf(manifest);
    if (const Entry* entry = findUnholdable(entries)) {
        return {name, "the store cannot hold \"" + entry->id + "\", which has no id or no version", {}};
    }
    return {name, {}, std::move(entries)};
}

/// Adds a text and where it ends.
void addText(Digest& digest, std::string_view text)
{
    digest.add(std::to_string(text.size()) + ":");
    digest.add(text);
}

} // namespace

bool InstalledManifests::read(const Options& options)
{
    const ManifestFolder folder = Paths(options).installedManifests();
    if (folder.error != 0 && folder.error != ENOENT) {
        m_error = systemError("cannot read", folder.folder.shown, folder.error);
        return false;
    }
    for (const Place& place : folder.manifests) {
        FileBytes file = readRegularFile(place);
        m_files.push_back({place.shown.substr(place.shown.rfind('/') + 1), std::move(file.bytes), file.error});
    }
    return true;
}

std::vector<InstalledManifest> InstalledManifests::parsed() const
{
    std::vector<InstalledManifest> manifests;
    for (const File& file : m_files) {
        if (file.reason != 0) {
            manifests.push_back({file.name, std::string("it cannot be read: ") + std::strerror(file.reason), {}});
        } else {
            manifests.push_back(parse(file.name, file.bytes));
        }
    }
    return manifests;
}

std::string InstalledManifests::sumWith(const std::optional<std::string>& store) const
{
    Digest digest;
    addText(digest, kRules);
    addText(digest, store ? "there" : "absent");
    addText(digest, store.value_or(std::string()));
    for (const File& file : m_files) {
        addText(digest, file.name);
        addText(digest, file.bytes);
    }
    return digest.finish();
}

} // namespace ctl
