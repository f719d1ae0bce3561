#include "ctl/SyncPlan.h"

#include "vpn/Common/InstalledManifestInfo.h"

#include <algorithm>
#include <sstream>
#include <unordered_map>

namespace ctl {

namespace {

/// A file that holds no entry.
constexpr std::string_view kHeader("\1\0\0\0\0\0\0\0", 8);

CInstalledManifestInfo emptyStore()
{
    std::istringstream file{std::string(kHeader)};
    return CInstalledManifestInfo::FromStream(file, "");
}

Change changeOf(const std::optional<KindAndVersion>& before, const KindAndVersion& listed)
{
    if (!isStored(listed.kind)) {
        return before ? Change::Drop : Change::Unrecorded;
    }
    if (!before) {
        return Change::Add;
    }
    return *before == listed ? Change::Keep : Change::Update;
}

/// One run; the store grows from what it starts with to what it ends with.
class Run
{
public:
    explicit Run(const SyncInput& input);
    SyncPlan plan();

private:
    struct Listing
    {
        const InstalledManifest* manifest;
        const Entry* entry;
    };

    void record(const InstalledManifest& manifest);
    void list(const InstalledManifest& manifest, const Entry& entry);
    void keepClaimsOf(const InstalledManifest& manifest);
    void addListed(const InstalledManifest& manifest);
    void strikeClaimed();
    void dropUnlisted();
    void addKept();
    void addStruck(const std::string& id, const std::optional<std::string>& manifest);
    std::optional<KindAndVersion> before(const std::string& id) const;
    bool has(const std::string& id) const { return m_store.GetInstalledType(id) != eFileTypeNone; }
    bool isChanged() const;

