#pragma once

#include "vpn/Downloader/ManifestVocabulary.h"

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

class ManifestReader;

/// A package manifest: an XML document that lists the files of one client module.
///
///     <vpn rev="1.0">
///       <file id="..." version="..." type="...">   attributes: see obg-manifest(5)
///         <uri>...</uri>                           children: type uri filename name hash display-name depends
///       </file>
///       ...
///     </vpn>
///
/// An object is filled once, by its constructor, and owns its entries. Every failure is logged where it is found and
/// rejects the whole manifest: when `ok` is false the list may hold entries from before the failure and is not to be
/// used. A document of one element is an empty manifest whatever its name, and an element at the very end that nothing
/// follows is not looked at, so a last "file" without children is not listed.
///
/// Distinct objects may be used by distinct threads.
class CManifestInfo
{
public:
    /// The kinds of file by their words in a manifest; exact and case-sensitive.
    static const std::map<std::string, ManifestFileType> ms_mapStringToType;
    /// The kinds of client profile by the values of "service-type".
    static const std::map<std::string, ClientProfileInfo> ms_mapClientProfileInfo;
    /// The known modules.
    static const std::vector<std::string> ms_vecModuleID;

    /// Reads the manifest file `path`. "service-type" is not looked at, and destinations are below the current root.
    CManifestInfo(bool& ok, const std::string& path);

    /// Reads the manifest `text`. With `skipFirstElement` the root is the document's second element and the
    /// "service-type" of profiles counts; with `legacyRoot` destinations are below the legacy root.
    CManifestInfo(bool& ok, const std::string& text, bool skipFirstElement, bool legacyRoot);

    /// What counts when a manifest's text is read.
    struct Reading
    {
        /// The root is the document's second element, not its first.
        bool skipFirstElement = false;
        /// Profiles are of the kind that their "service-type" says, and an unknown one rejects the manifest. Otherwise
        /// every profile is of the kind "user".
        bool honourServiceType = false;
        /// Destinations are below the legacy root, not below the current one.
        bool legacyRoot = false;
    };

    /// The manifest in the file `path`, read as the tool reads it.
    static CManifestInfo FromFile(bool& ok, const std::string& path) { return CManifestInfo(ok, path); }

    /// The manifest in `text`.
    static CManifestInfo FromText(bool& ok, const std::string& text, const Reading& reading)
    {
        return CManifestInfo(ok, text, reading);
    }

    /// Completes and lists an entry that was built elsewhere. Owns it when `ok` becomes true; a rejected entry stays
    /// the caller's. Null is rejected without a record.
    CManifestInfo(bool& ok, ManifestFileInfo* entry);

    ~CManifestInfo();

    CManifestInfo(const CManifestInfo&) = delete;
    CManifestInfo& operator=(const CManifestInfo&) = delete;

    /// The entries in document order, owned by this object. Whoever walks the list skips null elements.
    const std::list<ManifestFileInfo*>& getFileList() const { return m_fileList; }

    /// The text of a file up to its first NUL byte; empty, logged, on any failure and for a size that is not positive
    /// as a signed 32-bit number.
    static std::string readManifestFile(const std::string& path);

    /// Reads a manifest's text and appends its entries to the list. Returns false, logged, when it is rejected.
    bool parseManifestFile(const std::string& text);

    /// Settles `fileName`, `resolvedFileName` and, for the two transforms that concern every module, `module`.
    void resolveFileNames(ManifestFileInfo& entry) const;

    /// Settles the directories that the file goes to; leaves them alone when its kind has none.
    void resolveSpecialDirectory(ManifestFileInfo& entry) const;

    /// Settles the action, which some kinds of file fix and others only default.
    void setFileAction(ManifestFileInfo& entry) const;

    /// True when the entry may be listed; otherwise logs every rule that it breaks.
    bool manifestInfoIsSane(const ManifestFileInfo& entry) const;

    /// Size of a file in bytes, modulo 2^32; 0 when there is none. Not logged.
    static std::uint32_t fileCbSize(const std::string& path);

    /// True when anything, of whatever kind, stands at `path`. Not logged.
    static bool fileExists(const std::string& path);

    /// Make the three tables.
    static std::map<std::string, ManifestFileType> createStringTypeMap();
    static std::map<std::string, ClientProfileInfo> createClientProfileInfoMap();
    static std::vector<std::string> createModuleIDList();

private:
    CManifestInfo(bool& ok, const std::string& text, const Reading& reading);

    bool readEntries(const std::string& text, ManifestReader& reader);
    bool completeEntry(ManifestFileInfo& entry) const;

    std::list<ManifestFileInfo*> m_fileList;
    bool m_skipFirstElement = false;
    bool m_honourServiceType = false;
    bool m_legacyRoot = false;
};
