#pragma once

#include "vpn/Downloader/ManifestVocabulary.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class CInstalledManifestInfo;
class CManifestInfo;

namespace ctl {

class Paths;

/// How something stands to what manifests say.
enum class Verdict
{
    Ok,
    Missing,
    Different,
    Unreadable,
    NotRecorded,
    OtherVersion,
    /// In the store and in no manifest.
    Unlisted,
    /// A manifest that the tool would reject.
    Rejected,
};

constexpr Verdict kLastVerdict = Verdict::Rejected;

/// The word for a verdict, as results show it.
std::string_view wordOf(Verdict verdict);

/// One thing that was verified, or is to be.
struct Verified
{
    /// The manifest that says it; nullopt for an entry that is in none.
    std::optional<std::string> manifest;
    /// nullopt for a manifest as a whole.
    std::optional<std::string> id;
    /// Where the file has to be; nullopt for what is no file with a destination.
    std::optional<std::string> path;
    HashType hashType = eHashTypeNone;
    /// The sum of a file, otherwise the version of an entry.
    std::optional<std::string> expected;
    std::optional<std::string> found;
    Verdict verdict = Verdict::Ok;
    /// Why a file is unreadable, an errno.
    int error = 0;
    /// True for an entry whose id is listed again later.
    bool isHidden = false;
};

/// Holds a machine against its manifests: first all of these are added, then the rest is called, the results last.
class Verification
{
public:
    /// Takes from a manifest what is to be verified. An id that was listed before counts as listed here.
    void addManifest(const std::string& name, const CManifestInfo& manifest);

    void addRejected(const std::string& name);

    /// Sums the files, in as many threads as there are processors. Shows how far it is.
    void verifyFiles(const Paths& paths);

    /// Looks for the entries of recorded kinds.
    void verifyEntries(const CInstalledManifestInfo& store);

    /// Adds what the store has and no manifest lists.
    void addUnlisted(const CInstalledManifestInfo& store);

    /// All that counts, in the order of the manifests and their entries; what is in none of them last.
    std::vector<Verified> takeResults();

private:
    void addFile(const std::string& name, const ManifestFileInfo& file);
    void addEntry(const std::string& name, const ManifestFileInfo& file);

    std::vector<Verified> m_results;
    /// The manifest's entry that counts, by its id: its place in m_results, or kNoResult when its kind is not recorded.
    std::unordered_map<std::string, std::size_t> m_listed;
};

} // namespace ctl
