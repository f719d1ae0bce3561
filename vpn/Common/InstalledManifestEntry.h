#pragma once

#include "vpn/Common/ManifestFileType.h"

#include <string>
#include <utility>

/// One entry of an installed-manifest store.
struct InstalledManifestEntry
{
    /// The key, compared byte for byte.
    std::string fileId;
    ManifestFileType type = eFileTypeNone;
    std::string version;

    /// True for entries with one file id.
    class FileIdEquals
    {
    public:
        explicit FileIdEquals(std::string fileId) : m_fileId(std::move(fileId)) {}
        bool operator()(const InstalledManifestEntry& entry) const { return entry.fileId == m_fileId; }

    private:
        std::string m_fileId;
    };
};
