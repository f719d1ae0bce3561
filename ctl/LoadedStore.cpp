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

LoadedStore::LoadedStore(Place place, FileBytes file, Detail detail)
    : m_place(std::move(place)), m_file(std::move(file)), m_walk(walkStore(m_file.bytes, detail)),
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

std::string refusalOf(const std::string& shown, InstalledManifestState state, int error)
{
    std::string fault = shown + ": the store is damaged";
    if (error != 0) {
        fault = "cannot read " + shown + ": " + std::strerror(error);
    } else if (state == InstalledManifestState::Unsupported) {
        fault = shown + ": the store is of a version that is not read";
    }
    return fault + "; obg_manifestctl check tells more";
}

void complainOfState(const LoadedStore& store)
{
    complain(refusalOf(store.place().shown, store.state(), store.error()));
}

} // namespace ctl