    const SyncInput& m_input;
    CInstalledManifestInfo m_store;
    std::unordered_map<std::string, const KindAndVersion*> m_before;
    /// The listing of each id that holds.
    std::unordered_map<std::string, Listing> m_listings;
    /// The claims of rejected manifests that stay, by their id.
    std::unordered_map<std::string, const Claim*> m_kept;
    SyncPlan m_plan;
};

Run::Run(const SyncInput& input) : m_input(input), m_store(emptyStore())
{
    for (const Entry& entry : input.found) {
        m_before[entry.id] = &entry.what;
        if (!input.isRebuild) {
            m_store.AddInstalledEntry(entry.id, entry.what.kind, entry.what.version);
        }
    }
}

SyncPlan Run::plan()
{
    for (const InstalledManifest& manifest : m_input.manifests) {
        if (manifest.rejection.empty()) {
            record(manifest);
        } else {
            keepClaimsOf(manifest);
        }
    }
    for (const InstalledManifest& manifest : m_input.manifests) {
        addListed(manifest);
    }
    addKept();
    if (m_input.isRebuild) {
        dropUnlisted();
    } else {
        strikeClaimed();
    }
    for (const auto& entry : m_store.GetEntries()) {
        if (isUnholdable(entry.fileId, entry.type, entry.version)) {
            m_plan.unholdable = entry.fileId;
        }
    }
    m_plan.isChanged = isChanged();
    m_plan.entries = m_store.GetEntries().size();
    m_plan.bytes = m_plan.entries == 0 ? std::nullopt : std::optional(m_store.GetFileBytes());
    return std::move(m_plan);
}

/// As a run of the tool. An entry of a kind that is not recorded goes when the store is written, not before: the same
/// id may be listed again with another kind, and keeps its place then.
void Run::record(const InstalledManifest& manifest)
{
    for (const Entry& entry : manifest.entries) {
        list(manifest, entry);
        m_store.AddInstalledEntry(entry.id, entry.what.kind, entry.what.version);
    }
    for (const Entry& entry : manifest.entries) {
        if (!isStored(m_store.GetInstalledType(entry.id))) {
            m_store.RemoveInstalledEntry(entry.id);
        }
    }
}

void Run::list(const InstalledManifest& manifest, const Entry& entry)
{
    const auto [found, isNew] = m_listings.try_emplace(entry.id, Listing{&manifest, &entry});
    if (isNew) {
        return;
    }
    Listing& listing = found->second;
    const bool isOfInterest = isStored(listing.entry->what.kind) || isStored(entry.what.kind);
    if (listing.manifest != &manifest && isOfInterest) {
        m_plan.conflicts.push_back({entry.id, listing.manifest->name, manifest.name});
    }
    listing = {&manifest, &entry};
}

/// What a manifest listed while it was acceptable stays, unless it is known to have become something else since.
void Run::keepClaimsOf(const InstalledManifest& manifest)
{
    for (const Claim& claim : m_input.claims) {
        if (claim.manifest != manifest.name || (m_input.isWhole && before(claim.id) != claim.recorded)) {
            continue;
        }
        m_kept[claim.id] = &claim;
        if (m_listings.find(claim.id) == m_listings.end()) {
            m_store.AddInstalledEntry(claim.id, claim.recorded.kind, claim.recorded.version);
        }
    }
}

void Run::addListed(const InstalledManifest& manifest)
{
    for (const Entry& entry : manifest.entries) {
        const auto holding = m_listings.find(entry.id);
        if (holding == m_listings.end() || holding->second.entry != &entry) {
            continue;
        }
        const auto was = before(entry.id);
        m_plan.changes.push_back({changeOf(was, entry.what), entry.id, manifest.name, was, entry.what});
        if (isStored(entry.what.kind)) {
            m_plan.claims.push_back({manifest.name, entry.id, entry.what});
        }
    }
}

void Run::addKept()
{
    for (const Claim& claim : m_input.claims) {
        const auto kept = m_kept.find(claim.id);
        if (kept != m_kept.end() && kept->second == &claim && m_listings.find(claim.id) == m_listings.end()) {
            m_plan.claims.push_back(claim);
        }
    }
}

void Run::strikeClaimed()
{
    for (const Claim& claim : m_input.claims) {
        const bool stays = m_listings.find(claim.id) != m_listings.end() || m_kept.find(claim.id) != m_kept.end();
        if (!stays && has(claim.id) && before(claim.id) == claim.recorded) {
            m_store.RemoveInstalledEntry(claim.id);
            addStruck(claim.id, claim.manifest);
        }
    }
}

/// Says what a store that is made again no longer has.
void Run::dropUnlisted()
{
    for (const Entry& entry : m_input.found) {
        if (has(entry.id) || m_listings.find(entry.id) != m_listings.end()) {
            continue;
        }
        const auto claim = std::find_if(m_input.claims.begin(), m_input.claims.end(), [&entry](const Claim& each) {
            return each.id == entry.id && each.recorded == entry.what;
        });
        addStruck(entry.id, claim == m_input.claims.end() ? std::nullopt : std::optional(claim->manifest));
    }
}

void Run::addStruck(const std::string& id, const std::optional<std::string>& manifest)
{
    m_plan.changes.push_back({Change::Strike, id, manifest, before(id), std::nullopt});
}

std::optional<KindAndVersion> Run::before(const std::string& id) const
{
    const auto found = m_before.find(id);
    return found == m_before.end() ? std::nullopt : std::optional(*found->second);
}

bool Run::isChanged() const
{
    const auto& entries = m_store.GetEntries();
    return !std::equal(entries.begin(), entries.end(), m_input.found.begin(), m_input.found.end(),
                       [](const auto& now, const Entry& was) {
                           return now.fileId == was.id && now.type == was.what.kind && now.version == was.what.version;
                       });
}

} // namespace

SyncPlan planSync(const SyncInput& input)
{
    return Run(input).plan();
}

const Entry* findUnholdable(const std::vector<Entry>& entries)
{
    std::unordered_map<std::string, const Entry*> last;
    for (const Entry& entry : entries) {
        last[entry.id] = &entry;
    }
    const auto isLost = [&last](const Entry& entry) {
        return last[entry.id] == &entry && isUnholdable(entry.id, entry.what.kind, entry.what.version);
    };
    const auto found = std::find_if(entries.begin(), entries.end(), isLost);
    return found == entries.end() ? nullptr : &*found;
}

} // namespace ctl
