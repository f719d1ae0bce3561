#pragma once

#include "ctl/StorePlan.h"
#include "ctl/SyncState.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace ctl {

/// An id with what is recorded or listed of it.
struct Entry
{
    std::string id;
    KindAndVersion what;

    bool operator==(const Entry&) const = default;
};

/// A manifest that is installed.
struct InstalledManifest
{
    /// The file's name, without folder.
    std::string name;
    /// Why it is skipped, in words; empty when it is not.
    std::string rejection;
    /// In document order.
    std::vector<Entry> entries;
};

/// What sync starts from.
struct SyncInput
{
    /// In the order of their names.
    std::vector<InstalledManifest> manifests;
    /// What earlier runs have claimed.
    std::vector<Claim> claims;
    /// What the store has, in its order, as far as it could be read.
    std::vector<Entry> found;
    /// Whether that is all of it.
    bool isWhole = true;
    /// Whether the store is made from the manifests alone.
    bool isRebuild = false;
};

/// What sync does to one entry.
struct SyncChange
{
    Change change = Change::Keep;
    std::string id;
    /// The manifest that lists it, or, of what is struck, the one that did; nullopt when somebody else recorded it.
    std::optional<std::string> manifest;
    std::optional<KindAndVersion> before;
    std::optional<KindAndVersion> listed;
};

/// Two manifests that list one id.
struct SyncConflict
{
    std::string id;
    std::string earlier;
    /// The one that holds.
    std::string later;
};

/// What sync does: how the entries of a store come to be those that the manifests list, which of them are its own
/// afterwards, and what there is to say about it.
struct SyncPlan
{
    /// One for each id that is listed, by the manifest that holds, in their order; then what is struck.
    std::vector<SyncChange> changes;
    std::vector<SyncConflict> conflicts;
    /// What is sync's own afterwards.
    std::vector<Claim> claims;
    /// Whether the entries are others than before, or in another order.
    bool isChanged = false;
    std::size_t entries = 0;
    /// The file for the entries; nullopt when there are none.
    std::optional<std::string> bytes;
    /// The id of an entry without id or version, which no file can hold; nullopt when there is none.
    std::optional<std::string> unholdable;
};

/// Plans a run of sync; touches nothing but memory.
///
/// The manifests are recorded as the tool would do it, one after the other. What an earlier run has claimed and none
/// lists any more is struck, if the store still has it as it was claimed. What a rejected manifest has listed before
/// stays.
SyncPlan planSync(const SyncInput& input);

/// What of the entries of a manifest the store could not hold after a run with it: the last one of an id counts.
/// nullptr when there is no such entry.
const Entry* findUnholdable(const std::vector<Entry>& entries);

} // namespace ctl
