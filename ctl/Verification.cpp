#include "ctl/Verification.h"

#include "ctl/Digest.h"
#include "ctl/Paths.h"
#include "ctl/Progress.h"
#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>

namespace ctl {

namespace {

constexpr std::size_t kNoResult = std::numeric_limits<std::size_t>::max();

std::string lowerCase(std::string digits)
{
    for (char& digit : digits) {
        digit = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
    }
    return digits;
}

Verdict verdictOf(int error)
{
    return error == ENOENT || error == ENOTDIR ? Verdict::Missing : Verdict::Unreadable;
}

void verifyFile(const Paths& paths, Verified& file)
{
    const Place place = paths.at(*file.path);
    file.path = place.shown;
    errno = place.error;
    if (place.error == 0) {
        file.found = sumOfFile(place.actual, file.hashType);
    }
    if (!file.found) {
        file.error = errno;
        file.verdict = verdictOf(file.error);
    } else {
        file.verdict = *file.found == lowerCase(*file.expected) ? Verdict::Ok : Verdict::Different;
    }
}

/// Calls `work` in as many threads as there are processors, but no more than there are pieces of work. It runs in fewer
/// where threads are not to be had.
template <typename Work> void inThreads(std::size_t pieces, Work work)
{
    const std::size_t wanted = std::min<std::size_t>(pieces, std::thread::hardware_concurrency());
    std::vector<std::jthread> others;
    try {
        while (others.size() + 1 < wanted) {
            others.emplace_back(work);
        }
    } catch (const std::system_error&) {
        // Those that there are do the work.
    }
    work();
}

} // namespace

std::string_view wordOf(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Ok:
        return "ok";
    case Verdict::Missing:
        return "missing";
    case Verdict::Different:
        return "different";
    case Verdict::Unreadable:
        return "unreadable";
    case Verdict::NotRecorded:
        return "not-recorded";
    case Verdict::OtherVersion:
        return "other-version";
    case Verdict::Unlisted:
        return "unlisted";
    case Verdict::Rejected:
        break;
    }
    return "rejected";
}

void Verification::addManifest(const std::string& name, const CManifestInfo& manifest)
{
    for (const ManifestFileInfo* file : manifest.getFileList()) {
        if (file == nullptr) {
            continue;
        }
        if (!file->destinationDirectory.empty()) {
            addFile(name, *file);
        }
        addEntry(name, *file);
    }
}

void Verification::addFile(const std::string& name, const ManifestFileInfo& file)
{
    Verified& result = m_results.emplace_back();
    result.manifest = name;
    result.id = file.id;
    result.path = file.destinationDirectory + file.resolvedFileName;
    result.hashType = file.hashType;
    result.expected = file.hash;
}

void Verification::addEntry(const std::string& name, const ManifestFileInfo& file)
{
    std::size_t& place = m_listed.try_emplace(file.id, kNoResult).first->second;
    if (place != kNoResult) {
        m_results[place].isHidden = true;
        place = kNoResult;
    }
    if (!isStored(file.type)) {
        return;
    }
    place = m_results.size();
    Verified& result = m_results.emplace_back();
    result.manifest = name;
    result.id = file.id;
    result.expected = file.version;
}

void Verification::addRejected(const std::string& name)
{
    Verified& result = m_results.emplace_back();
    result.manifest = name;
    result.verdict = Verdict::Rejected;
}

void Verification::verifyFiles(const Paths& paths)
{
    std::vector<Verified*> files;
    for (Verified& result : m_results) {
        if (result.path) {
            files.push_back(&result);
        }
    }
    Progress progress("verifying files", files.size());
    std::atomic<std::size_t> next{0};
    inThreads(files.size(), [&] {
        for (std::size_t at = next++; at < files.size(); at = next++) {
            verifyFile(paths, *files[at]);
            progress.advance();
        }
    });
}

void Verification::verifyEntries(const CInstalledManifestInfo& store)
{
    for (const auto& [id, place] : m_listed) {
        if (place == kNoResult) {
            continue;
        }
        Verified& result = m_results[place];
        if (store.GetInstalledType(id) == eFileTypeNone) {
            result.verdict = Verdict::NotRecorded;
            continue;
        }
        result.found = store.GetInstalledVersion(id);
        result.verdict = result.found == result.expected ? Verdict::Ok : Verdict::OtherVersion;
    }
}

void Verification::addUnlisted(const CInstalledManifestInfo& store)
{
    for (const auto& [id, version] : store.GetInstalledEntries()) {
        if (!m_listed.contains(id)) {
            Verified& result = m_results.emplace_back();
            result.id = id;
            result.found = version;
            result.verdict = Verdict::Unlisted;
        }
    }
}

std::vector<Verified> Verification::takeResults()
{
    std::erase_if(m_results, [](const Verified& result) { return result.isHidden; });
    return std::move(m_results);
}

} // namespace ctl
