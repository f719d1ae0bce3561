#include "ctl/SyncRun.h"

#include "ctl/ChangeReport.h"
#include "ctl/InstalledManifests.h"
#include "ctl/Progress.h"
#include "ctl/StateFile.h"
#include "ctl/StoreBytes.h"
#include "ctl/StoreFile.h"
#include "ctl/StoreWalk.h"
#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Common/InstalledManifestReader.h"

#include <algorithm>
#include <sstream>
#include <unordered_map>
#include <utility>

namespace ctl {

namespace {

constexpr const char* kCommand = "obg_manifestctl sync";

/// One run of sync, step by step. Each step that fails has complained.
class SyncRun
{
public:
    SyncRun(const SyncArguments& arguments, const Options& options, const Deliver& deliver)
        : m_arguments(arguments), m_options(options), m_deliver(deliver), m_store(options), m_state(options, m_store)
    {}

    Synced result();

private:
    bool run();
    bool lock();
    bool lockStore();
    bool readAll();
    bool readStore();
    bool isSettled() const;
    bool planChanges();
    void leaveStore();
    bool write();
    bool replaceStore();
    bool writeState();
    void report();
    bool take(DiskChange change, const std::string& error);
    bool fail(const std::string& complaint);
    std::vector<Claim> allClaims() const;

