#include "vpn/Common/InstalledManifestInfo.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/support/Bytes.h"
#include "tests/support/FailingReads.h"
#include "tests/support/Files.h"
#include "tests/support/Kinds.h"
#include "tests/support/PrivateMachine.h"
#include "tests/support/Privileges.h"
#include "tests/support/StoreRecords.h"

namespace obg::test {

namespace {

namespace fs = std::filesystem;

using Entry = CInstalledManifestInfo::InstalledManifestEntry;
using State = InstalledManifestState;
using Pairs = std::list<std::pair<std::string, std::string>>;
using Records = std::vector<LogRecordMatcher>;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr long kNotWritten = 0xFE000009;

const std::string kOneEntry =
    fromHex("01 00 00 00  00 00 00 00  01 00 00 00  07 00 00 00 34 2e 31 30 2e 30 00  04 00 00 00 61 62 63 00");

const std::string kWhole = storeRecord(2, "1.0", "whole");
const Pairs kWholeLoaded{{"whole", "1.0"}};

/** A string as it stands in the file, with a count that need not fit. */
std::string rawString(std::uint32_t count, const std::string& bytes)
{
    return u32le(count) + bytes;
}

LogRecordMatcher notLoaded(int line)
{
    return fieldNotRead("loadInstalledFileData", line);
}

LogRecordMatcher stringNotRead(int line)
{
    return fieldNotRead("readManifestData", line);
}

LogRecordMatcher notOpened(int line, std::uint32_t error, const std::string& description)
{
    return storeCallFailed(line == 267 ? "loadInstalledFileData" : "WriteFile", line, "fstream::open", error,
                           description);
}

LogRecordMatcher notRemoved(std::uint32_t error)
{
    return storeCallFailed("WriteFile", 432, "remove", error, "unknown");
}

LogRecordMatcher writeFailed(int line, std::uint32_t error, const std::string& description)
{
    return storeCallFailed("writeManifestData", line, "fstream::write", error, description);
}

LogRecordMatcher recordNotWritten()
{
    return fieldNotWritten("WriteFile", 494);
}

/** Each test starts with empty install roots, and its log is recorded. */
class InstalledManifestInfo : public InstallRootsTest
{
protected:
    /** What a store with these bytes holds when it is loaded; what that logs is left in the log. */
    Pairs load(const std::string& bytes)
    {
        writeFile(currentStore(), bytes);
        m_log.clear();
        return loadNow();
    }

    /** The same on a disk that fails with EIO behind the first READABLE bytes. */
    Pairs loadFailingAt(std::size_t readable, const std::string& bytes)
    {
        writeFile(currentStore(), bytes);
        m_log.clear();
        const FailingReads failing(readable, EIO);
        return loadNow();
    }

    Pairs loadNow()
    {
        const CInstalledManifestInfo store(eCurrentDataPath);
        m_state = store.GetState();
        return store.GetInstalledEntries();
    }

    void expectLogged(const Records& expected) const { EXPECT_THAT(m_log.records(), ElementsAreArray(expected)); }
    void expectNothingLogged() const { EXPECT_THAT(m_log.records(), IsEmpty()); }

    CapturedLog m_log;
    /** Of the store that was loaded last. */
    State m_state = State::Absent;
};

// The interface.

static_assert(sizeof(std::declval<const CInstalledManifestInfo&>().WriteFile()) == 8);
static_assert(std::is_same_v<decltype(std::declval<const CInstalledManifestInfo&>().GetInstalledEntries()), Pairs>);
static_assert(std::is_same_v<std::underlying_type_t<eManifestDataPath>, std::uint32_t>);
static_assert(std::is_same_v<std::underlying_type_t<ManifestFileType>, std::uint32_t>);
static_assert(eCurrentDataPath == 0 && eLegacyDataPath == 1);

// Where the file is.

TEST_F(InstalledManifestInfo, ofValue1IsTheLegacyStoreAndOfEveryOtherValueTheCurrentOne)
{
    writeFile("/opt/orvanta/brightgate/VPNManifest.dat", storeHeader() + storeRecord(1, "1", "current"));
    writeFile("/opt/orvanta/tessellink/VPNManifest.dat", storeHeader() + storeRecord(1, "1", "legacy"));
    EXPECT_THAT(CInstalledManifestInfo(eLegacyDataPath).GetInstalledEntries(), ElementsAre(Pair("legacy", "1")));
    for (const std::uint32_t value : {0U, 2U, 3U, 0x80000000U, 0xFFFFFFFFU}) {
        const CInstalledManifestInfo store(static_cast<eManifestDataPath>(value));
        EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("current", "1"))) << value;
    }
}

TEST_F(InstalledManifestInfo, isWrittenBelowTheRootThatItWasLoadedFrom)
{
    CInstalledManifestInfo legacy(eLegacyDataPath);
    legacy.AddInstalledEntry("abc", eFileTypeMsi, "4.10.0");
    EXPECT_EQ(legacy.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile("/opt/orvanta/tessellink/VPNManifest.dat")), toHex(kOneEntry));
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(InstalledManifestInfo, atAPathOfTheCallerIsLoadedFromThereAndWrittenThere)
{
    writeFile("/opt/elsewhere", kOneEntry);
    CInstalledManifestInfo store = CInstalledManifestInfo::AtPath("/opt/elsewhere");
    EXPECT_EQ(store.GetPath(), "/opt/elsewhere");
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("abc", "4.10.0")));
    store.AddInstalledEntry("whole", eFileTypeExe, "1.0");
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile("/opt/elsewhere")), toHex(kOneEntry + kWhole));
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(InstalledManifestInfo, fromAStreamIsLoadedFromItAndWrittenToThePath)
{
    std::istringstream bytes(kOneEntry);
    CInstalledManifestInfo store = CInstalledManifestInfo::FromStream(bytes, "/opt/elsewhere");
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("abc", "4.10.0")));
    EXPECT_EQ(store.GetState(), InstalledManifestState::Good);
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile("/opt/elsewhere")), toHex(kOneEntry));
    std::istringstream nothing;
    EXPECT_EQ(CInstalledManifestInfo::FromStream(nothing, "").GetState(), InstalledManifestState::Damaged);
    expectLogged({notLoaded(279)});
}

