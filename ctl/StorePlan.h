#pragma once

#include "ctl/StoreWalk.h"
#include "vpn/Common/ManifestFileType.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class CManifestInfo;
struct ManifestFileInfo;

namespace ctl {

/// What the tool is told to do with the entries of a manifest.
enum class RunMode
{
    Record, // -i
    Strike, // -x
};

/// What an entry of a manifest does to the store.
enum class Change
{
    Add,
    Update,
    Keep,
    Strike,
    /// There is nothing to strike.
    Absent,
    /// The kind is not recorded, and the store does not have the id.
    Unrecorded,
    /// The kind is not recorded: what the store has of the id goes.
    Drop,
    /// Without id or version, the entry puts readers of the store out of step.
    Damage,
};

/// The word for a change, as results show it.
std::string_view wordOf(Change change);

struct KindAndVersion
{
    ManifestFileType kind = eFileTypeNone;
    std::string version;

    bool operator==(const KindAndVersion&) const = default;
};

/// Whether an entry is recorded, and has no id or no version: no file can hold it.
bool isUnholdable(const std::string& id, ManifestFileType kind, const std::string& version);

struct PlannedChange
{
    Change change = Change::Keep;
    std::string id;
    /// What the store had of the id when the entry's turn came; a kind that it does not record is nothing.
    std::optional<KindAndVersion> before;
    KindAndVersion listed;
};

/// Finds out what the tool would do to a store, one run after the other, without touching anything.
class StorePlan
{
public:
    /// Starts from the bytes of the store file; nullopt is a store that is absent.
    explicit StorePlan(std::optional<std::string> bytes);

    /// One run of the tool with a manifest that it accepts. Each run meets the store as the tool loads what the one
    /// before has left.
    void run(RunMode mode, const CManifestInfo& manifest);

    /// One for each entry of each manifest, in order.
    const std::vector<PlannedChange>& changes() const { return m_changes; }

    /// The store file after the last run, nullopt where it would be deleted.
    const std::optional<std::string>& bytes() const { return m_bytes; }

    /// The id of an entry without id or version that a run had in the store in the end: no file can hold it, and its
    /// readers are out of step. nullopt when there was none.
    const std::optional<std::string>& unholdable() const { return m_unholdable; }

    /// Whether the file would be, to the byte, what it is.
    bool changesNothing() const { return m_bytes == m_before; }

    /// What a reader of the store gets after the last run: views into `bytes()`.
    StoreWalk afterwards() const;

private:
    const std::optional<std::string> m_before;
    std::optional<std::string> m_bytes;
    std::vector<PlannedChange> m_changes;
    std::optional<std::string> m_unholdable;
};

} // namespace ctl
