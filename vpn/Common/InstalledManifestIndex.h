#pragma once

#include "vpn/Common/InstalledManifestEntry.h"

#include <cstddef>
#include <list>
#include <string_view>
#include <vector>

/// Finds the entries of a list by their file id.
///
/// The index is one table of places, a power of two of them and at most four fifths taken. An entry stands at the first
/// place that was free from the one on that its hash names. A std::unordered_map takes a block of memory and a far
/// jump more for each entry: with 100,000 of them, half the time of loading a store.
class CInstalledManifestIndex
{
public:
    using Entries = std::list<InstalledManifestEntry>;

    /// An index of no entries of this list, which is the caller's and outlives it.
    explicit CInstalledManifestIndex(Entries& entries) : m_none(entries.end()) {}

    /// Makes room for that many entries in all.
    void reserve(std::size_t count);

    /// The entry with that file id; the end of the list when there is none.
    Entries::iterator find(std::string_view fileId) const;

    /// The place of the entry with that file id. It holds the end of the list when there is none, and the caller then
    /// puts an entry with that id there before it calls anything else.
    Entries::iterator& place(std::string_view fileId);

    /// Forgets the entry with that file id and gives it; the end of the list when there is none.
    Entries::iterator take(std::string_view fileId);

private:
    struct Place
    {
        std::size_t hash;
        Entries::iterator entry;
    };

    bool isFree(std::size_t at) const { return m_places[at].entry == m_none; }
    std::size_t home(std::size_t hash) const { return hash & (m_places.size() - 1); }
    std::size_t behind(std::size_t at) const { return home(at + 1); }
    std::size_t locate(std::size_t hash, std::string_view fileId) const;
    void close(std::size_t gap);

    std::vector<Place> m_places;
    std::size_t m_taken = 0;
    /// The end of the list, which marks a free place.
    Entries::iterator m_none;
};