TEST_F(InstalledManifestInfo, saysWhereItsFileIs)
{
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetPath(), "/opt/orvanta/brightgate/VPNManifest.dat");
    EXPECT_EQ(CInstalledManifestInfo(eLegacyDataPath).GetPath(), "/opt/orvanta/tessellink/VPNManifest.dat");
}

// The state.

TEST_F(InstalledManifestInfo, withoutAFileIsAbsent)
{
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetState(), State::Absent);
    fs::create_symlink("/opt/nowhere", currentStore());
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetState(), State::Absent);
    fs::remove(currentStore());
    fs::remove(kCurrentRoot);
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetState(), State::Absent);
}

TEST_F(InstalledManifestInfo, thatCannotBeLookedAtOpenedOrReadIsUnreadable)
{
    fs::create_directory(currentStore());
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetState(), State::Unreadable) << "a folder";
    fs::remove(currentStore());
    fs::create_symlink(currentStore(), currentStore());
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetState(), State::Unreadable) << "a link to itself";
    fs::remove(currentStore());
    for (const std::size_t readable : {0U, 4U, 8U, 12U, 19U, 31U}) {
        loadFailingAt(readable, kOneEntry);
        EXPECT_EQ(m_state, State::Unreadable) << readable;
    }
    ASSERT_EQ(chmod(currentStore().c_str(), 0), 0);
    const WithoutPrivileges ordinaryUser;
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetState(), State::Unreadable) << "mode 0";
}

TEST_F(InstalledManifestInfo, ofAnotherFormatIsUnsupported)
{
    load(storeHeader(1, 1) + kWhole);
    EXPECT_EQ(m_state, State::Unsupported);
    load(storeHeader(2, 0));
    EXPECT_EQ(m_state, State::Unsupported);
}

TEST_F(InstalledManifestInfo, thatIsLoadedWithARecordIsDamaged)
{
    for (std::size_t size = 0; size < 8; ++size) {
        load(kOneEntry.substr(0, size));
        EXPECT_EQ(m_state, State::Damaged) << size;
    }
    load(storeHeader() + u32le(7) + kWhole);
    EXPECT_EQ(m_state, State::Damaged) << "an unknown type";
    load(storeHeader() + kWhole + u32le(2) + rawString(0, ""));
    EXPECT_EQ(m_state, State::Damaged) << "a count of 0";
    load(kOneEntry.substr(0, 30));
    EXPECT_EQ(m_state, State::Damaged) << "cut";
}

TEST_F(InstalledManifestInfo, thatIsLoadedWithoutARecordIsGood)
{
    for (const std::string& bytes : {storeHeader(), storeHeader(0, 77), kOneEntry, kOneEntry + std::string(3, 'x'),
                                     storeHeader() + storeRecord(9, "1", "fonts")}) {
        load(bytes);
        EXPECT_EQ(m_state, State::Good) << toHex(bytes);
        expectNothingLogged();
    }
}

TEST_F(InstalledManifestInfo, hasTheStateThatLoadingMetWhateverIsDoneToItsEntries)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("abc", eFileTypeMsi, "4.10.0");
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(store.GetState(), State::Absent);
}

// Loading: the file itself.

TEST_F(InstalledManifestInfo, ofAnAbsentFileIsEmptyWithoutARecord)
{
    EXPECT_THAT(CInstalledManifestInfo(eCurrentDataPath).GetInstalledEntries(), IsEmpty());
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, ofAMissingRootIsEmptyWithoutARecord)
{
    fs::remove(kCurrentRoot);
    EXPECT_THAT(CInstalledManifestInfo(eCurrentDataPath).GetInstalledEntries(), IsEmpty());
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, ofADanglingLinkIsEmptyWithoutARecord)
{
    fs::create_symlink("/opt/nowhere", currentStore());
    EXPECT_THAT(CInstalledManifestInfo(eCurrentDataPath).GetInstalledEntries(), IsEmpty());
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, ofAFolderIsEmptyWithoutARecord)
{
    fs::create_directory(currentStore());
    EXPECT_THAT(CInstalledManifestInfo(eCurrentDataPath).GetInstalledEntries(), IsEmpty());
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, whoseFileCannotBeExaminedIsEmptyAndThatIsLogged)
{
    fs::create_symlink(currentStore(), currentStore());
    EXPECT_THAT(CInstalledManifestInfo(eCurrentDataPath).GetInstalledEntries(), IsEmpty());
    expectLogged({IsReturnCode(
        'E', returnCodeText("fileExists", sourceTag("vpn/Common/Utility/sysutils"), kAnyLine, "_tstat", 40, "unknown",
                            "File: " + currentStore() + "\nError: Too many levels of symbolic links"))});
}

TEST_F(InstalledManifestInfo, ofALinkIsThatOfTheFileItLeadsTo)
{
    writeFile("/opt/elsewhere", kOneEntry);
    fs::create_symlink("/opt/elsewhere", currentStore());
    EXPECT_THAT(CInstalledManifestInfo(eCurrentDataPath).GetInstalledEntries(), ElementsAre(Pair("abc", "4.10.0")));
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, thatMayNotBeReadIsEmptyAndItsOpeningLogged)
{
    writeFile(currentStore(), kOneEntry);
    ASSERT_EQ(chmod(currentStore().c_str(), 0), 0);
    const WithoutPrivileges ordinaryUser;
    EXPECT_THAT(CInstalledManifestInfo(eCurrentDataPath).GetInstalledEntries(), IsEmpty());
    expectLogged({notOpened(267, 13, "Permission denied")});
}

TEST_F(InstalledManifestInfo, ofASocketIsEmptyAndItsOpeningLogged)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    currentStore().copy(address.sun_path, sizeof address.sun_path - 1);
    const int handle = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(handle);
    EXPECT_THAT(CInstalledManifestInfo(eCurrentDataPath).GetInstalledEntries(), IsEmpty());
    expectLogged({notOpened(267, 6, "No such device or address")});
}

