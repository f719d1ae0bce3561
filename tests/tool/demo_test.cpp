#include <filesystem>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/Chroot.h"
#include "tests/support/Files.h"
#include "tests/support/Paths.h"
#include "tests/tool/ToolTest.h"

namespace obg::test {

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/** Runs the steps of script/demo, not its build, once for all tests. */
const ToolResult& demo()
{
    static const ToolResult result =
        ToolRun({"--steps", OBG_TEST_PROGRAMS}).program(sourceTree() + "/script/demo").run();
    return result;
}

/** Where step NUMBER begins. */
std::size_t beginOf(int number)
{
    std::ostringstream heading;
    heading << '\n' << number << ". ";
    return demo().out.find(heading.str());
}

/** What step NUMBER printed. */
std::string step(int number)
{
    const std::size_t first = beginOf(number);
    EXPECT_NE(first, std::string::npos) << "no step " << number << " in: " << demo().out;
    return first == std::string::npos ? "" : demo().out.substr(first, beginOf(number + 1) - first);
}

/** How the demo shows one record, in a list whose longest id has so many characters. */
std::string shown(std::size_t longestId, std::string id, std::string kind, const std::string& version)
{
    id.resize(longestId + 2, ' ');
    kind.resize(8, ' ');
    return "  " + id + kind + version + "\n";
}

/** The steps of script/demo with MACHINE as the root. */
ToolRun demoIn(const Chroot& machine)
{
    return ToolRun({"--steps", OBG_TEST_PROGRAMS}).program(sourceTree() + "/script/demo").root(machine.path());
}

class Demo : public InstallRootsTest
{};

TEST_F(Demo, succeedsWithoutAWordOnStandardError)
{
    EXPECT_EQ(demo().exitStatus, 0);
    EXPECT_EQ(demo().err, "");
}

TEST_F(Demo, recordsTheCore)
{
    const std::string out = step(1);
    EXPECT_THAT(out, HasSubstr("obg_manifesttool -i /opt/orvanta/brightgate examples/core-5.1.2.42.xml\n"));
    EXPECT_THAT(out, HasSubstr("exit status 0\n"));
    EXPECT_THAT(out, HasSubstr(shown(13, "VPNCore", "exe", "5.1.2.42") + shown(13, "VPNCore-rpm", "rpm", "5.1.2.42-1") +
                               shown(13, "VPNCore-deb", "deb", "5.1.2.42") +
                               shown(13, "VPNAgent-init", "script", "5.1.2.42")));
}

TEST_F(Demo, updatesTheCoreInPlace)
{
    const std::string out = step(2);
    EXPECT_THAT(out, HasSubstr("obg_manifesttool -i /opt/orvanta/brightgate examples/core-5.1.4.74.xml\n"));
    EXPECT_THAT(out, HasSubstr("exit status 0\n"));
    EXPECT_THAT(out, HasSubstr(shown(16, "VPNCore", "exe", "5.1.4.74") + shown(16, "VPNCore-rpm", "rpm", "5.1.4.74-1") +
                               shown(16, "VPNCore-deb", "deb", "5.1.4.74") +
                               shown(16, "VPNAgent-init", "script", "5.1.4.74") +
                               shown(16, "VPNRoutes-script", "script", "5.1.4.74")));
}

TEST_F(Demo, showsThePlanOfEachStepBeforeItIsTaken)
{
    EXPECT_THAT(step(2), HasSubstr("obg_manifestctl plan -i examples/core-5.1.4.74.xml\n"
                                   "update  VPNCore-deb       deb 5.1.2.42 -> deb 5.1.4.74\n"
                                   "update  VPNCore-rpm       rpm 5.1.2.42-1 -> rpm 5.1.4.74-1\n"
                                   "update  VPNAgent-init     script 5.1.2.42 -> script 5.1.4.74\n"
                                   "add     VPNRoutes-script  script 5.1.4.74\n"
                                   "update  VPNCore           exe 5.1.2.42 -> exe 5.1.4.74\n"
                                   "The store would hold 5 entries in 178 bytes.\n\n$ "));
    EXPECT_THAT(step(4), HasSubstr("\nstrike  Northwind-setup         script 2.3\n"));
    EXPECT_THAT(step(5), HasSubstr("obg_manifestctl plan -i examples/broken-cut-short.xml\n"
                                   "obg_manifestctl: examples/broken-cut-short.xml"));
}

TEST_F(Demo, addsTheCustomisationAndStrikesItAgain)
{
    const std::string record = shown(16, "Northwind-setup", "script", "2.3");
    EXPECT_THAT(step(3), HasSubstr("exit status 0\n"));
    EXPECT_THAT(step(3), HasSubstr(record));
    EXPECT_THAT(step(4), HasSubstr("obg_manifesttool -x /opt/orvanta/brightgate examples/customisation-"));
    EXPECT_THAT(step(4), HasSubstr("exit status 0\n"));
    EXPECT_THAT(step(4), Not(HasSubstr(record)));
    EXPECT_THAT(step(4), HasSubstr("Byte for byte what it was after step 2.\n"));
}

TEST_F(Demo, meetsABrokenManifest)
{
    const std::string out = step(5);
    EXPECT_THAT(out, HasSubstr("[ERROR] Function: main File: ../main Line: 98 Failed to parse input manifest\n"));
    EXPECT_THAT(out, HasSubstr("exit status 4\n"));
    EXPECT_THAT(out, HasSubstr("Byte for byte what it was before this step.\n"));
}

TEST_F(Demo, leavesTheInstallRootsAloneAndSaysSo)
{
    writeFile(currentStore(), "the machine's own");
    const ToolResult result =
        ToolRun({"--steps", OBG_TEST_PROGRAMS}).program(sourceTree() + "/script/demo").folder("/").run();
    EXPECT_THAT(result.out, EndsWith(": this machine was left untouched.\n"));
    EXPECT_EQ(readFile(currentStore()), "the machine's own");
    EXPECT_FALSE(pathExists(legacyStore()));
}

TEST_F(Demo, isPlainTextWhenItIsNotOnATerminal)
{
    EXPECT_THAT(demo().out, Not(HasSubstr("\033")));
}

TEST_F(Demo, failsAndSaysWhyWhenThereIsNothingToShow)
{
    const ToolResult result = ToolRun({"--steps", "/nonexistent"}).program(sourceTree() + "/script/demo").run();
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "script/demo: /nonexistent does not hold the programs\n");
}

