#include "ctl/StoreWalk.h"

#include "vpn/Common/InstalledManifestReader.h"
#include "vpn/Common/ManifestFileType.h"

#include <istream>
#include <streambuf>
#include <unordered_map>

namespace ctl {

namespace {

using Reader = CInstalledManifestReader;

/// Bytes in memory as a stream; they are not copied.
class ViewBuffer : public std::streambuf
{
public:
    explicit ViewBuffer(std::string_view bytes)
    {
        // The interface asks for bytes that can be changed; a buffer that is only read from changes none.
        char* const first = const_cast<char*>(bytes.data());
        setg(first, first, first + bytes.size());
    }
};

StoreText readText(std::string_view file, const InstalledManifestText& text)
{
    const std::size_t first = text.offset + sizeof text.count;
    return {text.offset, TextFault::None, text.count, file.substr(first, text.count)};
}

TextFault faultOf(InstalledManifestFailure::Cause cause)
{
    switch (cause) {
    case InstalledManifestFailure::Cause::CountZero:
        return TextFault::ZeroCount;
    case InstalledManifestFailure::Cause::TextCut:
    case InstalledManifestFailure::Cause::TextUnreadable:
        return TextFault::CountTooLarge;
    default:
        return TextFault::NoCount;
    }
}

StoreRecord cutRecord(std::string_view file, const InstalledManifestRecord& read,
                      const InstalledManifestFailure& failure)
{
    StoreRecord record{read.offset, file.size() - read.offset, read.type, Fate::Cut, {}, {}};
    const bool isVersion = failure.field == InstalledManifestFailure::Field::Version;
    const std::uint32_t count = isVersion ? read.version.count : read.fileId.count;
    const StoreText fault{failure.offset, faultOf(failure.cause), count, {}};
    record.version = isVersion ? fault : readText(file, read.version);
    record.id = isVersion ? StoreText{} : fault;
    return record;
}

StoreRecord recordOf(std::string_view file, Reader::Step step, const InstalledManifestRecord& read,
                     const Reader& reader)
{
    switch (step) {
    case Reader::Step::Kept:
    case Reader::Step::Dropped:
        return {read.offset,
                reader.offset() - read.offset,
                read.type,
                step == Reader::Step::Kept ? Fate::Kept : Fate::Dropped,
                readText(file, read.version),
                readText(file, read.fileId)};
    case Reader::Step::UnknownType:
        return {read.offset, sizeof read.type, read.type, Fate::Unknown, {}, {}};
    default:
        return cutRecord(file, read, reader.failure());
    }
}

void walkRecords(StoreWalk& walk, Reader& reader)
{
    InstalledManifestRecord read;
    for (Reader::Step step = reader.next(read); step != Reader::Step::End; step = reader.next(read)) {
        walk.records.push_back(recordOf(walk.file, step, read, reader));
        walk.hasUnknownType = walk.hasUnknownType || step == Reader::Step::UnknownType;
        if (step == Reader::Step::Failed) {
            walk.isGivenUp = true;
            return;
        }
    }
    walk.strayOffset = read.offset;
}

/// Makes the entries from the kept records, and marks those that a later one replaces.
void settleEntries(StoreWalk& walk)
{
    struct Holder
    {
        std::size_t entry;
        std::size_t record;
    };
    std::unordered_map<std::string_view, Holder> holders;
    for (std::size_t index = 0; index < walk.records.size(); ++index) {
        const StoreRecord& record = walk.records[index];
        if (record.fate != Fate::Kept) {
            continue;
        }
        const StoreEntry entry{record.id.text(), record.type, record.version.text()};
        const auto [place, isNew] = holders.try_emplace(entry.id, Holder{walk.entries.size(), index});
        if (isNew) {
            walk.entries.push_back(entry);
            continue;
        }
        walk.records[place->second.record].fate = Fate::Replaced;
        walk.entries[place->second.entry] = entry;
        place->second.record = index;
    }
}

void giveUpEntries(StoreWalk& walk)
{
    for (StoreRecord& record : walk.records) {
        record.fate = record.fate == Fate::Kept ? Fate::Lost : record.fate;
    }
}

} // namespace

std::string_view StoreText::text() const
{
    const std::string_view counted = bytes.substr(0, bytes.empty() ? 0 : bytes.size() - 1);
    return counted.substr(0, counted.find('\0'));
}

StoreWalk walkStore(std::string_view file)
{
    ViewBuffer buffer(file);
    std::istream stream(&buffer);
    Reader reader(stream);
    StoreWalk walk;
    walk.file = file;
    walk.strayOffset = file.size();
    walk.isHeaderCut = !reader.readHeader();
    walk.major = reader.formatMajor();
    walk.minor = reader.formatMinor();
    walk.isSupported = !walk.isHeaderCut && reader.isSupported();
    if (walk.isSupported) {
        walkRecords(walk, reader);
        walk.isGivenUp ? giveUpEntries(walk) : settleEntries(walk);
    }
    return walk;
}

} // namespace ctl
