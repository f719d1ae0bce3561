// What the documents show of the tool's output, held against the tool.

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Paths.h"
#include "tests/tool/ToolTest.h"

namespace obg::test {

namespace {

using ::testing::IsEmpty;
using ::testing::Not;

/** A command of a document, and what stands below it as its output. */
struct Shown
{
    std::string command;
    std::vector<std::string> output;
};

std::vector<std::string> linesOf(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/** A log line without its time, program and process id, which no document can know. */
std::string withoutPrefix(const std::string& line)
{
    static const std::regex prefix(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d obg_manifesttool\[\d+\]: )");
    return std::regex_replace(line, prefix, "");
}

/** The commands of a document's sessions: in a fenced block, those that begin with a prompt and with the tool or od. */
std::vector<Shown> sessionsOf(const std::string& document)
{
    static const std::regex command(R"(^[#$] ((obg_manifesttool|od) .*))");
    std::vector<Shown> sessions;
    bool isInside = false;
    for (const std::string& line : linesOf(readFile(sourceTree() + "/" + document))) {
        std::smatch match;
        if (line.starts_with("```") || line.empty() || line.starts_with("# obg_manifestctl ")) {
            isInside = false; // What the companion program prints, its own tests look at.
        } else if (std::regex_match(line, match, command)) {
            sessions.push_back({match[1], {}});
            isInside = true;
        } else if (isInside) {
            sessions.back().output.push_back(withoutPrefix(line));
        }
    }
    return sessions;
}

/**
 * A line as the program printed it, without blanks at its end, which no document keeps, and with the letter N where the
 * document says that a line number moves.
 */
std::string asShown(const std::string& printed, const std::string& shown)
{
    static const std::regex number("Line: [0-9]+ ");
    std::string line = withoutPrefix(printed);
    line.erase(line.find_last_not_of(' ') + 1);
    return shown.find("Line: N ") == std::string::npos ? line : std::regex_replace(line, number, "Line: N ");
}

/** What the command prints, line by line as it is shown. */
std::vector<std::string> printedBy(const Shown& shown)
{
    const std::string path = OBG_TEST_PROGRAMS ":/usr/bin:/bin";
    const ToolResult result =
        ToolRun({"-c", shown.command}).program("/bin/sh").environment("PATH", path).folder(sourceTree()).run();
    EXPECT_EQ(result.err, "");
    std::vector<std::string> lines = linesOf(result.out);
    for (std::size_t i = 0; i < lines.size() && i < shown.output.size(); ++i) {
        lines[i] = asShown(lines[i], shown.output[i]);
    }
    return lines;
}

class Documents : public ToolTest
{};

TEST_F(Documents, showWhatTheToolPrints)
{
    for (const char* document : {"README.md", "examples/README.md"}) {
        const std::vector<Shown> sessions = sessionsOf(document);
        EXPECT_THAT(sessions, Not(IsEmpty())) << document << " shows no session";
        for (const Shown& shown : sessions) {
            EXPECT_EQ(printedBy(shown), shown.output) << document << ": " << shown.command;
        }
    }
}

TEST_F(Documents, ofTheSamplesShowTheLineThatAScriptPassesOn)
{
    const std::string readme = readFile(sourceTree() + "/packaging/sample/README.md");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(readme, match, std::regex("status 4: (.*)")));
    const std::string shown = match[1];
    const ToolResult result = installText(vpn("<file id=\"a\" type=\"unheard-of\"><uri>a</uri></file>"));
    EXPECT_EQ(result.exitStatus, 4);
    EXPECT_EQ(asShown(linesOf(result.out).front(), shown), withoutPrefix(shown));
}

} // namespace

} // namespace obg::test
