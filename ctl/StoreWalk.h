#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace ctl {

/// What becomes of a record when the store is read.
enum class Fate
{
    Kept,
    /// A later record of its id takes its place.
    Replaced,
    /// Of a kind that readers skip.
    Dropped,
    /// Read, but given up with all others.
    Lost,
    /// Four bytes of a type that is none.
    Unknown,
    /// It could not be read to its end; it reaches up to the end of the file.
    Cut,
};

/// Why a text cannot be read.
enum class TextFault
{
    None,
    /// Fewer than four bytes are left for its count.
    NoCount,
    ZeroCount,
    /// Fewer bytes are left than its count says.
    CountTooLarge,
};

/// A text of a record, and where it stands.
struct StoreText
{
    /// Of its count, from the start of the file.
    std::size_t offset = 0;
    TextFault fault = TextFault::NoCount;
    std::uint32_t count = 0;
    /// All bytes that the count spans; empty when there is a fault.
    std::string_view bytes;

    bool isRead() const { return fault == TextFault::None; }
    /// As readers take it: up to its first zero byte, and its last byte counts as zero whatever it is.
    std::string_view text() const;
    std::size_t end() const { return offset + sizeof count + bytes.size(); }
};

/// The text whose count stands at an offset that is not beyond the end.
StoreText textAt(std::string_view file, std::size_t offset);

/// The little-endian number at an offset with at least four bytes behind it.
std::uint32_t numberAt(std::string_view file, std::size_t offset);

struct StoreRecord
{
    std::size_t offset = 0;
    std::size_t size = 0;
    std::uint32_t type = 0;
    Fate fate = Fate::Kept;
    StoreText version;
    StoreText id;
};

/// An entry that a reader gets.
struct StoreEntry
{
    std::string_view id;
    std::uint32_t type = 0;
    std::string_view version;
};

/// The bytes of a store as a reader goes through them. All texts are views into those bytes.
///
/// CInstalledManifestReader takes a store from a stream and copies each text; going through a file in memory costs a
/// third of that, and `list` is run often. So this is a second description of the same format. A test on a million
/// damaged files and a fuzz target hold it against what the tool loads.
struct StoreWalk
{
    std::string_view file;
    /// Both valid when the header is not cut.
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    bool isHeaderCut = false;
    bool isSupported = false;
    /// Every byte behind a supported header belongs to one of them, or to the stray bytes. None with Detail::Entries.
    std::vector<StoreRecord> records;
    /// One to three bytes at the end, too few for a type; equal to the size of the file when there are none.
    std::size_t strayOffset = 0;
    /// True when the reader gave up: the last record is Cut, and there are no entries.
    bool isGivenUp = false;
    bool hasUnknownType = false;
    /// In the order in which the reader has them.
    std::vector<StoreEntry> entries;

    /// True when the reader logs nothing.
    bool isGood() const { return isSupported && !isGivenUp && !hasUnknownType; }
};

/// What a walk keeps besides the entries: nothing, or every record.
enum class Detail
{
    Entries,
    Records,
};

/// Goes through a whole file. The bytes must outlive the result.
StoreWalk walkStore(std::string_view file, Detail detail = Detail::Records);

} // namespace ctl
