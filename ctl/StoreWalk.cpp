#include "ctl/StoreWalk.h"

#include "vpn/Common/InstalledManifestReader.h"
#include "vpn/Common/ManifestFileType.h"

#include <functional>

namespace ctl {

namespace {

constexpr std::size_t kNumberSize = 4;
constexpr std::size_t kHeaderSize = 2 * kNumberSize;
/// About that of most records; entries then take no more memory than the file, and are not moved while they come.
constexpr std::size_t kUsualRecordSize = sizeof(StoreEntry);

bool isSupportedVersion(std::uint32_t major, std::uint32_t minor)
{
    return major < CInstalledManifestReader::kFormatMajor ||
           (major == CInstalledManifestReader::kFormatMajor && minor == CInstalledManifestReader::kFormatMinor);
}

/// The record at an offset with at least four bytes behind it, by itself: what comes later may still change its fate.
StoreRecord recordAt(std::string_view file, std::size_t offset)
{
    StoreRecord record{offset, kNumberSize, numberAt(file, offset), Fate::Unknown, {}, {}};
    const FileKind* const kind = findFileKind(record.type);
    if (kind == nullptr) {
        return record;
    }
    record.version = textAt(file, offset + kNumberSize);
    if (record.version.isRead()) {
        record.id = textAt(file, record.version.end());
    }
    const bool isWhole = record.id.isRead();
    record.size = (isWhole ? record.id.end() : file.size()) - offset;
    record.fate = !isWhole ? Fate::Cut : kind->keeping == Keeping::Stored ? Fate::Kept : Fate::Dropped;
    return record;
}

/// Which entry has an id: a table of places in the list of entries, probed one slot after the other.
class EntryIndex
{
public:
    explicit EntryIndex(const std::vector<StoreEntry>& entries) : m_entries(entries), m_slots(kFirstSlots, kFree) {}

    /// The place of the entry with that id; where there is none, that of the next entry, which must get the id.
    std::uint32_t placeOf(std::string_view id)
    {
        if (2 * m_entries.size() >= m_slots.size()) {
            grow();
        }
        std::uint32_t& slot = slotOf(id);
        slot = slot == kFree ? static_cast<std::uint32_t>(m_entries.size()) : slot;
        return slot;
    }

private:
    static constexpr std::size_t kFirstSlots = 64;
    static constexpr std::uint32_t kFree = 0xFFFFFFFF;

    std::uint32_t& slotOf(std::string_view id)
    {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t slot = std::hash<std::string_view>()(id) & mask;
        while (m_slots[slot] != kFree && m_entries[m_slots[slot]].id != id) {
            slot = (slot + 1) & mask;
        }
        return m_slots[slot];
    }

    void grow()
    {
        m_slots.assign(4 * m_slots.size(), kFree);
        for (std::uint32_t place = 0; place < m_entries.size(); ++place) {
            slotOf(m_entries[place].id) = place;
        }
    }

    const std::vector<StoreEntry>& m_entries;
    std::vector<std::uint32_t> m_slots;
};

/// Goes through the records behind the header.
class Walker
{
public:
    Walker(StoreWalk& walk, Detail detail) : m_walk(walk), m_index(walk.entries), m_detail(detail) {}

    void run()
    {
        std::size_t offset = kHeaderSize;
        while (m_walk.file.size() - offset >= kNumberSize && !m_walk.isGivenUp) {
            const StoreRecord record = recordAt(m_walk.file, offset);
            offset += record.size;
            m_walk.hasUnknownType = m_walk.hasUnknownType || record.fate == Fate::Unknown;
            m_walk.isGivenUp = record.fate == Fate::Cut;
            if (record.fate == Fate::Kept) {
                keep(record);
            }
            if (m_detail == Detail::Records) {
                m_walk.records.push_back(record);
            }
        }
        m_walk.strayOffset = offset;
        if (m_walk.isGivenUp) {
            giveUp();
        }
    }

private:
    void keep(const StoreRecord& record)
    {
        const StoreEntry entry{record.id.text(), record.type, record.version.text()};
        const std::uint32_t place = m_index.placeOf(entry.id);
        if (place == m_walk.entries.size()) {
            m_walk.entries.push_back(entry);
            m_records.resize(m_detail == Detail::Records ? place + 1 : 0);
        } else {
            m_walk.entries[place] = entry;
        }
        if (m_detail == Detail::Records) {
            replaceRecord(place);
        }
    }

    /// The record that comes next is that of the entry at the place, and one before it no longer.
    void replaceRecord(std::uint32_t place)
    {
        if (m_records[place] != 0) {
            m_walk.records[m_records[place] - 1].fate = Fate::Replaced;
        }
        m_records[place] = m_walk.records.size() + 1;
    }

    void giveUp()
    {
        m_walk.entries.clear();
        for (StoreRecord& record : m_walk.records) {
            const bool isOfEntry = record.fate == Fate::Kept || record.fate == Fate::Replaced;
            record.fate = isOfEntry ? Fate::Lost : record.fate;
        }
    }

    StoreWalk& m_walk;
    EntryIndex m_index;
    const Detail m_detail;
    /// The number of the record of each entry, counted from 1.
    std::vector<std::size_t> m_records;
};

} // namespace

std::string_view StoreText::text() const
{
    const std::string_view counted = bytes.substr(0, bytes.empty() ? 0 : bytes.size() - 1);
    return counted.substr(0, counted.find('\0'));
}

std::uint32_t numberAt(std::string_view file, std::size_t offset)
{
    std::uint32_t number = 0;
    for (unsigned index = 0; index < kNumberSize; ++index) {
        number |= std::uint32_t{static_cast<unsigned char>(file[offset + index])} << (8 * index);
    }
    return number;
}

StoreText textAt(std::string_view file, std::size_t offset)
{
    if (file.size() - offset < kNumberSize) {
        return {offset, TextFault::NoCount, 0, {}};
    }
    const std::uint32_t count = numberAt(file, offset);
    const std::string_view left = file.substr(offset + kNumberSize);
    if (count == 0 || count > left.size()) {
        return {offset, count == 0 ? TextFault::ZeroCount : TextFault::CountTooLarge, count, {}};
    }
    return {offset, TextFault::None, count, left.substr(0, count)};
}

StoreWalk walkStore(std::string_view file, Detail detail)
{
    StoreWalk walk;
    walk.file = file;
    walk.strayOffset = file.size();
    walk.isHeaderCut = file.size() < kHeaderSize;
    if (walk.isHeaderCut) {
        return walk;
    }
    walk.major = numberAt(file, 0);
    walk.minor = numberAt(file, kNumberSize);
    walk.isSupported = isSupportedVersion(walk.major, walk.minor);
    if (walk.isSupported) {
        walk.entries.reserve(file.size() / kUsualRecordSize);
        Walker(walk, detail).run();
    }
    return walk;
}

} // namespace ctl
