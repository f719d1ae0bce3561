#include <filesystem>

#include <sys/stat.h>

#include "tests/tool/ToolTest.h"
#include "vpn/Common/ManifestFileType.h"

namespace obg::test {

namespace {

namespace fs = std::filesystem;

/** The run did its work and had nothing to tell. */
void expectQuietSuccess(const ToolResult& result)
{
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
}

/** The store holds exactly these records. */
void expectStore(const std::string& records)
{
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(storeHeader() + records));
}

const std::string kThreeRecords =
    storeRecord(kExe, "1.0", "first") + storeRecord(kRpm, "2.0", "second") + storeRecord(kDeb, "3.0", "third");

const std::string kNothingListed = "<vpn/>";

class ToolEntries : public ToolTest
{
protected:
    static void givenThreeRecords() { writeFile(currentStore(), storeHeader() + kThreeRecords); }
};

TEST_F(ToolEntries, aFirstRecordMakesTheStoreByteForByte)
{
    expectQuietSuccess(installText(vpn(file("abc", "msi", "4.10.0"))));
    EXPECT_EQ(toHex(readFile(currentStore())), "01 00 00 00 00 00 00 00 01 00 00 00 07 00 00 00 34 2e 31 30 2e 30 00 "
                                               "04 00 00 00 61 62 63 00");
}

TEST_F(ToolEntries, everyInstalledKindIsRecordedInDocumentOrder)
{
    std::string files;
    std::string records;
    for (const FileKind& kind : kFileKinds) {
        if (kind.keeping == Keeping::Stored) {
            const std::string word(kind.word);
            files += file("of kind " + word, word, "1");
            records += storeRecord(kind.type, "1", "of kind " + word);
        }
    }
    expectQuietSuccess(installText(vpn(files)));
    expectStore(records);
}

/** One accepted entry of each kind that leaves no record. */
std::string copiedAndAppliedFiles()
{
    std::string files;
    for (const FileKind& kind : kFileKinds) {
        if (kind.keeping == Keeping::Dropped) {
            const std::string word(kind.word);
            const std::string name(kind.fileName.empty() ? "a.xml" : kind.fileName);
            files += "<file id=\"" + word + "\" version=\"1\" type=\"" + word + "\" lang=\"de\"><uri>de/" + name +
                     "</uri><hash type=\"sha256\">00</hash></file>";
        }
    }
    return files;
}

TEST_F(ToolEntries, copiedAndAppliedKindsLeaveOnlyTheHeader)
{
    expectQuietSuccess(installText(vpn(copiedAndAppliedFiles())));
    expectStore("");
}

TEST_F(ToolEntries, copiedAndAppliedKindsAreLeftOutBetweenTheOthers)
{
    expectQuietSuccess(installText(vpn(file("a", "exe", "1") + copiedAndAppliedFiles() + file("b", "deb", "2"))));
    expectStore(storeRecord(kExe, "1", "a") + storeRecord(kDeb, "2", "b"));
}

TEST_F(ToolEntries, strikingAStoreOfTheHeaderAloneDeletesIt)
{
    writeFile(currentStore(), storeHeader());
    expectQuietSuccess(strikeText(vpn(copiedAndAppliedFiles())));
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(ToolEntries, aRecordWhoseFileBecomesACopiedOneVanishes)
{
    givenThreeRecords();
    expectQuietSuccess(installText(vpn("<file id=\"second\" version=\"2.1\" type=\"profile\"><uri>p.xml</uri>"
                                       "<hash type=\"sha1\">00</hash></file>")));
    expectStore(storeRecord(kExe, "1.0", "first") + storeRecord(kDeb, "3.0", "third"));
}

TEST_F(ToolEntries, anUpdateKeepsEveryRecordInItsPlace)
{
    givenThreeRecords();
    expectQuietSuccess(
        installText(vpn(file("third", "rpm", "3.1") + file("fourth", "exe", "4.0") + file("first", "script", "1.1"))));
    expectStore(storeRecord(kScript, "1.1", "first") + storeRecord(kRpm, "2.0", "second") +
                storeRecord(kRpm, "3.1", "third") + storeRecord(kExe, "4.0", "fourth"));
}

TEST_F(ToolEntries, aSecondRunOfTheSameModuleChangesNothing)
{
    const std::string manifest = manifestFile(vpn(file("a", "exe", "1") + file("b", "deb", "2")));
    expectQuietSuccess(install(manifest));
    const std::string once = readFile(currentStore());
    expectQuietSuccess(install(manifest));
    EXPECT_EQ(readFile(currentStore()), once);
}

TEST_F(ToolEntries, aRecordOfAnOlderVersionReplacesANewerOne)
{
    givenThreeRecords();
    expectQuietSuccess(installText(vpn(file("first", "exe", "0.9"))));
    expectStore(storeRecord(kExe, "0.9", "first") + storeRecord(kRpm, "2.0", "second") +
                storeRecord(kDeb, "3.0", "third"));
}

TEST_F(ToolEntries, anIdThatAManifestRepeatsKeepsThePlaceOfTheFirstAndTheValuesOfTheLast)
{
    expectQuietSuccess(installText(vpn(file("a", "exe", "1") + file("b", "exe", "1") + file("a", "deb", "2"))));
    expectStore(storeRecord(kDeb, "2", "a") + storeRecord(kExe, "1", "b"));
}

TEST_F(ToolEntries, idsAreComparedByteForByte)
{
    const std::string ids = file("VPNCore", "exe", "1") + file("vpncore", "exe", "2") + file("VPNCore2", "exe", "3") +
                            file("VPN Core", "exe", "4") + file("./VPNCore", "exe", "5");
    expectQuietSuccess(installText(vpn(ids)));
    expectStore(storeRecord(kExe, "1", "VPNCore") + storeRecord(kExe, "2", "vpncore") +
                storeRecord(kExe, "3", "VPNCore2") + storeRecord(kExe, "4", "VPN Core") +
                storeRecord(kExe, "5", "./VPNCore"));

    expectQuietSuccess(strikeText(vpn(file("vpncore", "exe", "2"))));
    expectStore(storeRecord(kExe, "1", "VPNCore") + storeRecord(kExe, "3", "VPNCore2") +
                storeRecord(kExe, "4", "VPN Core") + storeRecord(kExe, "5", "./VPNCore"));
}

TEST_F(ToolEntries, blanksAroundIdTypeAndVersionAreTrimmed)
{
    expectQuietSuccess(installText(vpn(file("  VPNCore ", " exe ", " 1.0\t"))));
    expectStore(storeRecord(kExe, "1.0", "VPNCore"));
}

TEST_F(ToolEntries, anAmpersandInAnAttributeStaysACharacterReference)
{
    expectQuietSuccess(installText(vpn(file("R&amp;D", "exe", "1&#38;2"))));
    expectStore(storeRecord(kExe, "1&#38;2", "R&#38;D"));
}

TEST_F(ToolEntries, otherPredefinedEntitiesInAnAttributeAreDecoded)
{
    expectQuietSuccess(installText(vpn(file("&lt;&gt;&quot;&apos;&#65;", "exe", "1"))));
    expectStore(storeRecord(kExe, "1", "<>\"'A"));
}

TEST_F(ToolEntries, idsAreKeptInUtf8WhateverTheManifestIsWrittenIn)
{
    expectQuietSuccess(installText("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n" + vpn(file("Pr\xFC"
                                                                                                  "fung",
                                                                                                  "exe", "1"))));
    expectStore(storeRecord(kExe, "1",
                            "Pr\xC3\xBC"
                            "fung"));
}

TEST_F(ToolEntries, aLongIdIsKeptWhole)
{
    const std::string id(100'000, 'i');
    expectQuietSuccess(installText(vpn(file(id, "exe", "1"))));
    expectStore(storeRecord(kExe, "1", id));
}

TEST_F(ToolEntries, theKindInAnElementReplacesTheOneInTheAttribute)
{
    expectQuietSuccess(installText(
        vpn("<file id=\"a\" version=\"1\" type=\"exe\"><uri>a</uri><type>script</type><type>rpm</type></file>")));
    expectStore(storeRecord(kRpm, "1", "a"));
}

TEST_F(ToolEntries, anEntryWithoutVersionIsWrittenAsItsTypeAlone)
{
    const ToolResult result =
        installText(vpn("<file id=\"a\" type=\"exe\"><uri>a</uri></file>" + file("b", "deb", "1")));
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(), linesAre({fieldNotWritten("WriteFile", 494)}));
    expectStore(u32le(kExe) + storeRecord(kDeb, "1", "b"));
}

TEST_F(ToolEntries, anEntryWithAnEmptyIdIsWrittenAsItsTypeAndVersionAlone)
{
    const ToolResult result = installText(vpn(file("", "exe", "1.0") + file("b", "deb", "1")));
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(), linesAre({fieldNotWritten("WriteFile", 494)}));
    expectStore(u32le(kExe) + field("1.0") + storeRecord(kDeb, "1", "b"));
}

TEST_F(ToolEntries, anEntryOfNoKindIsAcceptedWithAnActionAndLeavesNoRecord)
{
    expectQuietSuccess(installText(vpn("<file id=\"a\" version=\"1\" action=\"copy\"><uri>a</uri></file>")));
    expectStore("");
}

TEST_F(ToolEntries, strikingRemovesTheListedIdsAndKeepsTheOrderOfTheRest)
{
    givenThreeRecords();
    expectQuietSuccess(strikeText(vpn(file("second", "rpm", "2.0"))));
    expectStore(storeRecord(kExe, "1.0", "first") + storeRecord(kDeb, "3.0", "third"));
}

TEST_F(ToolEntries, strikingLooksAtTheIdAlone)
{
    givenThreeRecords();
    expectQuietSuccess(strikeText(vpn(file("second", "msi", "99"))));
    expectStore(storeRecord(kExe, "1.0", "first") + storeRecord(kDeb, "3.0", "third"));
}

TEST_F(ToolEntries, strikingIdsWithoutARecordIsSilent)
{
    givenThreeRecords();
    expectQuietSuccess(strikeText(vpn(file("fourth", "exe", "4.0") + file("First", "exe", "1.0"))));
    expectStore(kThreeRecords);
}

TEST_F(ToolEntries, strikingTheLastRecordDeletesTheStore)
{
    givenThreeRecords();
    expectQuietSuccess(
        strikeText(vpn(file("third", "deb", "3.0") + file("first", "exe", "1.0") + file("second", "rpm", "2.0"))));
    EXPECT_FALSE(pathExists(currentStore()));
    EXPECT_TRUE(pathExists(kCurrentRoot));
}

TEST_F(ToolEntries, strikingWithoutAStoreRecordsTheFailedRemovalAndSucceeds)
{
    const ToolResult result = strikeText(vpn(file("first", "exe", "1.0")));
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(), linesAre({storeCallFailed("WriteFile", 432, "remove", 2, "unknown")}));
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(ToolEntries, aManifestThatListsNothingRewritesTheStore)
{
    const std::string dropped = storeRecord(kTransform, "1", "dropped when read");
    for (const char* mode : {"-i", "-x"}) {
        SCOPED_TRACE(mode);
        writeFile(currentStore(), storeHeader(0, 77) + kThreeRecords + dropped);
        expectQuietSuccess(ToolRun({mode, kCurrentRoot, manifestFile(kNothingListed)}).run());
        expectStore(kThreeRecords);
    }
}

TEST_F(ToolEntries, aManifestThatListsNothingDeletesAnEmptyStore)
{
    for (const char* mode : {"-i", "-x"}) {
        SCOPED_TRACE(mode);
        writeFile(currentStore(), storeHeader());
        expectQuietSuccess(ToolRun({mode, kCurrentRoot, manifestFile(kNothingListed)}).run());
        EXPECT_FALSE(pathExists(currentStore()));
    }
}

TEST_F(ToolEntries, aManifestThatListsNothingWithoutAStoreRecordsTheFailedRemoval)
{
    const ToolResult result = installText(kNothingListed);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(), linesAre({storeCallFailed("WriteFile", 432, "remove", 2, "unknown")}));
}

