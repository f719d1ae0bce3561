#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

/// A text of a store's file, and what its bytes are.
struct InstalledManifestText
{
    /// Where its count stands.
    std::uint64_t offset = 0;
    /// The number of bytes behind the count, the NUL at their end included; always one or more.
    std::uint32_t count = 0;
    /// Whether the last of them is NUL. Readers take it for one whatever it is.
    bool isTerminated = false;
    /// The bytes up to the first NUL.
    std::string value;

    /// How many bytes readers pass over: those between the first NUL and the last byte.
    std::uint32_t hiddenBytes() const { return count - 1 - static_cast<std::uint32_t>(value.size()); }
};

/// A record of a store's file, as far as it has been read.
struct InstalledManifestRecord
{
    std::uint64_t offset = 0;
    std::uint32_t type = 0;
    InstalledManifestText version;
    InstalledManifestText fileId;
};

/// Why a store's file could not be read on, and where.
struct InstalledManifestFailure
{
    enum class Field
    {
        Major,
        Minor,
        Type,
        Version,
        FileId,
    };

    enum class Cause
    {
        /// The file ends before or inside a number: a field of the header, or a text's count.
        NumberCut,
        /// A number cannot be read.
        NumberUnreadable,
        /// A text's count is 0.
        CountZero,
        /// The file ends before or inside the bytes of a text.
        TextCut,
        /// The bytes of a text cannot be read.
        TextUnreadable,
    };

    Field field = Field::Major;
    Cause cause = Cause::NumberCut;
    /// Where the number, or the text's count, stands.
    std::uint64_t offset = 0;
    /// The errno of what could not be read, else 0.
    int error = 0;
};

/// Reads the file of an installed-manifest store record by record; CInstalledManifestInfo describes its format. All
/// who read a store stand on this class. It logs nothing and takes no more memory than twice the longest text that the
/// file really holds and 64 KiB, whatever a count claims.
///
///     CInstalledManifestReader reader(file);
///     if (reader.readHeader() && reader.isSupported()) {
///         InstalledManifestRecord record;
///         for (auto step = reader.next(record); ...; step = reader.next(record)) ...
class CInstalledManifestReader
{
public:
    enum class Step
    {
        /// A whole record of a type that the store keeps.
        Kept,
        /// A whole record of a known type that readers drop.
        Dropped,
        /// The four bytes of a type that is none. Reading goes on behind them, out of step.
        UnknownType,
        /// The end of the file, between two records or up to three bytes behind the last one.
        End,
        /// A record that could not be read to its end: see failure(). Readers give up what they have read before.
        Failed,
    };

    /// The version that is written today.
    static constexpr std::uint32_t kFormatMajor = 1;
    static constexpr std::uint32_t kFormatMinor = 0;

    /// `file` is the caller's, open in binary mode at its first byte, and outlives the reader.
    explicit CInstalledManifestReader(std::istream& file) : m_file(file) {}

    /// Reads the format's version, once and first. False when it cannot be read: see failure().
    bool readHeader();

    /// The version that readHeader found; the minor is 0 as long as it has not been read.
    std::uint32_t formatMajor() const { return m_major; }
    std::uint32_t formatMinor() const { return m_minor; }

    /// Whether readers load a file of that version: 1.0, or a major of 0 with any minor.
    bool isSupported() const;

    /// Reads the next record into `record`, as far as it can be read: with UnknownType its offset and type, with Failed
    /// what stands in front of the field that failed. Not to be called again after End or Failed.
    Step next(InstalledManifestRecord& record);

    /// How many bytes have been read: the offset of what comes next. After Failed or End, every byte that there was.
    std::uint64_t offset() const { return m_offset; }

    /// What readHeader or next met when it failed.
    const InstalledManifestFailure& failure() const { return m_failure; }

private:
    using Failure = InstalledManifestFailure;

    bool read(char* bytes, std::size_t size);
    bool readManifestData(Failure::Field field, std::uint32_t& value);
    bool readManifestData(Failure::Field field, InstalledManifestText& text);
    bool failRead(Failure::Field field, Failure::Cause unreadable, Failure::Cause cut, std::uint64_t offset);

    std::istream& m_file;
    std::uint32_t m_major = 0;
    std::uint32_t m_minor = 0;
    std::uint64_t m_offset = 0;
    /// The errno of a read that failed, or 0.
    int m_error = 0;
    Failure m_failure;
};
