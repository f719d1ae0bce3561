#pragma once

#include "vpn/Common/ManifestFileType.h"

#include <cstdint>
#include <iosfwd>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

/// Selects the install root whose store is meant. Every value but eLegacyDataPath means the current root.
enum eManifestDataPath : std::uint32_t
{
    eCurrentDataPath = 0,
    eLegacyDataPath = 1,
};

/// The installed-manifest store: which files of the client are installed, one entry per file id.
///
/// The file is "VPNManifest.dat" directly below the install root. All its integers are unsigned, 32 bits wide and
/// little-endian; there is no magic number, count or checksum:
///
///     file   := major(1) minor(0) record*
///     record := type version fileId
///     string := n, then n bytes, the last of them NUL
///
/// Version stands before file id, the reverse of an entry's own order. What a reader does with a record is decided by
/// its type: msi, exe, script, dmg, rpm and deb are kept, the other known types are read and dropped, and of an unknown
/// type nothing but the type itself is consumed, so that the reader is out of step from there on.
///
/// The file is loaded once, by the constructor; changes live in memory until WriteFile rewrites the file in place. No
/// operation fails but WriteFile, and problems with the file are logged. An object may be used by one thread at a time.
/// Recording, striking and looking up cost the same however many entries there are.
class CInstalledManifestInfo
{
public:
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

    /// Loads the store of an install root. An absent file is an empty store; so is one that cannot be read, has an
    /// unsupported version or breaks off inside a record's texts, which is logged. Up to three stray bytes at the end
    /// are ignored.
    explicit CInstalledManifestInfo(eManifestDataPath dataPath);

    /// Writes nothing.
    ~CInstalledManifestInfo() = default;

    CInstalledManifestInfo(const CInstalledManifestInfo&) = delete;
    CInstalledManifestInfo& operator=(const CInstalledManifestInfo&) = delete;

    /// Records a file: an entry with that id gets the new type and version and keeps its place, else a new entry is
    /// appended.
    void AddInstalledEntry(const std::string& fileId, ManifestFileType type, const std::string& version);

    /// Strikes the file with that id; the others keep their order. An absent id changes nothing.
    void RemoveInstalledEntry(const std::string& fileId);

    /// The version recorded for that id; empty when there is none.
    std::string GetInstalledVersion(const std::string& fileId) const;

    /// The type recorded for that id; eFileTypeNone when there is none.
    ManifestFileType GetInstalledType(const std::string& fileId) const;

    /// File id and version of every entry, in the order of the file.
    std::list<std::pair<std::string, std::string>> GetInstalledEntries() const;

    /// Rewrites the file from the entries, or deletes it when there are none; a file that cannot be deleted is only
    /// logged. Entries of types that the file does not keep are left out. Returns 0, or 0xFE000009 when the file could
    /// not be opened or its header not be written. A record that cannot be written is logged and does not change the
    /// result. An entry with an empty version or file id is written as far as its first empty text and puts readers
    /// out of step from there on.
    long WriteFile() const;

    /// True when the legacy store records the core component with a version: what is installed is that old release or
    /// an earlier one. Loads that store.
    static bool IsInstalledVersionMarigoldOrEarlier();

    /// The first line of "update.txt" below the current root, its commas turned into points and white space at its
    /// ends removed; empty when there is none. Not logged.
    static std::string GetLocalUpdateTxtVersion();

private:
    using Entries = std::list<InstalledManifestEntry>;

    void loadInstalledFileData();
    bool loadEntry(std::istream& file, std::uint32_t type);
    void clear();
    long writeHeader(std::ostream& file) const;
    void writeEntries(std::ostream& file) const;

    static bool readManifestData(std::istream& file, std::uint32_t& value);
    static bool readManifestData(std::istream& file, std::string& text);
    static bool writeManifestData(std::ostream& file, std::uint32_t value);
    static bool writeManifestData(std::ostream& file, const std::string& text);

    std::string m_path;
    Entries m_entries;
    /// Where each entry stands, by its file id. The keys are the entries' own texts, which a list never moves.
    std::unordered_map<std::string_view, Entries::iterator> m_index;
};
