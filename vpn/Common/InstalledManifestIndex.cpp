#include "vpn/Common/InstalledManifestIndex.h"

#include <functional>

namespace {

constexpr std::size_t kFewest = 16;

std::size_t hashOf(std::string_view fileId)
{
    return std::hash<std::string_view>()(fileId);
}

bool areEnough(std::size_t places, std::size_t entries)
{
    return entries * 5 <= places * 4;
}

} // namespace

void CInstalledManifestIndex::reserve(std::size_t count)
{
    std::size_t size = kFewest;
    while (!areEnough(size, count)) {
        size *= 2;
    }
    if (size <= m_places.size()) {
        return;
    }
    std::vector<Place> before(size, Place{0, m_none});
    before.swap(m_places);
    for (const Place& moved : before) {
        if (moved.entry != m_none) {
            m_places[locate(moved.hash, moved.entry->fileId)] = moved;
        }
    }
}

CInstalledManifestIndex::Entries::iterator CInstalledManifestIndex::find(std::string_view fileId) const
{
    return m_places.empty() ? m_none : m_places[locate(hashOf(fileId), fileId)].entry;
}

CInstalledManifestIndex::Entries::iterator& CInstalledManifestIndex::place(std::string_view fileId)
{
    const std::size_t hash = hashOf(fileId);
    reserve(m_taken + 1);
    Place& place = m_places[locate(hash, fileId)];
    if (place.entry == m_none) {
        place.hash = hash;
        ++m_taken;
    }
    return place.entry;
}

CInstalledManifestIndex::Entries::iterator CInstalledManifestIndex::take(std::string_view fileId)
{
    if (m_places.empty()) {
        return m_none;
    }
    const std::size_t at = locate(hashOf(fileId), fileId);
    const Entries::iterator entry = m_places[at].entry;
    if (entry != m_none) {
        close(at);
        --m_taken;
    }
    return entry;
}

/// Where the entry with that file id stands, or else the free place that it would get. There is always a free one.
std::size_t CInstalledManifestIndex::locate(std::size_t hash, std::string_view fileId) const
{
    std::size_t at = home(hash);
    while (!isFree(at) && (m_places[at].hash != hash || m_places[at].entry->fileId != fileId)) {
        at = behind(at);
    }
    return at;
}

/// Frees a place. What stands behind it, without a free place between, moves up where it may: not in front of its home.
void CInstalledManifestIndex::close(std::size_t gap)
{
    for (std::size_t at = behind(gap); !isFree(at); at = behind(at)) {
        const std::size_t toHome = home(at - home(m_places[at].hash));
        const std::size_t toGap = home(at - gap);
        if (toHome >= toGap) {
            m_places[gap] = m_places[at];
            gap = at;
        }
    }
    m_places[gap].entry = m_none;
}
