#include <ctime>
#include <regex>

#include "tests/support/Paths.h"
#include "tests/tool/ToolTest.h"

namespace obg::test {

namespace {

const std::string kModule = vpn(file("VPNCore", "exe", "5.1.2.42"));
const std::string kModuleStore = storeHeader() + storeRecord(kExe, "5.1.2.42", "VPNCore");

class ToolArguments : public ToolTest
{
protected:
    std::string m_manifest = manifestFile(kModule);

    ToolResult installInto(const std::string& installFolder) const
    {
        return ToolRun({"-i", installFolder, m_manifest}).run();
    }
};

void expectSilence(const ToolResult& result, int status)
{
    EXPECT_EQ(result.exitStatus, status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    EXPECT_FALSE(pathExists(currentStore()));
    EXPECT_FALSE(pathExists(legacyStore()));
}

TEST_F(ToolArguments, fewerThanThreeGiveStatus2InSilence)
{
    expectSilence(ToolRun({}).run(), 2);
    expectSilence(ToolRun({"-i"}).run(), 2);
    expectSilence(ToolRun({"-i", kCurrentRoot}).run(), 2);
    expectSilence(ToolRun({"--help"}).run(), 2);
}

TEST_F(ToolArguments, tooFewAreNoticedBeforeTheModeIsLookedAt)
{
    expectSilence(ToolRun({"-q", kCurrentRoot}).run(), 2);
}

TEST_F(ToolArguments, aModeOtherThanTheTwoExactTextsGivesStatus3InSilence)
{
    for (const std::string mode : {"-I", "-X", "--i", "-install", "i", "x", "", "-", " -i", "-i ", "-ix"}) {
        SCOPED_TRACE("mode '" + mode + "'");
        expectSilence(ToolRun({mode, kCurrentRoot, m_manifest}).run(), 3);
    }
}

TEST_F(ToolArguments, anUnknownModeIsNoticedBeforeStoreAndManifestAreLookedAt)
{
    writeFile(legacyStore(), "damaged");
    const ToolResult result = ToolRun({"-q", kLegacyRoot, "/nonexistent"}).run();
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(readFile(legacyStore()), "damaged");
}

TEST_F(ToolArguments, thoseAfterTheThirdAreIgnored)
{
    const ToolResult result = ToolRun({"-i", kCurrentRoot, m_manifest, "-x", "/nonexistent", kLegacyRoot}).run();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(readFile(currentStore()), kModuleStore);
    EXPECT_FALSE(pathExists(legacyStore()));
}

TEST_F(ToolArguments, theCurrentRootIsServedInSilence)
{
    const ToolResult result = installInto(kCurrentRoot);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(readFile(currentStore()), kModuleStore);
}

TEST_F(ToolArguments, theLegacyRootAnywhereInTheInstallFolderSelectsTheLegacyStoreAndSaysSo)
{
    for (const std::string folder :
         {"/opt/orvanta/tessellink", "/opt/orvanta/tessellink/", "/opt/orvanta/tessellink/bin",
          "/opt/orvanta/tessellink2", "/mnt/root/opt/orvanta/tessellink", "relative/opt/orvanta/tessellink-old/x",
          "/opt/orvanta/brightgate:/opt/orvanta/tessellink", "//opt/orvanta/tessellink"}) {
        SCOPED_TRACE(folder);
        resetInstallRoots();
        const ToolResult result = installInto(folder);
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_THAT(result.messages(), linesAre({legacyStoreUsed()}));
        EXPECT_EQ(readFile(legacyStore()), kModuleStore);
        EXPECT_FALSE(pathExists(currentStore()));
    }
}

TEST_F(ToolArguments, anyOtherInstallFolderSelectsTheCurrentStoreInSilence)
{
    for (const std::string folder :
         {"", ".", "/", "/usr/local", "/opt/orvanta", "/opt/orvanta/Tessellink", "/OPT/ORVANTA/TESSELLINK",
          "/opt/orvanta/./tessellink", "/opt//orvanta/tessellink", "opt/orvanta/tessellink"}) {
        SCOPED_TRACE(folder);
        resetInstallRoots();
        const ToolResult result = installInto(folder);
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(readFile(currentStore()), kModuleStore);
        EXPECT_FALSE(pathExists(legacyStore()));
    }
}

TEST_F(ToolArguments, theInstallFolderIsNeverUsedAsAPath)
{
    EXPECT_EQ(installInto("/opt/elsewhere").exitStatus, 0);
    EXPECT_FALSE(pathExists("/opt/elsewhere"));
    EXPECT_EQ(readFile(currentStore()), kModuleStore);
}

TEST_F(ToolArguments, theStoresDoNotKnowOfEachOther)
{
    installInto(kCurrentRoot);
    const std::string legacyModule = manifestFile(vpn(file("VPNCore", "exe", "4.10.0")));
    EXPECT_EQ(ToolRun({"-i", kLegacyRoot, legacyModule}).run().exitStatus, 0);
    EXPECT_EQ(readFile(currentStore()), kModuleStore);
    EXPECT_EQ(readFile(legacyStore()), storeHeader() + storeRecord(kExe, "4.10.0", "VPNCore"));

    const ToolResult result = ToolRun({"-x", kLegacyRoot, legacyModule}).run();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(), linesAre({legacyStoreUsed()}));
    EXPECT_EQ(readFile(currentStore()), kModuleStore);
    EXPECT_FALSE(pathExists(legacyStore()));
}

TEST_F(ToolArguments, aRelativeManifestPathIsReadFromTheWorkingFolder)
{
    const std::string folder = m_manifest.substr(0, m_manifest.rfind('/'));
    EXPECT_EQ(ToolRun({"-i", kCurrentRoot, "manifest.xml"}).folder(folder).run().exitStatus, 0);
    EXPECT_EQ(readFile(currentStore()), kModuleStore);
}

TEST_F(ToolArguments, anEmptyManifestPathIsAnErrorOfItsOwn)
{
    const ToolResult result = ToolRun({"-i", kCurrentRoot, ""}).run();
    EXPECT_EQ(result.exitStatus, 4);
    EXPECT_THAT(result.messages(),
                linesAre({manifestError("CManifestInfo", "Empty XML Manifest filename"), manifestNotParsed()}));
}

class ToolLog : public ToolTest
{};

TEST_F(ToolLog, namesTheProgramAndItsProcessWhateverTheProgramIsCalled)
{
    const ToolResult result = ToolRun({"-i", kLegacyRoot, "/nonexistent"}).name("installer-helper").run();
    ASSERT_EQ(result.log().size(), 3U);
    for (const LogLine& line : result.log()) {
        EXPECT_EQ(line.identity, "obg_manifesttool");
        EXPECT_EQ(line.pid, result.pid);
    }
}

TEST_F(ToolLog, writesOneLineAMessageInAFixedForm)
{
    const ToolResult result = ToolRun({"-i", kLegacyRoot, manifestFile(vpn(file("a", "exe", "1")))}).run();
    EXPECT_EQ(std::regex_replace(result.out, std::regex("^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}"), "T"),
              "T obg_manifesttool[" + std::to_string(result.pid) +
                  "]: [NOTICE] Function: main File: ../main Line: 87 using tessellink VPNManifest.dat\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(ToolLog, tellsLocalTime)
{
    constexpr std::time_t kAhead = 5 * 3600 + 30 * 60;
    const auto stamp = [](std::time_t when) {
        char text[32];
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::gmtime(&when));
        return std::string(text);
    };
    const std::time_t before = std::time(nullptr) + kAhead;
    const ToolResult result = ToolRun({"-i", kLegacyRoot, "/nonexistent"}).timeZone("XYZ-5:30").run();
    const std::time_t after = std::time(nullptr) + kAhead;
    for (const LogLine& line : result.log()) {
        EXPECT_GE(line.time, stamp(before));
        EXPECT_LE(line.time, stamp(after));
    }
}

TEST_F(ToolLog, thatCannotBeWrittenChangesNothing)
{
    const std::string manifest = manifestFile(kModule);
    const std::string tool = toolPath();
    const auto intoFullDevice = [&](const std::string& manifestPath) {
        return ToolRun({"-c", "exec \"$0\" \"$@\" >/dev/full", tool, "-i", kLegacyRoot, manifestPath})
            .program("/bin/sh")
            .run();
    };
    EXPECT_EQ(intoFullDevice(manifest).exitStatus, 0);
    EXPECT_EQ(readFile(legacyStore()), kModuleStore);
    EXPECT_EQ(intoFullDevice("/nonexistent").exitStatus, 4);
    EXPECT_EQ(readFile(legacyStore()), kModuleStore);
}

TEST_F(ToolLog, neverLandsInTheStoreWhenStandardStreamsAreClosed)
{
    // An entry without a version has something to tell while the store is open.
    const std::string manifest = manifestFile(vpn("<file id=\"a\" type=\"exe\"><uri>a</uri></file>"));
    for (const char* closed : {">&-", "<&- >&-", "<&- >&- 2>&-"}) {
        SCOPED_TRACE(closed);
        resetInstallRoots();
        const ToolResult result =
            ToolRun({"-c", std::string("exec \"$0\" \"$@\" ") + closed, toolPath(), "-i", kCurrentRoot, manifest})
                .program("/bin/sh")
                .run();
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(toHex(readFile(currentStore())), toHex(storeHeader() + u32le(kExe)));
    }
}

TEST_F(ToolLog, tellsOfTheStoreBeforeItTellsOfTheManifest)
{
    writeFile(legacyStore(), "");
    const ToolResult result = ToolRun({"-i", kLegacyRoot, "/nonexistent"}).run();
    EXPECT_EQ(result.exitStatus, 4);
    EXPECT_THAT(result.messages(), linesAre({legacyStoreUsed(), fieldNotRead("loadInstalledFileData", 279),
                                             manifestWithoutSize(), manifestNotParsed()}));
    EXPECT_EQ(readFile(legacyStore()), "");
}

} // namespace

} // namespace obg::test