TEST_F(InstalledManifestInfo, isLoadedWithoutTouchingTheFile)
{
    writeFile(currentStore(), kOneEntry);
    ASSERT_EQ(chmod(currentStore().c_str(), 0444), 0);
    {
        const WithoutPrivileges ordinaryUser;
        const CInstalledManifestInfo store(eCurrentDataPath);
        EXPECT_EQ(store.GetInstalledVersion("abc"), "4.10.0");
    }
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(kOneEntry));
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, isLoadedOnceByTheConstructor)
{
    writeFile(currentStore(), kOneEntry);
    const CInstalledManifestInfo store(eCurrentDataPath);
    writeFile(currentStore(), storeHeader() + kWhole);
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("abc", "4.10.0")));
}

// Loading: the header.

TEST_F(InstalledManifestInfo, shorterThanItsMajorIsEmptyAndThatIsLogged)
{
    for (std::size_t size = 0; size < 4; ++size) {
        EXPECT_THAT(load(kOneEntry.substr(0, size)), IsEmpty()) << size;
        expectLogged({notLoaded(279)});
    }
}

TEST_F(InstalledManifestInfo, shorterThanItsMinorIsEmptyAndThatIsLogged)
{
    for (std::size_t size = 4; size < 8; ++size) {
        EXPECT_THAT(load(kOneEntry.substr(0, size)), IsEmpty()) << size;
        expectLogged({notLoaded(288)});
    }
}

TEST_F(InstalledManifestInfo, whoseMajorCannotBeReadIsEmptyAndBothFailuresAreLogged)
{
    for (std::size_t readable = 0; readable < 4; ++readable) {
        EXPECT_THAT(loadFailingAt(readable, kOneEntry), IsEmpty()) << readable;
        expectLogged({integerReadFailed(5, "Input/output error"), notLoaded(279)});
    }
}

TEST_F(InstalledManifestInfo, whoseMinorCannotBeReadIsEmptyAndBothFailuresAreLogged)
{
    for (std::size_t readable = 4; readable < 8; ++readable) {
        EXPECT_THAT(loadFailingAt(readable, kOneEntry), IsEmpty()) << readable;
        expectLogged({integerReadFailed(5, "Input/output error"), notLoaded(288)});
    }
}

TEST_F(InstalledManifestInfo, ofTheHeaderAloneIsEmptyWithoutARecord)
{
    EXPECT_THAT(load(fromHex("01 00 00 00  00 00 00 00")), IsEmpty());
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, ofASupportedFormatIsLoaded)
{
    constexpr std::array<std::pair<std::uint32_t, std::uint32_t>, 5> formats{
        {{1, 0}, {0, 0}, {0, 1}, {0, 77}, {0, 0xFFFFFFFF}}};
    for (const auto& [major, minor] : formats) {
        EXPECT_EQ(load(storeHeader(major, minor) + kWhole), kWholeLoaded) << major << '.' << minor;
        expectNothingLogged();
    }
}

TEST_F(InstalledManifestInfo, ofAnotherFormatIsEmptyAndThatIsLogged)
{
    constexpr std::array<std::pair<std::uint32_t, std::uint32_t>, 7> formats{
        {{1, 1}, {1, 77}, {1, 0xFFFFFFFF}, {2, 0}, {2, 1}, {0x80000000, 0}, {0xFFFFFFFF, 0}}};
    for (const auto& [major, minor] : formats) {
        EXPECT_THAT(load(storeHeader(major, minor) + kWhole), IsEmpty()) << major << '.' << minor;
        expectLogged({unsupportedVersion()});
    }
}

TEST_F(InstalledManifestInfo, keepsItsIntegersLittleEndian)
{
    EXPECT_THAT(load(fromHex("00 00 00 01  00 00 00 00") + kWhole), IsEmpty());
    expectLogged({unsupportedVersion()});
}

// Loading: the records.

TEST_F(InstalledManifestInfo, ofOneEntryIsLoadedFromThirtyOneBytes)
{
    ASSERT_EQ(kOneEntry.size(), 31U);
    EXPECT_THAT(load(kOneEntry), ElementsAre(Pair("abc", "4.10.0")));
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetInstalledType("abc"), 1U);
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, keepsEntriesInTheOrderOfTheFile)
{
    EXPECT_THAT(load(storeHeader() + storeRecord(2, "3", "c") + storeRecord(18, "1", "a") + storeRecord(4, "2", "b")),
                ElementsAre(Pair("c", "3"), Pair("a", "1"), Pair("b", "2")));
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, keepsRecordsOfTheKeptTypes)
{
    for (const std::uint32_t type : {1U, 2U, 4U, 13U, 17U, 18U}) {
        EXPECT_THAT(load(storeHeader() + storeRecord(type, "1.0", "id")), ElementsAre(Pair("id", "1.0"))) << type;
        EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetInstalledType("id"), type);
        expectNothingLogged();
    }
}

TEST_F(InstalledManifestInfo, readsRecordsOfTheOtherKnownTypesAndDropsThem)
{
    for (const std::uint32_t type : {3U, 5U, 8U, 9U, 10U, 11U}) {
        EXPECT_EQ(load(storeHeader() + storeRecord(type, "1.0", "dropped") + kWhole), kWholeLoaded) << type;
        expectNothingLogged();
    }
}

TEST_F(InstalledManifestInfo, leavesAnEntryAloneWhenADroppedRecordHasItsId)
{
    EXPECT_EQ(load(storeHeader() + kWhole + storeRecord(9, "2.0", "whole")), kWholeLoaded);
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetInstalledType("whole"), 2U);
}

TEST_F(InstalledManifestInfo, takesFourBytesForAnUnknownTypeAndGoesOn)
{
    constexpr std::array<std::pair<std::uint32_t, std::int32_t>, 16> types{
        {{0, 0},
         {6, 6},
         {7, 7},
         {12, 12},
         {14, 14},
         {15, 15},
         {16, 16},
         {numberBehindAllKinds(), static_cast<std::int32_t>(numberBehindAllKinds())},
         {31, 31},
         {32, 32},
         {33, 33},
         {50, 50},
         {0x10001, 65537},
         {0x7FFFFFFF, 2147483647},
         {0x80000000, -2147483647 - 1},
         {0xFFFFFFFF, -1}}};
    for (const auto& [type, number] : types) {
        EXPECT_EQ(load(storeHeader() + u32le(type) + kWhole), kWholeLoaded) << type;
        expectLogged({unknownType(number)});
    }
}

