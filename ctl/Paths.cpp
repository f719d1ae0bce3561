#include "ctl/Paths.h"

#include "ctl/Resolve.h"
#include "vpn/Common/InstallRoots.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include <dirent.h>

namespace ctl {

namespace {

constexpr std::string_view kStateFolder = "/var/lib/obg-manifest";
constexpr std::string_view kManifestEnding = ".xml";

struct CloseFolder
{
    void operator()(DIR* folder) const { closedir(folder); }
};

std::string installRoot(bool isLegacy)
{
    return std::string(isLegacy ? InstallRoot::Legacy : InstallRoot::Current);
}

/// As the shell's *.xml: hidden files are left out.
bool isManifestName(std::string_view name)
{
    return name.ends_with(kManifestEnding) && !name.starts_with('.');
}

/// The names of the manifests in a folder, in byte order. Returns 0, or why it could not be read.
int readNames(const std::string& path, std::vector<std::string>& names)
{
    const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
    if (!folder) {
        return errno;
    }
    errno = 0;
    while (const dirent* entry = readdir(folder.get())) {
        if (isManifestName(entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
    }
    const int error = errno;
    std::sort(names.begin(), names.end());
    return error;
}

/// The root without slashes at its end, so that of the machine itself is empty.
std::string withoutSlashes(std::string root)
{
    root.erase(root.find_last_not_of('/') + 1);
    return root;
}

} // namespace

Place Paths::at(std::string_view path) const
{
    const std::string root = withoutSlashes(m_options.root);
    const std::string shown = root + std::string(path);
    if (root.empty()) {
        return {shown, shown, 0};
    }
    std::string actual = resolvedBelow(root, path);
    const int error = actual.empty() ? ELOOP : 0;
    return {shown, std::move(actual), error};
}

Place Paths::store() const
{
    return m_options.store.empty() ? storeBelowRoot(m_options.isLegacy) : Place{m_options.store, m_options.store, 0};
}

Place Paths::storeBelowRoot(bool isLegacy) const
{
    return at(installRoot(isLegacy) + "/VPNManifest.dat");
}

Place Paths::stateFolder() const
{
    return at(kStateFolder);
}

ManifestFolder Paths::installedManifests() const
{
    const std::string folder = installRoot(m_options.isLegacy) + "/manifest";
    ManifestFolder found{at(folder), {}, 0};
    std::vector<std::string> names;
    found.error = found.folder.error != 0 ? found.folder.error : readNames(found.folder.actual, names);
    for (const std::string& name : names) {
        std::string path = folder + '/';
        path += name;
        found.manifests.push_back(at(path));
    }
    return found;
}

} // namespace ctl