class ToolStoreFile : public ToolEntries
{
protected:
    std::string m_manifest = manifestFile(vpn(file("fourth", "exe", "4.0")));
};

const std::string kFourRecords = storeHeader() + kThreeRecords + storeRecord(kExe, "4.0", "fourth");

TEST_F(ToolStoreFile, thatIsALinkStaysALink)
{
    const std::string target = scratchPath("store");
    writeFile(target, storeHeader() + kThreeRecords);
    fs::create_symlink(target, currentStore());

    expectQuietSuccess(install(m_manifest));
    EXPECT_EQ(fs::read_symlink(currentStore()), target);
    EXPECT_EQ(readFile(target), kFourRecords);
}

TEST_F(ToolStoreFile, thatIsADanglingLinkIsMadeAtTheLinksTarget)
{
    const std::string target = scratchPath("store");
    fs::create_symlink(target, currentStore());

    expectQuietSuccess(install(m_manifest));
    EXPECT_TRUE(fs::is_symlink(currentStore()));
    EXPECT_EQ(readFile(target), storeHeader() + storeRecord(kExe, "4.0", "fourth"));
}

TEST_F(ToolStoreFile, thatIsALinkLosesOnlyTheLinkWhenNothingIsLeft)
{
    const std::string target = scratchPath("store");
    writeFile(target, storeHeader() + storeRecord(kExe, "4.0", "fourth"));
    fs::create_symlink(target, currentStore());

    expectQuietSuccess(strike(m_manifest));
    EXPECT_FALSE(pathExists(currentStore()));
    EXPECT_EQ(readFile(target), storeHeader() + storeRecord(kExe, "4.0", "fourth"));
}

