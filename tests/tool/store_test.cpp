#include <filesystem>

#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/support/Kinds.h"
#include "tests/tool/ToolTest.h"

namespace obg::test {

namespace {

namespace fs = std::filesystem;

// Each case is a store as the run finds it. The run adds one record, so that the bytes that it writes tell which
// records it had loaded.

struct DamageCase
{
    std::string name;
    std::string store;
    std::vector<std::string> lines;
    std::string survivors;
};

void PrintTo(const DamageCase& damageCase, std::ostream* stream)
{
    *stream << damageCase.name;
}

const std::string kAdded = storeRecord(kMsi, "9", "added");
const std::string kWhole = storeRecord(kExe, "1.0", "whole");

std::string notLoaded(int line)
{
    return fieldNotRead("loadInstalledFileData", line);
}

std::string stringNotRead(int line)
{
    return fieldNotRead("readManifestData", line);
}

std::string unknownType(const std::string& number)
{
    return storeWarning(393, "Unknown file type " + number);
}

/** The bytes of a text ended early; the stream's failure is no system call's. */
std::string textCutShort()
{
    return storeCallFailed("readManifestData", 585, "fstream::read", 0, "Success");
}

/** A string as it stands in the file, with a count that need not fit. */
std::string rawString(std::uint32_t count, const std::string& bytes)
{
    return u32le(count) + bytes;
}

const std::string kUnsupported = storeWarning(300, "Unsupported manifest version");

std::vector<DamageCase> damageCases()
{
    const std::string head = storeHeader();
    std::vector<DamageCase> cases = {
        {"ofNoBytes", "", {notLoaded(279)}, ""},
        {"ofThreeBytes", head.substr(0, 3), {notLoaded(279)}, ""},
        {"ofTheMajorAlone", head.substr(0, 4), {notLoaded(288)}, ""},
        {"ofSevenBytes", head.substr(0, 7), {notLoaded(288)}, ""},
        {"ofTheHeaderAlone", head, {}, ""},
        {"ofFormat1dot0", head + kWhole, {}, kWhole},
        {"ofFormat0dot0", storeHeader(0, 0) + kWhole, {}, kWhole},
        {"ofFormat0dot77", storeHeader(0, 77) + kWhole, {}, kWhole},
        {"ofFormat1dot1", storeHeader(1, 1) + kWhole, {kUnsupported}, ""},
        {"ofFormat2dot0", storeHeader(2, 0) + kWhole, {kUnsupported}, ""},
        {"ofTheHighestFormat", storeHeader(0xFFFFFFFF, 0) + kWhole, {kUnsupported}, ""},

        {"cutAfterAWholeRecord", head + kWhole, {}, kWhole},
        {"cutInAType", head + kWhole + "\x01" + std::string(2, '\0'), {}, kWhole},
        {"cutAfterAType", head + kWhole + u32le(kExe), {notLoaded(375)}, ""},
        {"cutInAVersionsCount", head + kWhole + u32le(kExe) + "\x02", {notLoaded(375)}, ""},
        {"cutInAVersion", head + kWhole + u32le(kExe) + rawString(4, "1.0"), {textCutShort(), notLoaded(375)}, ""},
        {"cutAfterAVersion", head + kWhole + u32le(kExe) + field("1.0"), {notLoaded(383)}, ""},
        {"cutInAnId",
         head + kWhole + u32le(kExe) + field("1.0") + rawString(6, "again"),
         {textCutShort(), notLoaded(383)},
         ""},
        {"versionOfCount0",
         head + kWhole + u32le(kExe) + u32le(0) + field("id"),
         {stringNotRead(571), notLoaded(375)},
         ""},
        {"idOfCount0",
         head + kWhole + u32le(kExe) + field("1.0") + u32le(0) + kWhole,
         {stringNotRead(571), notLoaded(383)},
         ""},
        {"versionOfTheHighestCount",
         head + kWhole + u32le(kExe) + rawString(0xFFFFFFFF, "1.0"),
         {textCutShort(), notLoaded(375)},
         ""},
        {"idOf2GiB",
         head + kWhole + u32le(kExe) + field("1.0") + rawString(0x80000000, "id"),
         {textCutShort(), notLoaded(383)},
         ""},

        {"textsAreCutAtTheirFirstNul",
         head + u32le(kExe) + rawString(8, std::string("1.0\0junk", 8)) + rawString(6, std::string("id\0abc", 6)),
         {},
         storeRecord(kExe, "1.0", "id")},
        {"lastByteOfATextCountsAsNul",
         head + u32le(kExe) + rawString(4, "1.0X") + rawString(3, "idX"),
         {},
         storeRecord(kExe, "1.0", "id")},
        {"repeatedIdUpdatesTheEarlierRecord",
         head + storeRecord(kExe, "1", "a") + storeRecord(kRpm, "1", "b") + storeRecord(kDeb, "2", "a"),
         {},
         storeRecord(kDeb, "2", "a") + storeRecord(kRpm, "1", "b")},

        {"unknownTypeBeforeAWholeRecord", head + u32le(6) + kWhole, {unknownType("6")}, kWhole},
        {"unknownTypeAtTheEnd", head + kWhole + u32le(0), {unknownType("0")}, kWhole},
        {"severalUnknownTypes",
         head + u32le(7) + kWhole + u32le(12) + u32le(0),
         {unknownType("7"), unknownType("12"), unknownType("0")},
         kWhole},
        // The version's count, 4, is taken for the type of the next record, and its text for that one's count.
        {"recordOfUnknownType",
         head + kWhole + storeRecord(6, "1.0", "lost"),
         {unknownType("6"), textCutShort(), notLoaded(375)},
         ""},
    };
    const std::uint32_t behindAll = numberBehindAllKinds();
    // A whole record behind each unknown number shows that nothing more than the four bytes was taken.
    const std::pair<std::uint32_t, std::string> unknownNumbers[] = {{0, "0"},
                                                                    {6, "6"},
                                                                    {7, "7"},
                                                                    {12, "12"},
                                                                    {14, "14"},
                                                                    {15, "15"},
                                                                    {16, "16"},
                                                                    {behindAll, std::to_string(behindAll)},
                                                                    {31, "31"},
                                                                    {32, "32"},
                                                                    {33, "33"},
                                                                    {34, "34"},
                                                                    {0x80000000U, "-2147483648"},
                                                                    {0xFFFFFFFFU, "-1"}};
    for (const auto& [number, text] : unknownNumbers) {
        cases.push_back(
            {"unknownType" + std::to_string(number), head + u32le(number) + kWhole, {unknownType(text)}, kWhole});
    }
    for (const std::uint32_t kind : {3U, 5U, 8U, 9U, 10U, 11U}) {
        const std::string number = std::to_string(kind);
        const std::string type = u32le(kind);
        cases.push_back({"discardedType" + number, head + storeRecord(kind, "1.0", "dropped") + kWhole, {}, kWhole});
        cases.push_back({"discardedType" + number + "CutAfterTheType", head + kWhole + type, {notLoaded(347)}, ""});
        cases.push_back({"discardedType" + number + "CutInItsVersion",
                         head + kWhole + type + rawString(9, "1.0"),
                         {textCutShort(), notLoaded(347)},
                         ""});
        cases.push_back({"discardedType" + number + "CutAfterItsVersion",
                         head + kWhole + type + field("1.0"),
                         {notLoaded(355)},
                         ""});
        cases.push_back({"discardedType" + number + "WithAnIdOfCount0",
                         head + kWhole + type + field("1") + u32le(0),
                         {stringNotRead(571), notLoaded(355)},
                         ""});
    }
    for (const std::uint32_t kind : {1U, 2U, 4U, 13U, 17U, 18U}) {
        cases.push_back({"keptType" + std::to_string(kind),
                         head + storeRecord(kind, "1.0", "kept"),
                         {},
                         storeRecord(kind, "1.0", "kept")});
    }
    return cases;
}

class ToolDamagedStore : public ToolTest, public ::testing::WithParamInterface<DamageCase>
{};

TEST_P(ToolDamagedStore, isReportedAndGivesWhatSurvives)
{
    writeFile(currentStore(), GetParam().store);
    const ToolResult result = installText(vpn(file("added", "msi", "9")));
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(), linesAre(GetParam().lines));
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(storeHeader() + GetParam().survivors + kAdded));
}