TEST_F(InstalledManifestInfo, takesTheStringsOfAnUnknownRecordForRecords)
{
    // 6, then the count 3 of "20": a dropped record, whose version has the count 0x003032 that stood for the text.
    EXPECT_THAT(load(storeHeader() + kWhole + storeRecord(6, "20", "id")), IsEmpty());
    expectLogged({unknownType(6), textReadFailed(), notLoaded(347)});
}

TEST_F(InstalledManifestInfo, ofUnknownTypesOnlyIsEmptyWithARecordForEach)
{
    EXPECT_THAT(load(storeHeader() + u32le(7) + u32le(0) + u32le(16)), IsEmpty());
    expectLogged({unknownType(7), unknownType(0), unknownType(16)});
}

TEST_F(InstalledManifestInfo, updatesTheEarlierEntryWhenAnIdRepeats)
{
    EXPECT_THAT(load(storeHeader() + storeRecord(1, "1", "a") + storeRecord(2, "2", "b") + storeRecord(18, "3", "a")),
                ElementsAre(Pair("a", "3"), Pair("b", "2")));
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).GetInstalledType("a"), 18U);
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, cutsTextsAtTheirFirstNul)
{
    EXPECT_THAT(load(storeHeader() + u32le(1) + rawString(6, std::string("1\0junk", 6)) +
                     rawString(5, std::string("id\0x\0", 5))),
                ElementsAre(Pair("id", "1")));
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, takesTheLastByteOfATextForNul)
{
    EXPECT_THAT(load(storeHeader() + u32le(1) + rawString(4, "1.0X") + rawString(3, "idX")),
                ElementsAre(Pair("id", "1.0")));
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, readsACountOf1AsAnEmptyText)
{
    EXPECT_THAT(load(storeHeader() + u32le(1) + rawString(1, "X") + rawString(1, "Y") + kWhole),
                ElementsAre(Pair("", ""), Pair("whole", "1.0")));
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, readsLongTextsWhole)
{
    for (const std::size_t length : {8191U, 8192U, 65534U, 65535U, 65536U, 131071U, 131072U, 1000000U}) {
        const std::string version(length, 'v');
        const std::string fileId(length, 'i');
        EXPECT_THAT(load(storeHeader() + storeRecord(1, version, fileId) + kWhole),
                    ElementsAre(Pair(fileId, version), Pair("whole", "1.0")))
            << length;
        expectNothingLogged();
    }
}

// Loading: records that cannot be read. A whole record stands before each.

struct BrokenRecord
{
    const char* name;
    std::string bytes;
    Records logged;
};

std::vector<BrokenRecord> brokenRecords(std::uint32_t type, int versionLine, int fileIdLine)
{
    const std::string head = u32le(type);
    const std::string version = head + field("1.0");
    return {
        {"ends behind its type", head, {notLoaded(versionLine)}},
        {"ends in its version's count", head + "\x04", {notLoaded(versionLine)}},
        {"ends behind its version's count", head + u32le(4), {textReadFailed(), notLoaded(versionLine)}},
        {"ends in its version", head + rawString(4, "1.0"), {textReadFailed(), notLoaded(versionLine)}},
        {"has a version of count 0", head + u32le(0) + field("id"), {stringNotRead(571), notLoaded(versionLine)}},
        {"has a version of the highest count",
         head + rawString(0xFFFFFFFF, "1.0"),
         {textReadFailed(), notLoaded(versionLine)}},
        {"has a version of 2 GiB", head + rawString(0x80000000, "1.0"), {textReadFailed(), notLoaded(versionLine)}},
        {"has a version longer than the file",
         head + rawString(70001, std::string(70000, 'v')),
         {textReadFailed(), notLoaded(versionLine)}},
        {"ends behind its version", version, {notLoaded(fileIdLine)}},
        {"ends in its id's count", version + std::string(3, '\0'), {notLoaded(fileIdLine)}},
        {"ends in its id", version + rawString(6, "again"), {textReadFailed(), notLoaded(fileIdLine)}},
        {"has an id of count 0", version + u32le(0) + kWhole, {stringNotRead(571), notLoaded(fileIdLine)}},
        {"has an id of the highest count",
         version + rawString(0xFFFFFFFF, "id"),
         {textReadFailed(), notLoaded(fileIdLine)}},
    };
}

TEST_F(InstalledManifestInfo, losesEveryEntryWhenAKeptRecordIsBroken)
{
    for (const std::uint32_t type : {1U, 2U, 4U, 13U, 17U, 18U}) {
        for (const BrokenRecord& broken : brokenRecords(type, 375, 383)) {
            SCOPED_TRACE("a record of type " + std::to_string(type) + " that " + broken.name);
            EXPECT_THAT(load(storeHeader() + kWhole + broken.bytes), IsEmpty());
            expectLogged(broken.logged);
        }
    }
}

TEST_F(InstalledManifestInfo, losesEveryEntryWhenADroppedRecordIsBroken)
{
    for (const std::uint32_t type : {3U, 5U, 8U, 9U, 10U, 11U}) {
        for (const BrokenRecord& broken : brokenRecords(type, 347, 355)) {
            SCOPED_TRACE("a record of type " + std::to_string(type) + " that " + broken.name);
            EXPECT_THAT(load(storeHeader() + kWhole + broken.bytes), IsEmpty());
            expectLogged(broken.logged);
        }
    }
}

TEST_F(InstalledManifestInfo, keepsEveryEntryWhenTheFileEndsBetweenRecords)
{
    const std::string three = storeHeader() + kWhole + storeRecord(1, "2", "b") + storeRecord(1, "3", "c");
    EXPECT_THAT(load(three.substr(0, (storeHeader() + kWhole).size())), ElementsAre(Pair("whole", "1.0")));
    EXPECT_THAT(load(three), ElementsAre(Pair("whole", "1.0"), Pair("b", "2"), Pair("c", "3")));
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, keepsEveryEntryWhenTheFileEndsInAType)
{
    for (std::size_t size = 1; size < 4; ++size) {
        EXPECT_EQ(load(storeHeader() + kWhole + std::string(size, '\1')), kWholeLoaded) << size;
        expectNothingLogged();
    }
}

