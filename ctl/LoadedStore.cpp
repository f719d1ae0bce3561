#include "ctl/LoadedStore.h"

#include "ctl/Streams.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace ctl {

namespace {

InstalledManifestState stateOf(int error, const StoreWalk& walk)
{
    if (error != 0) {
        return error == ENOENT ? InstalledManifestState::Absent : InstalledManifestState::Unreadable;
    }
    if (!walk.isHeaderCut && !walk.isSupported) {
        return InstalledManifestState::Unsupported;
    }
    return walk.isGood() ? InstalledManifestState::Good : InstalledManifestState::Damaged;
}

} // namespace

LoadedStore::LoadedStore(Place place, FileBytes file)
    : m_place(std::move(place)), m_file(std::move(file)), m_walk(walkStore(m_file.bytes)),
      m_state(stateOf(m_file.error, m_walk))
{}

bool LoadedStore::isUsable() const
{
    return m_state == InstalledManifestState::Good || m_state == InstalledManifestState::Absent;
}

std::string_view stateWord(InstalledManifestState state)
{
    switch (state) {
    case InstalledManifestState::Absent:
        return "absent";
    case InstalledManifestState::Unreadable:
        return "unreadable";
    case InstalledManifestState::Unsupported:
        return "unsupported";
    case InstalledManifestState::Damaged:
        return "damaged";
    default:
        return "good";
    }
}

void complainOfState(const LoadedStore& store)
{
    std::string fault = store.place().shown + ": the store is damaged";
    if (store.error() != 0) {
        fault = "cannot read " + store.place().shown + ": " + std::strerror(store.error());
    } else if (store.state() == InstalledManifestState::Unsupported) {
        fault = store.place().shown + ": the store is of a version that is not read";
    }
    complain(fault + "; obg_manifestctl check tells more");
}

} // namespace ctl