    const SyncArguments& m_arguments;
    const Options& m_options;
    const Deliver& m_deliver;
    StoreFile m_store;
    StateFile m_state;
    InstalledManifests m_manifests;
    SyncInput m_input;
    bool m_isStoreLocked = false;
    bool m_isStoreUnreadable = false;
    Synced m_synced;
};

std::vector<Entry> entriesOf(const CInstalledManifestInfo& store)
{
    std::vector<Entry> entries;
    for (const auto& entry : store.GetEntries()) {
        entries.push_back({entry.fileId, {entry.type, entry.version}});
    }
    return entries;
}

/// What can be read of a store up to the place where it is damaged. What stands behind that is out of step.
std::vector<Entry> readableEntries(const std::string& bytes)
{
    std::istringstream file(bytes);
    CInstalledManifestReader reader(file);
    std::vector<Entry> entries;
    if (!reader.readHeader() || !reader.isSupported()) {
        return entries;
    }
    InstalledManifestRecord record;
    for (auto step = reader.next(record);
         step == CInstalledManifestReader::Step::Kept || step == CInstalledManifestReader::Step::Dropped;
         step = reader.next(record)) {
        if (step == CInstalledManifestReader::Step::Kept) {
            entries.push_back(
                {record.fileId.value, {static_cast<ManifestFileType>(record.type), record.version.value}});
        }
    }
    return entries;
}

Synced SyncRun::result()
{
    if (!run()) {
        m_synced.status = ExitStatus::NotDone;
        return std::move(m_synced);
    }
    const bool wouldChange = m_arguments.isDryRun && m_synced.isStoreChanged;
    const bool isQuiet = m_synced.findings.empty() && m_synced.isSafe && !wouldChange;
    m_synced.status = isQuiet ? ExitStatus::Done : ExitStatus::Something;
    return std::move(m_synced);
}

bool SyncRun::run()
{
    if (!m_arguments.isDryRun && !lock()) {
        return false;
    }
    const Progress progress("synchronizing");
    if (!readAll()) {
        return false;
    }
    if (isSettled()) {
        leaveStore();
        m_synced.plan.entries = m_store.bytes() ? walkStore(*m_store.bytes(), Detail::Entries).entries.size() : 0;
        return m_deliver(m_synced);
    }
    return planChanges() && (m_arguments.isDryRun ? m_deliver(m_synced) : write());
}

bool SyncRun::lock()
{
    if (!m_state.lock(m_arguments.patience, kCommand)) {
        return fail(m_state.error());
    }
    // Without a folder there is no store, and nobody who could make one has a lock that this run could have.
    return !m_store.hasFolder() || lockStore();
}

bool SyncRun::lockStore()
{
    m_isStoreLocked = m_store.lock(m_arguments.patience, kCommand);
    return m_isStoreLocked || fail(m_store.error());
}

/// Under the locks: a run that read the manifests before and waited then would undo what a later one has done.
bool SyncRun::readAll()
{
    if (!m_state.read()) {
        return fail(m_state.error());
    }
    if (!m_manifests.read(m_options)) {
        return fail(m_manifests.error());
    }
    m_isStoreUnreadable = !m_store.read();
    return !m_isStoreUnreadable || m_arguments.isRebuild || fail(m_store.error());
}

/// The same store and manifests as the last run left with nothing to report.
bool SyncRun::isSettled() const
{
    if (m_arguments.isRebuild || m_arguments.isDryRun) {
        return false;
    }
    const std::string settled = m_state.settled();
    return !settled.empty() && settled == m_manifests.sumWith(m_store.bytes());
}

bool SyncRun::readStore()
{
    m_input.isRebuild = m_arguments.isRebuild;
    const auto refusal = m_store.refusal();
    m_input.isWhole = !refusal && !m_isStoreUnreadable;
    if (refusal && !m_arguments.isRebuild) {
        return fail(*refusal);
    }
    if (m_store.bytes()) {
        m_input.found = refusal ? readableEntries(*m_store.bytes()) : entriesOf(loadStore(*m_store.bytes()));
    }
    return true;
}

bool SyncRun::planChanges()
{
    if (!m_state.parse()) {
        return fail(m_state.error());
    }
    if (!readStore()) {
        return false;
    }
    m_input.manifests = m_manifests.parsed();
    m_input.claims = m_state.state().claims;
    SyncPlan& plan = m_synced.plan = planSync(m_input);
    if (plan.unholdable) {
        return fail(unholdableComplaint(m_store.shown(), *plan.unholdable));
    }
    const bool isRemade = m_arguments.isRebuild && (m_isStoreUnreadable || plan.bytes != m_store.bytes());
    m_synced.isStoreChanged = m_arguments.isRebuild ? isRemade : plan.isChanged;
    if (!m_synced.isStoreChanged) {
        leaveStore();
    }
    report();
    return true;
}

/// The file stays to the byte, also what of it a run that writes would not write again.
void SyncRun::leaveStore()
{
    m_synced.plan.bytes = m_store.bytes();
}

void SyncRun::report()
{
    if (m_state.reading() == SyncState::Reading::Damaged) {
        m_synced.findings.push_back({"state-lost", std::nullopt, std::nullopt,
                                     m_state.path() + " is damaged: what sync has recorded before is not known"});
    }
    for (const InstalledManifest& manifest : m_input.manifests) {
        if (!manifest.rejection.empty()) {
            m_synced.findings.push_back({"rejected", manifest.name, std::nullopt,
                                         manifest.name + " is skipped, and its entries stay: " + manifest.rejection});
        }
    }
    for (const SyncConflict& conflict : m_synced.plan.conflicts) {
        m_synced.findings.push_back({"listed-twice", conflict.later, conflict.id,
                                     conflict.id + " is listed by " + conflict.earlier + " and " + conflict.later +
                                         "; " + conflict.later + " holds"});
    }
}

/// The order is that of SyncState: claimed, recorded, let go. All that can fail before the store is replaced fails
/// before the state is touched.
bool SyncRun::write()
{
    if (!m_synced.isStoreChanged) {
        return m_deliver(m_synced) && writeState();
    }
    if (!replaceStore()) {
        return false;
    }
    if (!writeState()) {
        // The store is what it should be, and the claims cover it: the next run lets go of the rest.
        m_synced.isSafe = false;
    }
    return true;
}

bool SyncRun::replaceStore()
{
    if (!m_isStoreLocked) {
        // The folder may be there by now, but what was read then is no longer what stands there.
        return fail("cannot write " + m_store.shown() + ": there was no folder for it");
    }
    if (!m_store.prepare(m_synced.plan.bytes)) {
        return fail(m_store.error());
    }
    SyncState claimed = m_state.state();
    claimed.claims = allClaims();
    if (!take(m_state.write(claimed), m_state.error())) {
        return false;
    }
    if (m_deliver(m_synced) && take(m_store.commit(), m_store.error())) {
        return true;
    }
    m_state.restore();
    return false;
}

bool SyncRun::writeState()
{
    const bool isQuiet = m_synced.findings.empty();
    const std::string sum = isQuiet ? m_manifests.sumWith(m_synced.plan.bytes) : std::string();
    return take(m_state.write({m_synced.plan.claims, sum}), m_state.error());
}

/// What was sync's own before, and what will be.
std::vector<Claim> SyncRun::allClaims() const
{
    std::vector<Claim> all = m_state.state().claims;
    std::unordered_map<std::string, std::vector<const Claim*>> known;
    for (const Claim& claim : m_state.state().claims) {
        known[claim.id].push_back(&claim);
    }
    for (const Claim& claim : m_synced.plan.claims) {
        const auto& same = known[claim.id];
        if (std::none_of(same.begin(), same.end(), [&claim](const Claim* each) { return *each == claim; })) {
            all.push_back(claim);
        }
    }
    return all;
}

/// False, complained, for a change that was not made; one that is not safe is complained too.
bool SyncRun::take(DiskChange change, const std::string& error)
{
    if (change != DiskChange::Done) {
        m_synced.isSafe = false;
        m_synced.complaints.push_back(error);
    }
    return change != DiskChange::Failed;
}

bool SyncRun::fail(const std::string& complaint)
{
    m_synced.complaints.push_back(complaint);
    return false;
}

} // namespace

Synced runSync(const SyncArguments& arguments, const Options& options, const Deliver& deliver)
{
    return SyncRun(arguments, options, deliver).result();
}

} // namespace ctl
