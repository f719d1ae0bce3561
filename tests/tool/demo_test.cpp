#include <sstream>

#include "tests/support/Paths.h"
#include "tests/tool/ToolTest.h"

namespace obg::test {

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

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

/** How the demo shows one record. */
std::string shown(std::string id, std::string kind, const std::string& version)
{
    id.resize(20, ' ');
    kind.resize(8, ' ');
    return "  " + id + " " + kind + " " + version + "\n";
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
    EXPECT_THAT(out, HasSubstr(shown("VPNCore", "exe", "5.1.2.42") + shown("VPNCore-rpm", "rpm", "5.1.2.42-1") +
                               shown("VPNCore-deb", "deb", "5.1.2.42") + shown("VPNAgent-init", "script", "5.1.2.42")));
}

TEST_F(Demo, showsTheBytesOfTheStore)
{
    EXPECT_THAT(step(1), HasSubstr(" 01 00 00 00 00 00 00 00 02 00 00 00 09 00 00 00 "));
}

TEST_F(Demo, updatesTheCoreInPlace)
{
    const std::string out = step(2);
    EXPECT_THAT(out, HasSubstr("obg_manifesttool -i /opt/orvanta/brightgate examples/core-5.1.4.74.xml\n"));
    EXPECT_THAT(out, HasSubstr("exit status 0\n"));
    EXPECT_THAT(out, HasSubstr(shown("VPNCore", "exe", "5.1.4.74") + shown("VPNCore-rpm", "rpm", "5.1.4.74-1") +
                               shown("VPNCore-deb", "deb", "5.1.4.74") + shown("VPNAgent-init", "script", "5.1.4.74") +
                               shown("VPNRoutes-script", "script", "5.1.4.74")));
}

TEST_F(Demo, addsTheCustomisationAndStrikesItAgain)
{
    const std::string record = shown("Northwind-setup", "script", "2.3");
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

} // namespace

} // namespace obg::test