TEST_F(InstalledManifestInfo, losesEveryEntryWhenATypeCannotBeRead)
{
    const std::string intact = storeHeader() + kWhole;
    for (std::size_t extra = 0; extra < 4; ++extra) {
        EXPECT_THAT(loadFailingAt(intact.size() + extra, intact + storeRecord(1, "2", "b")), IsEmpty()) << extra;
        expectLogged({integerReadFailed(5, "Input/output error"), notLoaded(320)});
    }
}

TEST_F(InstalledManifestInfo, losesEveryEntryWhenEvenTheEndOfTheFileCannotBeRead)
{
    const std::string intact = storeHeader() + kWhole;
    EXPECT_THAT(loadFailingAt(intact.size(), intact), IsEmpty());
    expectLogged({integerReadFailed(5, "Input/output error"), notLoaded(320)});
}

TEST_F(InstalledManifestInfo, losesEveryEntryWhenAStringsCountCannotBeRead)
{
    const std::size_t intact = (storeHeader() + kWhole).size();
    for (const auto& [type, line] : {std::pair{1U, 375}, std::pair{9U, 347}}) {
        EXPECT_THAT(loadFailingAt(intact + 4, storeHeader() + kWhole + storeRecord(type, "2", "b")), IsEmpty());
        expectLogged({integerReadFailed(5, "Input/output error"), stringNotRead(561), notLoaded(line)});
    }
    const std::size_t behindVersion = intact + 4 + field("2").size();
    for (const auto& [type, line] : {std::pair{1U, 383}, std::pair{9U, 355}}) {
        EXPECT_THAT(loadFailingAt(behindVersion, storeHeader() + kWhole + storeRecord(type, "2", "b")), IsEmpty());
        expectLogged({integerReadFailed(5, "Input/output error"), stringNotRead(561), notLoaded(line)});
    }
}

TEST_F(InstalledManifestInfo, losesEveryEntryWhenATextCannotBeRead)
{
    const std::size_t intact = (storeHeader() + kWhole).size();
    EXPECT_THAT(loadFailingAt(intact + 8, storeHeader() + kWhole + storeRecord(1, "2", "b")), IsEmpty());
    expectLogged({textReadFailed(5, "Input/output error"), notLoaded(375)});
    EXPECT_THAT(loadFailingAt(intact + 15, storeHeader() + kWhole + storeRecord(1, "2", "b")), IsEmpty());
    expectLogged({textReadFailed(5, "Input/output error"), notLoaded(383)});
    const std::string version(200000, 'v');
    EXPECT_THAT(loadFailingAt(100000, storeHeader() + kWhole + storeRecord(9, version, "b")), IsEmpty());
    expectLogged({textReadFailed(5, "Input/output error"), notLoaded(347)});
}

TEST_F(InstalledManifestInfo, logsNoErrorOfAnEarlierCall)
{
    errno = ENOMEM;
    EXPECT_THAT(load(storeHeader() + u32le(1) + rawString(9, "short")), IsEmpty());
    expectLogged({textReadFailed(0, "Success"), notLoaded(375)});
}

/** The store is empty, also where single ids are looked up, and takes and writes new entries. */
void expectUsable(CInstalledManifestInfo& store)
{
    EXPECT_EQ(store.GetInstalledType("whole"), 0U);
    store.AddInstalledEntry("whole", eFileTypeMsi, "2.0");
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("whole", "2.0")));
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(storeHeader() + storeRecord(1, "2.0", "whole")));
}

TEST_F(InstalledManifestInfo, isUsableAfterADamagedFile)
{
    writeFile(currentStore(), storeHeader() + kWhole + u32le(1) + u32le(0));
    CInstalledManifestInfo store(eCurrentDataPath);
    expectUsable(store);
}

TEST_F(InstalledManifestInfo, isUsableAfterAFailingDisk)
{
    writeFile(currentStore(), storeHeader() + kWhole);
    auto failing = std::make_unique<FailingReads>((storeHeader() + kWhole).size(), EIO);
    CInstalledManifestInfo store(eCurrentDataPath);
    failing.reset();
    expectUsable(store);
}

// Writing.

/** What these entries leave in the file; every one has a version and an id. */
std::string written(const std::vector<Entry>& entries)
{
    std::string bytes = storeHeader();
    for (const Entry& entry : entries) {
        bytes += storeRecord(entry.type, entry.version, entry.fileId);
    }
    return bytes;
}

CInstalledManifestInfo& add(CInstalledManifestInfo& store, const std::vector<Entry>& entries)
{
    for (const Entry& entry : entries) {
        store.AddInstalledEntry(entry.fileId, entry.type, entry.version);
    }
    return store;
}

const std::vector<Entry> kThree{
    {"core", eFileTypeExe, "5.1.2.42"}, {"posture", eFileTypeDeb, "4"}, {"hook", eFileTypeScript, "1.0"}};

TEST_F(InstalledManifestInfo, ofOneEntryIsWrittenAsThirtyOneBytes)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("abc", eFileTypeMsi, "4.10.0");
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(kOneEntry));
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, isWrittenInTheOrderOfItsEntries)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    EXPECT_EQ(add(store, kThree).WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(written(kThree)));
}

TEST_F(InstalledManifestInfo, isRewrittenWholeEachTime)
{
    writeFile(currentStore(), storeHeader(0, 77) + storeRecord(1, std::string(5000, '9'), "long"));
    CInstalledManifestInfo store(eCurrentDataPath);
    store.RemoveInstalledEntry("long");
    EXPECT_EQ(add(store, kThree).WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(written(kThree)));
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(written(kThree)));
    EXPECT_EQ(store.GetInstalledEntries().size(), 3U);
}

TEST_F(InstalledManifestInfo, isWrittenByWriteFileAlone)
{
    {
        CInstalledManifestInfo store(eCurrentDataPath);
        add(store, kThree).RemoveInstalledEntry("core");
    }
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(InstalledManifestInfo, writesTheKeptTypesAndLeavesTheOthersOut)
{
    for (std::uint32_t type = 0; type < 70; ++type) {
        CInstalledManifestInfo store(eCurrentDataPath);
        store.AddInstalledEntry("id", static_cast<ManifestFileType>(type), "1");
        EXPECT_EQ(store.WriteFile(), 0);
        EXPECT_EQ(toHex(readFile(currentStore())),
                  toHex(storeHeader() + (isStored(type) ? storeRecord(type, "1", "id") : "")))
            << type;
    }
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, ofTypesThatAreNotWrittenLeavesTheHeaderAlone)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("fonts", eFileTypeTransform, "1");
    store.AddInstalledEntry("none", eFileTypeNone, "");
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), "01 00 00 00 00 00 00 00");
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, losesRecordsOfDroppedTypesWithTheNextWrite)
{
    writeFile(currentStore(), storeHeader() + storeRecord(9, "1", "fonts") + kWhole);
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(storeHeader() + kWhole));
}

