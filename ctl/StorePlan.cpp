#include "ctl/StorePlan.h"

#include "ctl/StoreBytes.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <utility>

namespace ctl {

namespace {

std::string_view fileOf(const std::optional<std::string>& bytes)
{
    return bytes ? std::string_view(*bytes) : std::string_view();
}

/// What the store holds of the id. An entry of a kind that is not recorded may stand in memory, but never in the file.
std::optional<KindAndVersion> recordedAs(const CInstalledManifestInfo& store, const std::string& id)
{
    const ManifestFileType kind = store.GetInstalledType(id);
    if (!isStored(kind)) {
        return std::nullopt;
    }
    return KindAndVersion{kind, store.GetInstalledVersion(id)};
}

Change changeByRecording(const PlannedChange& planned)
{
    if (!isStored(planned.listed.kind)) {
        return planned.before ? Change::Drop : Change::Unrecorded;
    }
    if (isUnholdable(planned.id, planned.listed.kind, planned.listed.version)) {
        return Change::Damage;
    }
    if (!planned.before) {
        return Change::Add;
    }
    return planned.before == planned.listed ? Change::Keep : Change::Update;
}

Change changeByStriking(const PlannedChange& planned)
{
    return planned.before ? Change::Strike : Change::Absent;
}

} // namespace

std::string_view wordOf(Change change)
{
    switch (change) {
    case Change::Add:
        return "add";
    case Change::Update:
        return "update";
    case Change::Keep:
        return "keep";
    case Change::Strike:
        return "strike";
    case Change::Absent:
        return "absent";
    case Change::Unrecorded:
        return "unrecorded";
    case Change::Drop:
        return "drop";
    case Change::Damage:
        break;
    }
    return "damage";
}

bool isUnholdable(const std::string& id, ManifestFileType kind, const std::string& version)
{
    return isStored(kind) && (id.empty() || version.empty());
}

StorePlan::StorePlan(std::optional<std::string> bytes) : m_before(std::move(bytes)), m_bytes(m_before) {}

StoreWalk StorePlan::afterwards() const
{
    return walkStore(fileOf(m_bytes), Detail::Entries);
}

void StorePlan::run(RunMode mode, const CManifestInfo& manifest)
{
    CInstalledManifestInfo store = loadStore(fileOf(m_bytes));
    for (const ManifestFileInfo* file : manifest.getFileList()) {
        if (file == nullptr) {
            continue;
        }
        PlannedChange planned{Change::Keep, file->id, recordedAs(store, file->id), {file->type, file->version}};
        if (mode == RunMode::Record) {
            planned.change = changeByRecording(planned);
            store.AddInstalledEntry(file->id, file->type, file->version);
        } else {
            planned.change = changeByStriking(planned);
            store.RemoveInstalledEntry(file->id);
        }
        m_changes.push_back(std::move(planned));
    }
    for (const auto& entry : store.GetEntries()) {
        if (isUnholdable(entry.fileId, entry.type, entry.version)) {
            m_unholdable = entry.fileId;
        }
    }
    // The tool deletes the file of a store without entries, but not that of one whose entries are all left out.
    m_bytes.reset();
    if (!store.GetEntries().empty()) {
        m_bytes = store.GetFileBytes();
    }
}

} // namespace ctl
