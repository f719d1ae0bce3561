#pragma once

#include "vpn/Common/InstalledManifestEntry.h"
#include "vpn/Common/InstalledManifestIndex.h"
#include "vpn/Common/ManifestFileType.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <list>
#include <string>
#include <utility>

class CInstalledManifestReader;
class FileDescriptor;

/// Selects the install root whose store is meant. Every value but eLegacyDataPath means the current root.
enum eManifestDataPath : std::uint32_t
{
    eCurrentDataPath = 0,
    eLegacyDataPath = 1,
};

/// What loading a store has met.
enum class InstalledManifestState
{
    /// There is no file.
    Absent,
    /// The file cannot be looked at, opened or read to its end, or is no file.
    Unreadable,
    /// The file's version is one that is not loaded.
    Unsupported,
    /// The file is shorter than its header, breaks off inside a record, or holds a type that is none.
    Damaged,
    /// The file has been loaded without a log record.
    Good,
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
/// its type: of those that are known, isStored() ones are kept and the others read and dropped, and of an unknown type
/// nothing but the type itself is consumed, so that the reader is out of step from there on.
///
/// The file is loaded once, when the object is made; changes live in memory until WriteFile rewrites the file in place.
/// No operation fails but WriteFile; problems with the file are logged, and GetState tells what came of loading it. An
/// object may be used by one thread at a time. References into the store may be passed to its operations. Recording,
/// striking and looking up cost the same however many entries there are.
class CInstalledManifestInfo
{
public:
    using InstalledManifestEntry = ::InstalledManifestEntry;

    /// Loads the store of an install root. An absent file is an empty store; so is one that cannot be read, has an
    /// unsupported version or breaks off inside a record's texts, which is logged. Up to three stray bytes at the end
    /// are ignored.
    explicit CInstalledManifestInfo(eManifestDataPath dataPath);

    /// Loads the store in the file at `path` in the same way, and writes it there: for images and for stores that are
    /// looked at elsewhere.
    static CInstalledManifestInfo AtPath(const std::string& path);

    /// Loads the store from a stream, which need not be a file: open in binary mode, at its first byte. The state is
    /// never Absent. WriteFile writes to `path`.
    static CInstalledManifestInfo FromStream(std::istream& file, const std::string& path);

    /// Writes nothing.
    ~CInstalledManifestInfo() = default;

    CInstalledManifestInfo(const CInstalledManifestInfo&) = delete;
    CInstalledManifestInfo& operator=(const CInstalledManifestInfo&) = delete;

    /// Makes room for finding that many entries in all: a hint that saves time and memory before many are recorded.
    void Reserve(std::size_t count) { m_index.reserve(count); }

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

    /// The entries in the order of the file, as they are in memory: they stand until the next change to the store.
    const std::list<InstalledManifestEntry>& GetEntries() const { return m_entries; }

    /// What loading met. Changes to the entries leave the answer as it is.
    InstalledManifestState GetState() const { return m_state; }

    /// Where the file is.
    const std::string& GetPath() const { return m_path; }

    /// The bytes that WriteFile puts into the file for these entries, with all that it does to entries that the file
    /// cannot hold. Without entries they are the header alone, and WriteFile deletes the file instead.
    std::string GetFileBytes() const;

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

    CInstalledManifestInfo(const std::string& path, std::istream* file);

    void loadInstalledFileData();
    InstalledManifestState load(std::istream& file);
    InstalledManifestState loadRecords(CInstalledManifestReader& reader);
    void indexEntries();
    bool writeEntries(const FileDescriptor& file, std::string& block) const;
    void logUnwritten(std::uint64_t reached, int error) const;

    std::string m_path;
    Entries m_entries;
    CInstalledManifestIndex m_index{m_entries};
    InstalledManifestState m_state = InstalledManifestState::Absent;
};
