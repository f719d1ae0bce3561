#include "vpn/Common/InstalledManifestReader.h"

#include <cerrno>
#include <ios>
#include <sstream>
#include <streambuf>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/Bytes.h"

namespace obg::test {

namespace {

using Reader = CInstalledManifestReader;
using Step = Reader::Step;
using Failure = InstalledManifestFailure;
using Record = InstalledManifestRecord;
using ::testing::ElementsAre;

const std::string kHeader = fromHex("01 00 00 00  00 00 00 00");
// 23 bytes: type 1, version "4.10.0", file id "abc".
const std::string kRecord = fromHex("01 00 00 00  07 00 00 00 34 2e 31 30 2e 30 00  04 00 00 00 61 62 63 00");

/** A reader of these bytes that has read the header. */
class ReaderOf
{
public:
    explicit ReaderOf(const std::string& bytes) : m_stream(bytes), m_reader(m_stream)
    {
        EXPECT_TRUE(m_reader.readHeader());
    }
    Reader* operator->() { return &m_reader; }

private:
    std::istringstream m_stream;
    Reader m_reader;
};

/** What the first record of these bytes, behind a header, is refused for. */
Failure failureOf(const std::string& bytes)
{
    ReaderOf reader(kHeader + bytes);
    Record record;
    EXPECT_EQ(reader->next(record), Step::Failed);
    return reader->failure();
}

void expectFailure(const Failure& failure, Failure::Field field, Failure::Cause cause, std::uint64_t offset, int error)
{
    EXPECT_EQ(failure.field, field);
    EXPECT_EQ(failure.cause, cause);
    EXPECT_EQ(failure.offset, offset);
    EXPECT_EQ(failure.error, error);
}

TEST(InstalledManifestReader, tellsTheVersionOfTheFormat)
{
    for (const auto& [major, minor, isSupported] :
         {std::tuple{1U, 0U, true}, {0U, 0U, true}, {0U, 77U, true}, {1U, 1U, false}, {2U, 0U, false}}) {
        ReaderOf reader(storeHeader(major, minor));
        EXPECT_EQ(reader->formatMajor(), major);
        EXPECT_EQ(reader->formatMinor(), minor);
        EXPECT_EQ(reader->isSupported(), isSupported) << major << '.' << minor;
        EXPECT_EQ(reader->offset(), 8U);
    }
}

TEST(InstalledManifestReader, tellsWhereTheHeaderIsCut)
{
    for (std::size_t size = 0; size < 8; ++size) {
        std::istringstream stream(kHeader.substr(0, size));
        Reader reader(stream);
        EXPECT_FALSE(reader.readHeader());
        expectFailure(reader.failure(), size < 4 ? Failure::Field::Major : Failure::Field::Minor,
                      Failure::Cause::NumberCut, size < 4 ? 0 : 4, 0);
        EXPECT_EQ(reader.offset(), size);
    }
}

TEST(InstalledManifestReader, givesARecordWithItsPlaces)
{
    ReaderOf reader(kHeader + kRecord);
    Record record;
    EXPECT_EQ(reader->next(record), Step::Kept);
    EXPECT_EQ(record.offset, 8U);
    EXPECT_EQ(record.type, 1U);
    EXPECT_EQ(record.version.offset, 12U);
    EXPECT_EQ(record.version.count, 7U);
    EXPECT_EQ(record.version.value, "4.10.0");
    EXPECT_EQ(record.fileId.offset, 23U);
    EXPECT_EQ(record.fileId.count, 4U);
    EXPECT_EQ(record.fileId.value, "abc");
    EXPECT_EQ(reader->offset(), 31U);
    EXPECT_EQ(reader->next(record), Step::End);
}

TEST(InstalledManifestReader, tellsKeptDroppedAndUnknownTypesApart)
{
    ReaderOf reader(kHeader + storeRecord(9, "1", "fonts") + u32le(7) + storeRecord(18, "4", "posture"));
    Record record;
    EXPECT_EQ(reader->next(record), Step::Dropped);
    EXPECT_EQ(record.fileId.value, "fonts");
    EXPECT_EQ(reader->next(record), Step::UnknownType);
    EXPECT_EQ(record.offset, 8U + 4 + 6 + 10);
    EXPECT_EQ(record.type, 7U);
    EXPECT_EQ(record.fileId.value, "") << "of an earlier record";
    EXPECT_EQ(reader->next(record), Step::Kept);
    EXPECT_EQ(record.fileId.value, "posture");
}

TEST(InstalledManifestReader, endsBehindUpToThreeStrayBytes)
{
    for (std::size_t size = 0; size < 4; ++size) {
        ReaderOf reader(kHeader + kRecord + std::string(size, '\1'));
        Record record;
        EXPECT_EQ(reader->next(record), Step::Kept);
        EXPECT_EQ(reader->next(record), Step::End);
        EXPECT_EQ(record.offset, 31U);
        EXPECT_EQ(reader->offset(), 31 + size);
    }
}

TEST(InstalledManifestReader, tellsWhatItPassesOverInAText)
{
    struct Case
    {
        std::string bytes;
        std::string value;
        std::uint32_t hiddenBytes;
        bool isTerminated;
    };
    for (const Case& text :
         {Case{fromHex("61 62 00"), "ab", 0, true}, Case{fromHex("61 62 63"), "ab", 0, false},
          Case{fromHex("61 00 63 00"), "a", 2, true}, Case{fromHex("61 00 63 64"), "a", 2, false},
          Case{fromHex("00"), "", 0, true}, Case{fromHex("61"), "", 0, false}, Case{fromHex("00 00"), "", 1, true}}) {
        ReaderOf reader(kHeader + u32le(2) + u32le(static_cast<std::uint32_t>(text.bytes.size())) + text.bytes +
                        field("id"));
        Record record;
        EXPECT_EQ(reader->next(record), Step::Kept);
        EXPECT_EQ(record.version.value, text.value) << toHex(text.bytes);
        EXPECT_EQ(record.version.hiddenBytes(), text.hiddenBytes) << toHex(text.bytes);
        EXPECT_EQ(record.version.isTerminated, text.isTerminated) << toHex(text.bytes);
        EXPECT_EQ(record.fileId.value, "id");
    }
}

TEST(InstalledManifestReader, tellsTheFieldThatIsCutAndWhereItStands)
{
    using Field = Failure::Field;
    using Cause = Failure::Cause;
    for (std::size_t size = 4; size < kRecord.size(); ++size) {
        SCOPED_TRACE(size);
        const bool isVersion = size < 15;
        const bool isCount = size < 8 || (size >= 15 && size < 19);
        expectFailure(failureOf(kRecord.substr(0, size)), isVersion ? Field::Version : Field::FileId,
                      isCount ? Cause::NumberCut : Cause::TextCut, isVersion ? 12 : 23, 0);
    }
}

TEST(InstalledManifestReader, refusesACountOfNothing)
{
    expectFailure(failureOf(u32le(2) + u32le(0)), Failure::Field::Version, Failure::Cause::CountZero, 12, 0);
    expectFailure(failureOf(u32le(9) + field("1") + u32le(0)), Failure::Field::FileId, Failure::Cause::CountZero, 18,
                  0);
}

TEST(InstalledManifestReader, givesOfARecordThatIsCutWhatStandsBeforeTheCut)
{
    ReaderOf reader(kHeader + kRecord + kRecord.substr(0, 21));
    Record record;
    EXPECT_EQ(reader->next(record), Step::Kept);
    EXPECT_EQ(reader->next(record), Step::Failed);
    EXPECT_EQ(record.offset, 31U);
    EXPECT_EQ(record.type, 1U);
    EXPECT_EQ(record.version.value, "4.10.0");
    EXPECT_EQ(record.fileId.value, "");
    EXPECT_EQ(record.fileId.count, 4U);
    EXPECT_EQ(reader->offset(), 31U + 21U);
}

/** How a file stream shows that a read of its file has failed, beside errno. */
enum class Manner
{
    /** It throws, within the stream. */
    Throws,
    /** It ends. */
    Ends,
    /** It gives what the read brought before it failed, and ends when it is asked again. */
    EndsLater,
};

/** A file whose disk fails behind its first bytes. */
class BadSector : public std::streambuf
{
public:
    BadSector(std::string bytes, Manner manner) : m_bytes(std::move(bytes)), m_manner(manner)
    {
        if (manner != Manner::EndsLater) {
            give();
        }
    }

protected:
    int_type underflow() override
    {
        if (m_isGiven && m_manner == Manner::EndsLater) {
            return traits_type::eof();
        }
        errno = EIO;
        if (m_manner == Manner::Throws) {
            throw std::ios_base::failure("bad sector");
        }
        if (m_manner == Manner::EndsLater) {
            give();
        }
        return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
    }

private:
    void give()
    {
        m_isGiven = true;
        setg(m_bytes.data(), m_bytes.data(), m_bytes.data() + m_bytes.size());
    }

    std::string m_bytes;
    Manner m_manner;
    bool m_isGiven = false;
};

class InstalledManifestReaderFailure : public ::testing::TestWithParam<Manner>
{};

TEST_P(InstalledManifestReaderFailure, isToldFromACutFile)
{
    using Cause = Failure::Cause;
    std::vector<Cause> causes;
    for (const std::size_t size : {0U, 8U, 10U, 12U, 17U}) {
        BadSector file((kHeader + kRecord).substr(0, size), GetParam());
        std::istream stream(&file);
        Reader reader(stream);
        Record record;
        EXPECT_TRUE(!reader.readHeader() || reader.next(record) == Step::Failed) << size;
        causes.push_back(reader.failure().cause);
        EXPECT_EQ(reader.failure().error, EIO);
    }
    EXPECT_THAT(causes, ElementsAre(Cause::NumberUnreadable, Cause::NumberUnreadable, Cause::NumberUnreadable,
                                    Cause::NumberUnreadable, Cause::TextUnreadable));
}

INSTANTIATE_TEST_SUITE_P(OfEveryLibrary, InstalledManifestReaderFailure,
                         ::testing::Values(Manner::Throws, Manner::Ends, Manner::EndsLater));

} // namespace

} // namespace obg::test