TEST_F(InstalledManifestInfo, thatIsEmptyIsDeleted)
{
    writeFile(currentStore(), kOneEntry);
    CInstalledManifestInfo store(eCurrentDataPath);
    store.RemoveInstalledEntry("abc");
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_FALSE(pathExists(currentStore()));
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, thatIsEmptyAndHasNoFileLogsThatAndIsDone)
{
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).WriteFile(), 0);
    expectLogged({notRemoved(2)});
}

TEST_F(InstalledManifestInfo, thatIsEmptyAndCannotBeDeletedLogsThatAndIsDone)
{
    writeFile(currentStore(), storeHeader());
    ASSERT_EQ(chmod(kCurrentRoot, 0555), 0);
    const WithoutPrivileges ordinaryUser;
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).WriteFile(), 0);
    expectLogged({notRemoved(13)});
    EXPECT_TRUE(pathExists(currentStore()));
}

TEST_F(InstalledManifestInfo, thatIsEmptyTakesALinkAwayAndLeavesWhatItLedTo)
{
    writeFile("/opt/elsewhere", storeHeader());
    fs::create_symlink("/opt/elsewhere", currentStore());
    EXPECT_EQ(CInstalledManifestInfo(eCurrentDataPath).WriteFile(), 0);
    EXPECT_FALSE(pathExists(currentStore()));
    EXPECT_EQ(readFile("/opt/elsewhere"), storeHeader());
}

TEST_F(InstalledManifestInfo, isWrittenThroughALink)
{
    writeFile("/opt/elsewhere", "");
    for (const char* target : {"/opt/elsewhere", "/opt/new"}) {
        fs::remove(currentStore());
        fs::create_symlink(target, currentStore());
        CInstalledManifestInfo store(eCurrentDataPath);
        EXPECT_EQ(add(store, kThree).WriteFile(), 0);
        EXPECT_TRUE(fs::is_symlink(currentStore()));
        EXPECT_EQ(toHex(readFile(target)), toHex(written(kThree)));
    }
}

TEST_F(InstalledManifestInfo, isWrittenInPlace)
{
    writeFile(currentStore(), kOneEntry);
    ASSERT_EQ(chmod(currentStore().c_str(), 0640), 0);
    fs::create_hard_link(currentStore(), "/opt/second-name");
    CInstalledManifestInfo store(eCurrentDataPath);
    add(store, kThree).RemoveInstalledEntry("abc");
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile("/opt/second-name")), toHex(written(kThree)));
    EXPECT_EQ(fs::status(currentStore()).permissions(), fs::perms{0640});
}

TEST_F(InstalledManifestInfo, thatCannotBeOpenedForWritingLogsThatAndFails)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    add(store, kThree);
    fs::remove(kCurrentRoot);
    EXPECT_EQ(store.WriteFile(), kNotWritten);
    expectLogged({notOpened(445, 2, "No such file or directory")});

    resetInstallRoots();
    fs::create_directory(currentStore());
    m_log.clear();
    EXPECT_EQ(store.WriteFile(), kNotWritten);
    expectLogged({notOpened(445, 21, "Is a directory")});

    resetInstallRoots();
    writeFile(currentStore(), kOneEntry);
    ASSERT_EQ(chmod(currentStore().c_str(), 0444), 0);
    m_log.clear();
    {
        const WithoutPrivileges ordinaryUser;
        EXPECT_EQ(store.WriteFile(), kNotWritten);
    }
    expectLogged({notOpened(445, 13, "Permission denied")});
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(kOneEntry));
}

/** For the scope, a file of this process may not grow beyond SIZE bytes: writing more fails with EFBIG. */
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t size) : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{size, m_before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*m_handler)(int);
    rlimit m_before{};
};

TEST_F(InstalledManifestInfo, whoseHeaderCannotBeWrittenLogsThatAndFails)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    add(store, kThree);
    for (const rlim_t size : {0U, 1U, 7U}) {
        m_log.clear();
        const FileSizeLimit limit(size);
        EXPECT_EQ(store.WriteFile(), kNotWritten);
        expectLogged({writeFailed(613, 27, "File too large"), fieldNotWritten("WriteFile", 459)});
        EXPECT_EQ(readFile(currentStore()), storeHeader().substr(0, size));
    }
}

TEST_F(InstalledManifestInfo, onAFullDiskLogsThatAndFails)
{
    fs::create_symlink("/dev/full", currentStore());
    CInstalledManifestInfo store(eCurrentDataPath);
    EXPECT_EQ(add(store, kThree).WriteFile(), kNotWritten);
    expectLogged({writeFailed(613, 28, "No space left on device"), fieldNotWritten("WriteFile", 459)});
}

/** What is logged of a record that comes to an end SIZE bytes behind its first one, on a disk that takes no more. */
Records recordEnded(std::size_t size, const Entry& entry)
{
    const std::size_t version = 4;
    const std::size_t fileId = version + 4 + entry.version.size() + 1;
    const bool isInCount = (size >= version && size < version + 4) || (size >= fileId && size < fileId + 4);
    if (size < version) {
        return {writeFailed(613, 27, "File too large"), recordNotWritten()};
    }
    if (isInCount) {
        return {writeFailed(613, 27, "File too large"), fieldNotWritten("writeManifestData", 646), recordNotWritten()};
    }
    return {writeFailed(657, 27, "File too large"), recordNotWritten()};
}