INSTANTIATE_TEST_SUITE_P(Tool, ToolDamagedStore, ::testing::ValuesIn(damageCases()),
                         [](const auto& testCase) { return testCase.param.name; });

class ToolStorePath : public ToolTest
{
protected:
    const std::string m_manifest = manifestFile(vpn(file("added", "msi", "9")));

    static std::string cannotOpen(std::uint32_t error, const std::string& description)
    {
        return storeCallFailed("WriteFile", 445, "fstream::open", error, description);
    }

    static std::string cannotLoad(std::uint32_t error, const std::string& description)
    {
        return storeCallFailed("loadInstalledFileData", 267, "fstream::open", error, description);
    }

    static std::string cannotRemove(std::uint32_t error)
    {
        return storeCallFailed("WriteFile", 432, "remove", error, "unknown");
    }

    /** The line of a store whose very existence could not be told. */
    static std::string cannotStat(std::uint32_t error, const std::string& description)
    {
        return "[ERROR] " +
               oneLine(returnCodeText("fileExists", sourceTag("vpn/Common/Utility/sysutils"), kAnyLine, "_tstat", error,
                                      "unknown", "File: " + currentStore() + "\nError: " + description));
    }

    /** The run could not write the store: these lines and the driver's own, status 5. */
    static void expectNotWritten(const ToolResult& result, std::vector<std::string> lines)
    {
        lines.push_back(storeNotWritten());
        EXPECT_EQ(result.exitStatus, 5);
        EXPECT_THAT(result.messages(), linesAre(lines));
    }

