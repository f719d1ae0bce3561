#pragma once

#include "ctl/Options.h"
#include "ctl/SyncPlan.h"

#include <optional>
#include <string>
#include <vector>

namespace ctl {

/// The manifests of the chosen install root, read whole in the order of their names.
class InstalledManifests
{
public:
    /// A folder that is not there has none. False, with error(), for one that cannot be read. A single manifest that
    /// cannot be read is a rejected one.
    bool read(const Options& options);

    /// What they list. One that the tool would reject, or that lists what the store cannot hold, is rejected.
    std::vector<InstalledManifest> parsed() const;

    /// A sum over the bytes of all of them, their names, those of a store file, and the version of this program.
    std::string sumWith(const std::optional<std::string>& store) const;

    const std::string& error() const { return m_error; }

private:
    struct File
    {
        std::string name;
        std::string bytes;
        /// Why it could not be read, or 0.
        int reason = 0;
    };

    std::vector<File> m_files;
    std::string m_error;
};

} // namespace ctl