TEST_F(InstalledManifestInfo, logsTheFieldAtWhichADiskIsFullAndEveryRecordBehindItAndSucceeds)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    add(store, kThree);
    for (std::size_t size = storeHeader().size(); size < written(kThree).size(); ++size) {
        SCOPED_TRACE(size);
        Records expected;
        std::size_t begin = storeHeader().size();
        for (const Entry& entry : kThree) {
            const std::size_t end = begin + storeRecord(entry.type, entry.version, entry.fileId).size();
            if (size < end) {
                const Records records = recordEnded(std::max(size, begin) - begin, entry);
                expected.insert(expected.end(), records.begin(), records.end());
            }
            begin = end;
        }
        m_log.clear();
        const FileSizeLimit limit(size);
        EXPECT_EQ(store.WriteFile(), 0);
        expectLogged(expected);
        EXPECT_EQ(toHex(readFile(currentStore())), toHex(written(kThree).substr(0, size)));
    }
}

TEST_F(InstalledManifestInfo, ofManyRecordsOnASmallDiskSaysOfEachThatDoesNotFitWhy)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    for (int i = 0; i < 10000; ++i) {
        // 4 + (4 + 3) + (4 + 9) bytes each.
        store.AddInstalledEntry(std::to_string(10000000 + i), eFileTypeExe, "10");
    }
    // At 8192 bytes record 341 has just ended, at 200000 bytes record 8333; that is some blocks further on.
    for (const auto& [size, whole] : {std::pair{8192U, 341}, {200000U, 8333}}) {
        m_log.clear();
        {
            const FileSizeLimit limit(size);
            EXPECT_EQ(store.WriteFile(), 0);
        }
        EXPECT_EQ(readFile(currentStore()), store.GetFileBytes().substr(0, size));
        Records expected;
        for (int i = whole; i < 10000; ++i) {
            expected.push_back(writeFailed(613, 27, "File too large"));
            expected.push_back(recordNotWritten());
        }
        expectLogged(expected);
    }
}

TEST_F(InstalledManifestInfo, whoseLongTextCannotBeWrittenLogsThatAndEveryRecordFromThereOnAndSucceeds)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("long", eFileTypeExe, std::string(100000, 'v'));
    store.AddInstalledEntry("dropped", eFileTypeTransform, "1");
    store.AddInstalledEntry("unversioned", eFileTypeExe, "");
    add(store, {kThree[0]});
    const FileSizeLimit limit(5000);
    EXPECT_EQ(store.WriteFile(), 0);
    expectLogged({writeFailed(657, 27, "File too large"), recordNotWritten(), writeFailed(613, 27, "File too large"),
                  recordNotWritten(), writeFailed(613, 27, "File too large"), recordNotWritten()});
    EXPECT_EQ(readFile(currentStore()).size(), 5000U);
}

TEST_F(InstalledManifestInfo, writesTheTypeAloneOfAnEntryWithoutVersion)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("core", eFileTypeExe, "");
    EXPECT_EQ(add(store, {kThree[1]}).WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(storeHeader() + u32le(2) + storeRecord(18, "4", "posture")));
    expectLogged({recordNotWritten()});
}

TEST_F(InstalledManifestInfo, writesTypeAndVersionOfAnEntryWithoutId)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("", eFileTypeExe, "1.0");
    EXPECT_EQ(add(store, {kThree[1]}).WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())),
              toHex(storeHeader() + u32le(2) + field("1.0") + storeRecord(18, "4", "posture")));
    expectLogged({recordNotWritten()});
}

TEST_F(InstalledManifestInfo, losesItsEntriesBehindOneWithoutVersion)
{
    {
        CInstalledManifestInfo store(eCurrentDataPath);
        add(store, {kThree[0]});
        store.AddInstalledEntry("unversioned", eFileTypeExe, "");
        EXPECT_EQ(add(store, {kThree[1]}).WriteFile(), 0);
    }
    m_log.clear();
    // The next record's type, 18, is read as the version's count, and what follows as the rest of the record.
    EXPECT_THAT(CInstalledManifestInfo(eCurrentDataPath).GetInstalledEntries(), IsEmpty());
    expectLogged({notLoaded(383)});
}

TEST_F(InstalledManifestInfo, isWrittenAndLoadedAgainAlike)
{
    const std::vector<Entry> entries{{"\xC3\xA4\xFF id", eFileTypeMsi, "1\n2"},
                                     {std::string(70000, 'i'), eFileTypeRpm, std::string(9000, 'v')},
                                     {" ", eFileTypeDmg, "0"}};
    CInstalledManifestInfo store(eCurrentDataPath);
    EXPECT_EQ(add(store, entries).WriteFile(), 0);
    const CInstalledManifestInfo again(eCurrentDataPath);
    EXPECT_EQ(again.GetInstalledEntries(), store.GetInstalledEntries());
    for (const Entry& entry : entries) {
        EXPECT_EQ(again.GetInstalledType(entry.fileId), entry.type);
    }
    expectNothingLogged();
}

// The entries and the bytes, without a file.

TEST_F(InstalledManifestInfo, givesItsEntriesInTheOrderOfTheFile)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    add(store, kThree).RemoveInstalledEntry("posture");
    store.AddInstalledEntry("core", eFileTypeRpm, "6");
    std::vector<std::string> seen;
    for (const Entry& entry : store.GetEntries()) {
        seen.push_back(entry.fileId + " " + std::to_string(entry.type) + " " + entry.version);
    }
    EXPECT_THAT(seen, ElementsAre("core 17 6", "hook 4 1.0"));
}

TEST_F(InstalledManifestInfo, givesTheBytesThatItWouldWriteWithoutWriting)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    EXPECT_EQ(toHex(store.GetFileBytes()), "01 00 00 00 00 00 00 00");
    store.AddInstalledEntry("abc", eFileTypeMsi, "4.10.0");
    EXPECT_EQ(toHex(store.GetFileBytes()), toHex(kOneEntry));
    store.AddInstalledEntry("fonts", eFileTypeTransform, "1");
    store.AddInstalledEntry("unversioned", eFileTypeExe, "");
    store.AddInstalledEntry("", eFileTypeExe, "1.0");
    add(store, {kThree[1]});
    EXPECT_EQ(toHex(store.GetFileBytes()),
              toHex(kOneEntry + u32le(2) + u32le(2) + field("1.0") + storeRecord(18, "4", "posture")));
    EXPECT_FALSE(pathExists(currentStore()));
    expectNothingLogged();
    EXPECT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(store.GetFileBytes()));
}

// The operations on the entries.

