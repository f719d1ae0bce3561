#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/Bytes.h"
#include "tests/support/Chroot.h"
#include "tests/support/Files.h"
#include "tests/support/LogTexts.h"
#include "tests/support/PrivateMachine.h"
#include "tests/support/Privileges.h"
#include "tests/support/ToolRun.h"

namespace obg::test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

bool canOpen(const std::string& path)
{
    return std::ifstream(path).is_open();
}

TEST(PrivateMachine, startsWithTwoEmptyInstallRoots)
{
    struct stat at
    {};
    EXPECT_EQ(stat("/opt/orvanta/brightgate", &at), 0);
    EXPECT_EQ(stat("/opt/orvanta/tessellink", &at), 0);
    EXPECT_FALSE(pathExists("/opt/orvanta/brightgate/VPNManifest.dat"));
}

TEST(PrivateMachine, resetEmptiesTheInstallRoots)
{
    writeFile(currentStore(), "x");
    writeFile(legacyStore(), "x");
    writeFile("/opt/stray", "x");
    resetInstallRoots();
    EXPECT_FALSE(pathExists("/opt/orvanta/brightgate/VPNManifest.dat"));
    EXPECT_FALSE(pathExists("/opt/orvanta/tessellink/VPNManifest.dat"));
    EXPECT_FALSE(pathExists("/opt/stray"));
    EXPECT_TRUE(pathExists("/opt/orvanta/tessellink"));
}

TEST(PrivateMachine, isEnteredInAChrootWhoseRootIsNoMountPointAndNoMountLeavesIt)
{
    const Chroot machine;
    const std::string before = machine.mounts();
    const std::string self = std::filesystem::absolute(program_invocation_name);
    const ToolResult result =
        ToolRun({"--gtest_filter=PrivateMachine.*Roots"}).program(self).root(machine.path()).run();
    EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("2 tests"));
    EXPECT_EQ(machine.mounts(), before);
    EXPECT_TRUE(std::filesystem::is_empty(machine.path() + "/opt"));
}

TEST(PrivateMachine, runsInUtc)
{
    EXPECT_STREQ(std::getenv("TZ"), "UTC");
}

TEST(SystemFiles, replacesFilesForTheScopeOnly)
{
    const std::string before = readFile("/proc/version");
    {
        SystemFiles files;
        files.overlayFile("/proc/version", "Linux of the test\n");
        files.overlayFile("/etc/issue", "issue of the test\n");
        files.overlayFile("/etc/os-release", "ID=test\n");
        EXPECT_EQ(readFile("/proc/version"), "Linux of the test\n");
        EXPECT_EQ(readFile("/etc/issue"), "issue of the test\n");
        EXPECT_EQ(readFile("/etc/os-release"), "ID=test\n");
    }
    EXPECT_EQ(readFile("/proc/version"), before);
}

TEST(SystemFiles, addsAFileThatTheMachineDoesNotHave)
{
    {
        SystemFiles files;
        files.overlayFile("/proc/nduid", "");
        EXPECT_TRUE(canOpen("/proc/nduid"));
    }
    EXPECT_FALSE(canOpen("/proc/nduid"));
}

TEST(SystemFiles, hidesTheReleaseFilesAndLeavesTheOthers)
{
    SystemFiles files;
    files.hideReleaseFiles();
    for (const char* path : {"/etc/os-release", "/proc/version", "/etc/issue", "/proc/nduid"}) {
        EXPECT_FALSE(pathExists(path)) << path;
    }
    EXPECT_TRUE(canOpen("/etc/passwd"));
    EXPECT_TRUE(canOpen("/proc/self/maps"));
}

TEST(SystemFiles, startedProgramsSeeTheChange)
{
    SystemFiles files;
    files.overlayFile("/etc/issue", "issue of the test\n");
    EXPECT_EQ(ToolRun({"/etc/issue"}).program("cat").run().out, "issue of the test\n");
}

TEST(SystemFiles, theOriginalsCannotBeWrittenThroughTheirLinks)
{
    SystemFiles files;
    files.hideFile("/etc/issue");
    EXPECT_FALSE(std::ofstream("/etc/passwd", std::ios::app).is_open());
}

TEST(Privileges, permissionBitsBindWithinTheScope)
{
    const ScratchFolder folder;
    const std::string file = folder.write("closed", "x");
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    {
        const WithoutPrivileges ordinary;
        EXPECT_FALSE(canOpen(file));
    }
    EXPECT_TRUE(canOpen(file));
}

TEST(Bytes, hexadecimalIsReadAndWritten)
{
    EXPECT_EQ(fromHex("01 00\nfF7a"), std::string("\x01\0\xff\x7a", 4));
    EXPECT_EQ(toHex(std::string("\x01\0\xff", 3)), "01 00 ff");
    EXPECT_EQ(toHex(""), "");
}

TEST(Bytes, storeFieldsAreLittleEndianAndCountTheirNul)
{
    EXPECT_EQ(toHex(u32le(0x12345678)), "78 56 34 12");
    EXPECT_EQ(toHex(field("ab")), "03 00 00 00 61 62 00");
    EXPECT_EQ(toHex(storeHeader()), "01 00 00 00 00 00 00 00");
    EXPECT_EQ(toHex(storeRecord(17, "1", "a")), "11 00 00 00 02 00 00 00 31 00 02 00 00 00 61 00");
}