    /** The run could not remove the store: a line, and status 0 all the same. */
    static void expectNotRemoved(const ToolResult& result, const std::vector<std::string>& lines)
    {
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_THAT(result.messages(), linesAre(lines));
    }

    ToolResult asOrdinaryUser(const char* mode, const std::string& manifest) const
    {
        return ToolRun({mode, kCurrentRoot, manifest}).withoutPrivileges().run();
    }
};

TEST_F(ToolStorePath, belowAMissingRootGivesStatus5)
{
    fs::remove(kCurrentRoot);
    expectNotWritten(install(m_manifest), {cannotOpen(2, "No such file or directory")});
    EXPECT_FALSE(pathExists(kCurrentRoot));
}

TEST_F(ToolStorePath, belowAMissingRootHasNothingToStrike)
{
    fs::remove(kCurrentRoot);
    expectNotRemoved(strike(m_manifest), {cannotRemove(2)});
    EXPECT_FALSE(pathExists(kCurrentRoot));
}

TEST_F(ToolStorePath, belowAMissingLegacyRootGivesStatus5Too)
{
    fs::remove(kLegacyRoot);
    const ToolResult result = ToolRun({"-i", kLegacyRoot, m_manifest}).run();
    expectNotWritten(result, {legacyStoreUsed(), cannotOpen(2, "No such file or directory")});
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(ToolStorePath, belowARootThatIsAFileCannotEvenBeLookedAt)
{
    fs::remove(kCurrentRoot);
    writeFile(kCurrentRoot, "a file");
    expectNotWritten(install(m_manifest), {cannotStat(20, "Not a directory"), cannotOpen(20, "Not a directory")});
}

TEST_F(ToolStorePath, thatIsALinkToItselfCannotEvenBeLookedAt)
{
    fs::create_symlink(currentStore(), currentStore());
    expectNotWritten(install(m_manifest), {cannotStat(40, "Too many levels of symbolic links"),
                                           cannotOpen(40, "Too many levels of symbolic links")});
}

TEST_F(ToolStorePath, thatIsAFolderCountsAsAbsentAndCannotBeWritten)
{
    fs::create_directory(currentStore());
    expectNotWritten(install(m_manifest), {cannotOpen(21, "Is a directory")});
    EXPECT_TRUE(fs::is_directory(currentStore()));
}

TEST_F(ToolStorePath, thatIsAFolderWithSomethingInItCannotBeRemoved)
{
    fs::create_directory(currentStore());
    writeFile(currentStore() + "/kept", "");
    expectNotRemoved(strike(m_manifest), {cannotRemove(39)});
    EXPECT_TRUE(pathExists(currentStore() + "/kept"));
}

void bindSocket(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int handle = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(handle);
}

TEST_F(ToolStorePath, thatIsASocketCountsAsAFileAndCannotBeOpened)
{
    bindSocket(currentStore());
    expectNotWritten(install(m_manifest),
                     {cannotLoad(6, "No such device or address"), cannotOpen(6, "No such device or address")});
    EXPECT_TRUE(fs::is_socket(currentStore()));
}

TEST_F(ToolStorePath, thatIsASocketIsRemovedWhenNothingIsLeft)
{
    bindSocket(currentStore());
    expectNotRemoved(strike(m_manifest), {cannotLoad(6, "No such device or address")});
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(ToolStorePath, thatMayNotBeWrittenStaysAsItWas)
{
    const std::string store = storeHeader() + kWhole;
    writeFile(currentStore(), store);
    ASSERT_EQ(chmod(currentStore().c_str(), 0444), 0);
    expectNotWritten(asOrdinaryUser("-i", m_manifest), {cannotOpen(13, "Permission denied")});
    EXPECT_EQ(readFile(currentStore()), store);
}

TEST_F(ToolStorePath, thatMayNotBeReadLosesItsRecords)
{
    writeFile(currentStore(), storeHeader() + kWhole);
    ASSERT_EQ(chmod(currentStore().c_str(), 0200), 0);
    const ToolResult result = asOrdinaryUser("-i", m_manifest);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(), linesAre({cannotLoad(13, "Permission denied")}));
    EXPECT_EQ(readFile(currentStore()), storeHeader() + kAdded);
}

TEST_F(ToolStorePath, thatMayNeitherBeReadNorWrittenStaysAsItWas)
{
    const std::string store = storeHeader() + kWhole;
    writeFile(currentStore(), store);
    ASSERT_EQ(chmod(currentStore().c_str(), 0), 0);
    expectNotWritten(asOrdinaryUser("-i", m_manifest),
                     {cannotLoad(13, "Permission denied"), cannotOpen(13, "Permission denied")});
    EXPECT_EQ(readFile(currentStore()), store);
}

TEST_F(ToolStorePath, belowARootThatMayNotBeSearchedStaysAsItWas)
{
    const std::string store = storeHeader() + kWhole;
    writeFile(currentStore(), store);
    ASSERT_EQ(chmod(kCurrentRoot, 0), 0);
    expectNotWritten(asOrdinaryUser("-i", m_manifest),
                     {cannotStat(13, "Permission denied"), cannotOpen(13, "Permission denied")});
    EXPECT_EQ(readFile(currentStore()), store);
}

TEST_F(ToolStorePath, belowARootThatMayNotBeWrittenCannotBeMade)
{
    ASSERT_EQ(chmod(kCurrentRoot, 0555), 0);
    expectNotWritten(asOrdinaryUser("-i", m_manifest), {cannotOpen(13, "Permission denied")});
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(ToolStorePath, belowARootThatMayNotBeWrittenCannotBeRemoved)
{
    writeFile(currentStore(), storeHeader() + kAdded);
    ASSERT_EQ(chmod(kCurrentRoot, 0555), 0);
    expectNotRemoved(asOrdinaryUser("-x", m_manifest), {cannotRemove(13)});
    EXPECT_EQ(readFile(currentStore()), storeHeader() + kAdded);
}

/** Covers the current root with a small file system of its own for the scope. */
class OwnFileSystem
{
public:
    explicit OwnFileSystem(const char* options) { EXPECT_EQ(mount("tmpfs", kCurrentRoot, "tmpfs", 0, options), 0); }
    ~OwnFileSystem() { umount2(kCurrentRoot, MNT_DETACH); }
    OwnFileSystem(const OwnFileSystem&) = delete;
    OwnFileSystem& operator=(const OwnFileSystem&) = delete;

    void makeReadOnly() const { EXPECT_EQ(mount(nullptr, kCurrentRoot, nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0); }
};

TEST_F(ToolStorePath, onAReadOnlyFileSystemStaysAsItWas)
{
    const OwnFileSystem fileSystem("mode=755");
    writeFile(currentStore(), storeHeader() + kAdded);
    fileSystem.makeReadOnly();

    expectNotWritten(install(m_manifest), {cannotOpen(30, "Read-only file system")});
    EXPECT_EQ(readFile(currentStore()), storeHeader() + kAdded);
    expectNotRemoved(strike(m_manifest), {cannotRemove(30)});
    EXPECT_EQ(readFile(currentStore()), storeHeader() + kAdded);
}

/** The disk is full: errno 28. */
std::string noSpaceFor(const std::string& function, int line, const std::string& invoked)
{
    return storeCallFailed(function, line, invoked, 28, "No space left on device");
}

TEST_F(ToolStorePath, onADeviceThatTakesNothingGivesStatus5)
{
    fs::create_symlink("/dev/full", currentStore());
    expectNotWritten(install(m_manifest),
                     {noSpaceFor("writeManifestData", 613, "fstream::write"), fieldNotWritten("WriteFile", 459)});
    EXPECT_TRUE(fs::is_symlink(currentStore()));
}

TEST_F(ToolStorePath, onADiskThatARecordDoesNotFitOnIsCutAndReportedWithStatus0)
{
    const OwnFileSystem fileSystem("mode=755,size=4k");
    const std::string id(6000, 'i');
    const ToolResult result = installText(vpn(file(id, "exe", "1")));
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(),
                linesAre({noSpaceFor("writeManifestData", 657, "fstream::write"), fieldNotWritten("WriteFile", 494)}));
    EXPECT_EQ(readFile(currentStore()), (storeHeader() + storeRecord(kExe, "1", id)).substr(0, 4096));
}

TEST_F(ToolStorePath, onADiskThatSmallRecordsDoNotFitOnIsCutAndEachThatDoesNotFitReportedWithStatus0)
{
    const OwnFileSystem fileSystem("mode=755,size=4k");
    std::string files;
    std::string whole = storeHeader();
    for (int i = 10; i < 70; ++i) {
        const std::string id = std::string(80, 'i') + std::to_string(i);
        files += file(id, "exe", "1");
        whole += storeRecord(kExe, "1", id);
    }
    const ToolResult result = installText(vpn(files));
    EXPECT_EQ(result.exitStatus, 0);
    // 42 records fit, and of the next one all but the id's bytes.
    std::vector<std::string> expected{noSpaceFor("writeManifestData", 657, "fstream::write"),
                                      fieldNotWritten("WriteFile", 494)};
    for (int i = 43; i < 60; ++i) {
        expected.push_back(noSpaceFor("writeManifestData", 613, "fstream::write"));
        expected.push_back(fieldNotWritten("WriteFile", 494));
    }
    EXPECT_THAT(result.messages(), linesAre(expected));
    EXPECT_EQ(readFile(currentStore()), whole.substr(0, 4096));
}

TEST_F(ToolStorePath, onAFileSystemWithoutInodesCannotBeMade)
{
    const OwnFileSystem fileSystem("mode=755,nr_inodes=1");
    expectNotWritten(install(m_manifest), {cannotOpen(28, "No space left on device")});
    EXPECT_FALSE(pathExists(currentStore()));
}

} // namespace

} // namespace obg::test
