#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/Json.h"
#include "ctl/StoreFindings.h"
#include "ctl/StoreJson.h"
#include "ctl/StoreRules.h"
#include "ctl/StoreWalk.h"
#include "ctl/Text.h"
#include "fuzz/support/Require.h"
#include "vpn/Common/InstalledManifestInfo.h"

// What must hold of every file, whatever its bytes, between what `check` says and what the tool loads.

namespace obg::test {

inline void requireSameEntries(const ctl::StoreWalk& walk, const CInstalledManifestInfo& store)
{
    require(walk.entries.size() == store.GetEntries().size(), "as many entries as the tool loads");
    auto loaded = store.GetEntries().begin();
    for (const ctl::StoreEntry& entry : walk.entries) {
        require(entry.id == loaded->fileId && entry.version == loaded->version && entry.type == loaded->type,
                "the entries that the tool loads, in its order");
        ++loaded;
    }
}

inline void requireSameState(const ctl::StoreWalk& walk, const CInstalledManifestInfo& store)
{
    require(walk.isGood() == (store.GetState() == InstalledManifestState::Good), "good when the tool logs nothing");
    require((!walk.isHeaderCut && !walk.isSupported) == (store.GetState() == InstalledManifestState::Unsupported),
            "unsupported when the tool does not load its version");
}

/// Each byte behind the header belongs to one record or to the stray bytes.
inline void requireWholeCover(const ctl::StoreWalk& walk)
{
    std::size_t offset = 8;
    for (const ctl::StoreRecord& record : walk.records) {
        require(record.offset == offset, "a record begins where the one before it ends");
        offset += record.size;
        require((record.fate == ctl::Fate::Cut) == (walk.isGivenUp && &record == &walk.records.back()),
                "the last record is cut when the reader gave up");
    }
    require(!walk.isSupported || walk.isGivenUp || offset == walk.strayOffset, "stray bytes follow the last record");
    require(!walk.isSupported || !walk.isGivenUp || offset == walk.file.size(), "a cut record reaches up to the end");
    require(walk.file.size() - walk.strayOffset < 4, "there are at most three stray bytes");
}

inline void requireSoundFindings(const ctl::StoreWalk& walk, const std::vector<ctl::Finding>& findings)
{
    require(std::ranges::is_sorted(findings, {}, &ctl::Finding::offset), "findings are in the order of offsets");
    bool hasCause = false;
    for (const ctl::Finding& finding : findings) {
        require(finding.offset < walk.file.size() || (finding.offset == 0 && walk.file.empty()),
                "a finding lies in the file");
        require(std::ranges::find(ctl::kStoreRules, finding.rule, &ctl::StoreRule::name) != ctl::kStoreRules.end(),
                "a finding is of a known rule");
        hasCause = hasCause || finding.rule.starts_with("cause-");
        require(std::ranges::all_of(ctl::printable(finding.message), [](unsigned char byte) { return byte >= ' '; }),
                "nothing in a message controls a terminal");
    }
    const bool isDamaged = !walk.isGood() && (walk.isHeaderCut || walk.isSupported);
    require(hasCause == isDamaged, "a damaged store, and no other, has a cause");
}

/// What readers pass over in silence is found: a good store without findings is one that the tool would write so.
inline void requireSilenceIsFound(const ctl::StoreWalk& walk, const std::vector<ctl::Finding>& findings,
                                  const CInstalledManifestInfo& store)
{
    if (walk.isGood()) {
        require(findings.empty() == (store.GetFileBytes() == walk.file),
                "no finding when the next run changes no byte");
    }
}

/// The part of the claims that takes no time: the state and the entries.
inline void requireSameStore(const std::string& file)
{
    const ctl::StoreWalk walk = ctl::walkStore(file);
    std::istringstream stream(file);
    const CInstalledManifestInfo store = CInstalledManifestInfo::FromStream(stream, "");
    requireSameEntries(walk, store);
    requireSameState(walk, store);
}

inline void requireStoreWalkClaims(const std::string& file)
{
    const ctl::StoreWalk walk = ctl::walkStore(file);
    const std::vector<ctl::Finding> findings = ctl::findingsOf(walk);
    std::istringstream stream(file);
    const CInstalledManifestInfo store = CInstalledManifestInfo::FromStream(stream, "");
    requireSameEntries(walk, store);
    requireSameState(walk, store);
    requireWholeCover(walk);
    requireSoundFindings(walk, findings);
    requireSilenceIsFound(walk, findings, store);
    // Rendering ends the process when a text is not UTF-8.
    ctl::JsonWriter document("check");
    ctl::putFindings(document, findings);
    require(document.text().ends_with("}\n"), "findings can be rendered");
}

} // namespace obg::test