TEST(Files, keepEveryByte)
{
    const ScratchFolder folder;
    const std::string bytes("a\0\r\n\xff", 5);
    EXPECT_EQ(readFile(folder.write("file", bytes)), bytes);
}

TEST(Files, scratchFolderIsGoneAfterItsScope)
{
    std::string path;
    {
        const ScratchFolder folder;
        path = folder.path();
        folder.write("file", "x");
    }
    EXPECT_FALSE(pathExists(path));
}

TEST(LogTexts, recordsReadAsTheMessageTableSays)
{
    EXPECT_EQ(debugText("main", "../main", 98, "Failed to parse input manifest"),
              "Function: main\nFile: ../main\nLine: 98\nFailed to parse input manifest");
    EXPECT_EQ(returnCodeText("f", "../f", 7, "g", 0xFE000009, "unknown", "why"),
              "Function: f\nFile: ../f\nLine: 7\nInvoked Function: g\nReturn Code: -33554423 (0xFE000009)\n"
              "Description: unknown\nwhy");
    EXPECT_EQ(returnCodeText("f", "../f", 7, "g", 5, "d", ""),
              "Function: f\nFile: ../f\nLine: 7\nInvoked Function: g\nReturn Code: 5 (0x00000005)\nDescription: d\n");
}

TEST(LogTexts, anyLineStandsForANumberOnly)
{
    const std::string expected = debugText("f", "../f", kAnyLine, "text");
    EXPECT_THAT("Function: f\nFile: ../f\nLine: 4711\ntext", LogTextIs(expected));
    EXPECT_THAT("Function: f\nFile: ../f\nLine: \ntext", Not(LogTextIs(expected)));
    EXPECT_THAT("Function: f\nFile: ../f\nLine: 47\nother", Not(LogTextIs(expected)));
    EXPECT_THAT("Function: f File: ../f Line: 4711 text", LogTextIs(oneLine(expected)));
}

TEST(LogTexts, aFixedLineIsCompared)
{
    EXPECT_THAT("Function: f\nFile: ../f\nLine: 8\ntext", Not(LogTextIs(debugText("f", "../f", 7, "text"))));
}

TEST(ToolRun, givesStatusAndBothStreams)
{
    const ToolResult result = ToolRun({"-c", "echo out; echo err >&2; exit 3"}).program("sh").run();
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.out, "out\n");
    EXPECT_EQ(result.err, "err\n");
}

TEST(ToolRun, givesTheSignal)
{
    const ToolResult result = ToolRun({"-c", "kill -TERM $$"}).program("sh").run();
    EXPECT_EQ(result.signal, SIGTERM);
    EXPECT_EQ(result.exitStatus, -1);
}

TEST(ToolRun, setsNameEnvironmentZoneAndFolder)
{
    const ToolResult result = ToolRun({"-c", "echo $0 $OBG_WORD $TZ $PWD"})
                                  .program("sh")
                                  .name("called")
                                  .environment("OBG_WORD", "word")
                                  .timeZone("XYZ-2")
                                  .folder("/opt")
                                  .run();
    EXPECT_EQ(result.out, "called word XYZ-2 /opt\n");
}

TEST(ToolRun, limitsHoldInTheProgram)
{
    EXPECT_EQ(ToolRun({"-c", "ulimit -f"}).program("sh").limit(RLIMIT_FSIZE, 0).run().out, "0\n");
}

TEST(ToolRun, withoutPrivilegesPermissionBitsBind)
{
    const ScratchFolder folder;
    const std::string file = folder.write("closed", "x");
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    EXPECT_EQ(ToolRun({file}).program("cat").run().exitStatus, 0);
    EXPECT_EQ(ToolRun({file}).program("cat").withoutPrivileges().run().exitStatus, 1);
}

TEST(ToolRun, largeOutputOnBothStreamsDoesNotBlock)
{
    const ToolResult result =
        ToolRun({"-c", "head -c 300000 /dev/zero >&2; head -c 300000 /dev/zero"}).program("sh").run();
    EXPECT_EQ(result.out.size(), 300000U);
    EXPECT_EQ(result.err.size(), 300000U);
}

TEST(ToolRun, parsesLogLines)
{
    ToolResult result;
    result.out = "2024-05-01 13:45:10 obg_manifesttool[4242]: [ERROR] Function: main \n"
                 "2024-05-01 13:45:11 obg_manifesttool[4242]: [NOTICE] \n";
    EXPECT_THAT(result.log(),
                ElementsAre(LogLine{"2024-05-01 13:45:10", "obg_manifesttool", 4242, "ERROR", "Function: main "},
                            LogLine{"2024-05-01 13:45:11", "obg_manifesttool", 4242, "NOTICE", ""}));
    EXPECT_THAT(result.messages(), ElementsAre("[ERROR] Function: main ", "[NOTICE] "));
}

TEST(ToolRun, refusesWhatIsNoLogLine)
{
    LogLine line;
    EXPECT_FALSE(parseLogLine("", line));
    EXPECT_FALSE(parseLogLine("2024-05-01 13:45 obg_manifesttool[4242]: [ERROR] text", line));
    EXPECT_FALSE(parseLogLine("2024-05-01 13:45:10 obg_manifesttool[x]: [ERROR] text", line));
    EXPECT_FALSE(parseLogLine("2024-05-01 13:45:10 obg_manifesttool[4242]: ERROR text", line));
}

} // namespace

} // namespace obg::test
