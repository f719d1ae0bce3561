#pragma once

#include "ctl/FileBytes.h"
#include "ctl/Paths.h"
#include "ctl/StoreWalk.h"
#include "vpn/Common/InstalledManifestInfo.h"

#include <string>
#include <string_view>

namespace ctl {

/// A store as it is read: the bytes of its file, and what a reader makes of them.
class LoadedStore
{
public:
    LoadedStore(Place place, FileBytes file, Detail detail = Detail::Records);
    /// The walk looks into the bytes, so they stay where they are.
    LoadedStore(const LoadedStore&) = delete;
    LoadedStore& operator=(const LoadedStore&) = delete;

    const Place& place() const { return m_place; }
    std::string_view bytes() const { return m_file.bytes; }
    /// 0, or why the file could not be read.
    int error() const { return m_file.error; }
    const StoreWalk& walk() const { return m_walk; }
    InstalledManifestState state() const { return m_state; }

    /// True when there is something to work on: the store is good, or absent and so without entries.
    bool isUsable() const;

private:
    const Place m_place;
    const FileBytes m_file;
    const StoreWalk m_walk;
    const InstalledManifestState m_state;
};

/// "absent", "unreadable", "unsupported", "damaged" or "good".
std::string_view stateWord(InstalledManifestState state);

/// Why a command that needs a good store cannot work with one in this state, with the command that tells more. `error`
/// is why an unreadable one cannot be read.
std::string refusalOf(const std::string& shown, InstalledManifestState state, int error);

/// Complains that a command needs a good store and this one is not, and names the command that tells more.
void complainOfState(const LoadedStore& store);

} // namespace ctl
