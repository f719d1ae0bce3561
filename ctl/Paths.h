#pragma once

#include "ctl/Options.h"

#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// A file or folder of the machine that is looked at.
struct Place
{
    /// As people know it and as results name it.
    std::string shown;
    /// What to open. Below `--root` no part of it is a symbolic link any more: links are followed as in a chroot, so
    /// that neither an absolute one nor ".." leads out. It need not exist, then opening it says what is missing.
    /// Without
    /// `--root` it is as shown, and the kernel follows the links.
    std::string actual;
    /// ELOOP when the links run in a circle; there is nothing to open then, and `actual` is empty.
    int error = 0;
};

/// Manifests in a folder.
struct ManifestFolder
{
    Place folder;
    /// The folder's `*.xml` in the byte order of their names, none of them opened yet.
    std::vector<Place> manifests;
    /// 0, or why the folder could not be read; ENOENT when it is not there.
    int error = 0;
};

/// The places that are fixed on every machine, looked up below `--root`.
class Paths
{
public:
    /// Keeps a reference to the options.
    explicit Paths(const Options& options) : m_options(options) {}

    /// The chosen store: the file of `--store`, else that of the chosen install root.
    Place store() const;

    /// The store of the current install root, or of the legacy one, whatever was chosen.
    Place storeBelowRoot(bool isLegacy) const;

    /// A fixed path, such as a destination, below `--root`.
    Place at(std::string_view path) const;

    /// The manifests below the install root of the chosen store.
    ManifestFolder installedManifests() const;

    /// The folder in which the program keeps what it has to remember.
    Place stateFolder() const;

private:
    const Options& m_options;
};

} // namespace ctl