TEST_F(Demo, runsInAChrootWhoseRootIsNoMountPointAndNoMountLeavesIt)
{
    const Chroot machine;
    const std::string before = machine.mounts();
    const ToolResult result = demoIn(machine).run();
    EXPECT_THAT(result.out, EndsWith(": this machine was left untouched.\n"));
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(machine.mounts(), before);
}

TEST_F(Demo, borrowsTheOptOfAContainerThatMayNotMountAndGivesItBack)
{
    const Chroot machine;
    writeFile(machine.path() + "/run/.containerenv", "");
    const ToolResult result = demoIn(machine).withoutMounts().run();
    EXPECT_THAT(result.out, StartsWith("This container may not make a private view of /opt."));
    EXPECT_THAT(result.out, HasSubstr("\n5. Meet a broken manifest\n"));
    EXPECT_THAT(result.out, EndsWith(": the /opt of this container is as it was.\n"));
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_FALSE(pathExists(machine.path() + "/opt/orvanta"));
    EXPECT_TRUE(pathExists(machine.path() + "/opt"));
}

TEST_F(Demo, takesTheOptAwayThatAContainerDidNotHave)
{
    const Chroot machine;
    writeFile(machine.path() + "/.dockerenv", "");
    ASSERT_EQ(rmdir((machine.path() + "/opt").c_str()), 0);
    const ToolResult result = demoIn(machine).withoutMounts().run();
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_FALSE(pathExists(machine.path() + "/opt"));
}

TEST_F(Demo, givesTheOptOfAContainerBackWhenItIsInterrupted)
{
    const Chroot machine;
    writeFile(machine.path() + "/.dockerenv", "");
    std::filesystem::create_directories(machine.path() + "/run/programs");
    for (const char* program : {"/run/programs/obg_manifesttool", "/run/programs/obg_manifestctl"}) {
        writeFile(machine.path() + program, "#!/bin/sh\ntouch /run/started\nkill -s INT 0\nexec sleep 60\n");
        ASSERT_EQ(chmod((machine.path() + program).c_str(), 0755), 0);
    }
    const ToolResult result = ToolRun({sourceTree() + "/script/demo", "--steps", "/run/programs"})
                                  .program("setsid") // the signal is for its process group
                                  .root(machine.path())
                                  .withoutMounts()
                                  .run();
    EXPECT_TRUE(pathExists(machine.path() + "/run/started"));
    EXPECT_EQ(result.exitStatus, 130);
    EXPECT_FALSE(pathExists(machine.path() + "/opt/orvanta"));
}

TEST_F(Demo, borrowsNothingWhereTheClientIsInstalled)
{
    const Chroot machine;
    writeFile(machine.path() + "/.dockerenv", "");
    std::filesystem::create_directories(machine.path() + "/opt/orvanta");
    const ToolResult result = demoIn(machine).withoutMounts().run();
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err, HasSubstr("refuses a private mount namespace"));
    EXPECT_TRUE(std::filesystem::is_empty(machine.path() + "/opt/orvanta"));
}

TEST_F(Demo, borrowsNothingFromWhatIsNoContainer)
{
    const Chroot machine;
    const ToolResult result = demoIn(machine).withoutMounts().run();
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err, HasSubstr("refuses a private mount namespace"));
    EXPECT_FALSE(pathExists(machine.path() + "/opt/orvanta"));
}

TEST(TestCommand, endsAtOnceWhereItMayNotMountWithTheCommandThatStartsAContainer)
{
    const ToolResult result = ToolRun({"-R", "Demo"}).program(sourceTree() + "/script/test").withoutMounts().run();
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "script/test: this system refuses the private mount namespace that the tests run in. Here is one that "
              "does not:\n"
              "  docker run --rm -it --cap-add SYS_ADMIN --security-opt apparmor=unconfined -v '" +
                  sourceTree() + ":/obg' -w /obg debian:12 script/test -R Demo\n");
}

} // namespace

} // namespace obg::test