TEST_F(InstalledManifestInfo, matchesFileIdsByteForByte)
{
    using Equals = Entry::FileIdEquals;
    EXPECT_TRUE(Equals("core")({"core", eFileTypeExe, "1"}));
    EXPECT_TRUE(Equals("")({"", eFileTypeExe, "1"}));
    EXPECT_TRUE(Equals(std::string("a\0b", 3))({std::string("a\0b", 3), eFileTypeExe, "1"}));
    for (const std::string& other :
         {std::string("Core"), std::string("cor"), std::string("core "), std::string(" core"), std::string("./core"),
          std::string("core\0", 5), std::string()}) {
        EXPECT_FALSE(Equals("core")({other, eFileTypeExe, "1"})) << other;
    }
}

TEST_F(InstalledManifestInfo, keepsTheSecondTypeAndVersionOfAnIdAtItsFirstPlace)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    add(store, kThree).AddInstalledEntry("core", eFileTypeRpm, "6");
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("core", "6"), Pair("posture", "4"), Pair("hook", "1.0")));
    EXPECT_EQ(store.GetInstalledType("core"), 17U);
    expectNothingLogged();
}

// A reference into the store, and a change that moves or frees what it refers to.

TEST_F(InstalledManifestInfo, recordsWhatItsOwnEntriesReferTo)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    add(store, kThree);
    const Entry& core = store.GetEntries().front();
    for (int i = 0; i < 100; ++i) {
        store.AddInstalledEntry(std::to_string(i), core.type, core.fileId);
    }
    EXPECT_EQ(store.GetInstalledVersion("99"), "core");
    store.AddInstalledEntry(core.version, core.type, core.version);
    EXPECT_EQ(store.GetInstalledVersion("5.1.2.42"), "5.1.2.42");
    store.AddInstalledEntry(core.fileId, eFileTypeRpm, core.version);
    EXPECT_EQ(store.GetInstalledVersion("core"), "5.1.2.42");
    store.AddInstalledEntry(core.fileId, eFileTypeRpm, core.fileId);
    EXPECT_EQ(store.GetInstalledVersion("core"), "core");
}

TEST_F(InstalledManifestInfo, removesWhatItsOwnEntriesReferTo)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    // Too long to stand inside the string itself: freed with the entry.
    const std::string longId(100, 'i');
    store.AddInstalledEntry(longId, eFileTypeExe, "1");
    add(store, kThree);
    store.RemoveInstalledEntry(store.GetEntries().front().fileId);
    EXPECT_EQ(store.GetInstalledType(longId), 0U);
    EXPECT_EQ(store.GetEntries().size(), 3U);
    store.RemoveInstalledEntry(store.GetEntries().back().fileId);
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("core", "5.1.2.42"), Pair("posture", "4")));
}

TEST_F(InstalledManifestInfo, hasTwoEntriesForIdsThatDifferInLetterCase)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("core", eFileTypeExe, "1");
    store.AddInstalledEntry("CORE", eFileTypeMsi, "2");
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("core", "1"), Pair("CORE", "2")));
    store.RemoveInstalledEntry("Core");
    EXPECT_EQ(store.GetInstalledEntries().size(), 2U);
}

TEST_F(InstalledManifestInfo, keepsTheOrderOfTheOthersWhenAnEntryIsRemoved)
{
    for (const char* id : {"core", "posture", "hook"}) {
        CInstalledManifestInfo store(eCurrentDataPath);
        Pairs expected = add(store, kThree).GetInstalledEntries();
        expected.remove_if([id](const auto& pair) { return pair.first == id; });
        store.RemoveInstalledEntry(id);
        EXPECT_EQ(store.GetInstalledEntries(), expected);
        EXPECT_EQ(store.GetInstalledType(id), 0U);
        EXPECT_EQ(store.GetInstalledVersion(id), "");
    }
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, staysAsItIsWhenAnAbsentIdIsRemoved)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    const Pairs before = add(store, kThree).GetInstalledEntries();
    store.RemoveInstalledEntry("absent");
    store.RemoveInstalledEntry("");
    EXPECT_EQ(store.GetInstalledEntries(), before);
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, appendsAnIdThatWasRemovedBefore)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    add(store, kThree).RemoveInstalledEntry("core");
    store.AddInstalledEntry("core", eFileTypeExe, "7");
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("posture", "4"), Pair("hook", "1.0"), Pair("core", "7")));
    EXPECT_EQ(store.GetInstalledVersion("core"), "7");
}

TEST_F(InstalledManifestInfo, keepsOneEntryForTheEmptyId)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("", eFileTypeExe, "1");
    store.AddInstalledEntry("", eFileTypeMsi, "2");
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("", "2")));
    store.RemoveInstalledEntry("");
    EXPECT_THAT(store.GetInstalledEntries(), IsEmpty());
}

TEST_F(InstalledManifestInfo, answersForAnAbsentIdAsForAnEntryWithoutVersion)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("unversioned", eFileTypeExe, "");
    EXPECT_EQ(store.GetInstalledVersion("unversioned"), "");
    EXPECT_EQ(store.GetInstalledVersion("absent"), "");
    EXPECT_EQ(store.GetInstalledType("unversioned"), 2U);
    EXPECT_EQ(store.GetInstalledType("absent"), 0U);
    expectNothingLogged();
}

TEST_F(InstalledManifestInfo, holdsAnyTypeInMemory)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("id", static_cast<ManifestFileType>(0xFFFFFFFF), "1");
    EXPECT_EQ(store.GetInstalledType("id"), 0xFFFFFFFFU);
    EXPECT_THAT(store.GetInstalledEntries(), ElementsAre(Pair("id", "1")));
}

TEST_F(InstalledManifestInfo, keepsTenThousandEntriesInOrder)
{
    CInstalledManifestInfo store(eCurrentDataPath);
    Pairs expected;
    for (int i = 0; i < 10000; ++i) {
        const std::string id = std::to_string(i);
        store.AddInstalledEntry(id, eFileTypeExe, "1");
        if (i % 3 != 0) {
            expected.emplace_back(id, "1");
        }
    }
    for (int i = 0; i < 10000; i += 3) {
        store.RemoveInstalledEntry(std::to_string(i));
    }
    EXPECT_EQ(store.GetInstalledEntries(), expected);
}

} // namespace

} // namespace obg::test