TEST_F(ToolStoreFile, keepsItsInodeItsModeAndItsOtherNames)
{
    givenThreeRecords();
    ASSERT_EQ(chmod(currentStore().c_str(), 0640), 0);
    const std::string otherName = std::string(kCurrentRoot) + "/other-name";
    fs::create_hard_link(currentStore(), otherName);

    expectQuietSuccess(install(m_manifest));
    EXPECT_TRUE(fs::equivalent(currentStore(), otherName));
    EXPECT_EQ(readFile(otherName), kFourRecords);
    EXPECT_EQ(fs::status(currentStore()).permissions(), static_cast<fs::perms>(0640));
}

TEST_F(ToolStoreFile, isMadeWithTheModeThatTheUmaskLeaves)
{
    for (const mode_t mask : {mode_t{0022}, mode_t{0077}}) {
        resetInstallRoots();
        const mode_t before = umask(mask);
        expectQuietSuccess(install(m_manifest));
        umask(before);
        EXPECT_EQ(fs::status(currentStore()).permissions(), static_cast<fs::perms>(0666 & ~mask));
    }
}

TEST_F(ToolStoreFile, isTheOnlyThingThatARunLeavesInTheRoot)
{
    expectQuietSuccess(install(m_manifest));
    const fs::directory_iterator root(kCurrentRoot);
    EXPECT_EQ(std::distance(begin(root), end(root)), 1);
}

} // namespace

} // namespace obg::test
