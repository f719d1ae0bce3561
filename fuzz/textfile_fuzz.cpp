// The editing of text files, one operation a run, against a plain model: what is returned, what the file then holds.
// Input: OPERATION TEXT|LINE|CONTENTS, where OPERATION is one byte (see the switch), LINE the line that is looked for
// and CONTENTS what the file holds at first.

#include "fuzz/support/Input.h"
#include "fuzz/support/PrivateMachine.h"
#include "fuzz/support/Require.h"
#include "fuzz/support/SmallFile.h"
#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Common/Utility/sysutils.h"

#include <algorithm>
#include <vector>

namespace {

using obg::test::require;

constexpr const char* kBlanks = " \t\f\v\n\r";
/// One name for all operations, so that the query for the update version can be one of them.
const std::string kFile = "/opt/orvanta/brightgate/update.txt";

std::string trimmedRight(const std::string& s)
{
    return s.substr(0, s.find_last_not_of(kBlanks) + 1);
}

struct Line
{
    std::string text;
    bool hasEnd;
};

/// The lines as they stand. A line feed at the very end begins no further line.
std::vector<Line> rawLines(const std::string& contents)
{
    std::vector<Line> lines;
    std::size_t begin = 0;
    while (begin < contents.size()) {
        const std::size_t end = contents.find('\n', begin);
        const bool hasEnd = end != std::string::npos;
        lines.push_back({contents.substr(begin, end - begin), hasEnd});
        begin = hasEnd ? end + 1 : contents.size();
    }
    return lines;
}

/// The lines as operations see them: up to a NUL byte, without blanks at their ends.
std::vector<Line> lines(const std::string& contents)
{
    std::vector<Line> normalised = rawLines(contents);
    for (Line& line : normalised) {
        line.text = trimmedRight(obg::test::cutAtNul(line.text));
    }
    return normalised;
}

bool hasLine(const std::string& contents, const std::string& wanted)
{
    const std::vector<Line> all = lines(contents);
    return std::any_of(all.begin(), all.end(), [&](const Line& line) { return line.text == wanted; });
}

std::string end(const Line& line)
{
    return line.hasEnd ? "\n" : "";
}

std::string withLineBefore(const std::string& contents, const std::string& text, const std::string& match)
{
    std::string result;
    bool isInserted = false;
    for (const Line& line : lines(contents)) {
        if (!isInserted && line.text.find(match) == 0) {
            result += text + "\n";
            isInserted = true;
        }
        result += line.text + (isInserted ? end(line) : "\n");
    }
    return isInserted ? result : result + text + "\n";
}

std::string withLineAfter(const std::string& contents, const std::string& text, const std::string& match)
{
    std::string result;
    bool isInserted = false;
    for (const Line& line : lines(contents)) {
        result += line.text + (isInserted ? end(line) : "\n");
        if (!isInserted && line.text.find(match) == 0) {
            result += text + "\n";
            isInserted = true;
        }
    }
    return isInserted ? result : result + text + "\n";
}

std::string withoutLine(const std::string& contents, const std::string& unwanted)
{
    if (!hasLine(contents, unwanted)) {
        return contents;
    }
    std::string result;
    for (const Line& line : lines(contents)) {
        if (line.text != unwanted) {
            result += line.text + end(line);
        }
    }
    return result;
}

std::string updateVersion(const std::string& contents)
{
    std::string line = obg::test::cutAtNul(contents.substr(0, contents.find('\n')));
    std::replace(line.begin(), line.end(), ',', '.');
    line = trimmedRight(line);
    return line.substr(std::min(line.find_first_not_of(kBlanks), line.size()));
}

void checkRead(const std::string& contents)
{
    std::vector<std::string> read{"to be forgotten"};
    require(SysUtils::ReadTextFile(kFile, read), "the file can be read");
    const std::vector<Line> expected = lines(contents);
    require(std::equal(read.begin(), read.end(), expected.begin(), expected.end(),
                       [](const std::string& text, const Line& line) { return text == line.text; }),
            "the lines without blanks at their ends");
}

/// Calls one operation. Returns what the file has to hold afterwards.
std::string operate(unsigned char operation, const std::string& text, const std::string& line,
                    const std::string& contents)
{
    const bool hasText = !text.empty();
    const bool hasBoth = hasText && !line.empty();
    switch (operation) {
    case 's':
        require(SysUtils::SetTextFileContents(kFile, text), "contents can be set");
        return text;
    case 'p':
        require(SysUtils::AppendLineToFile(kFile, text) == hasText, "a line can be appended unless it is empty");
        return hasText ? contents + "\n" + text : contents;
    case 'b':
        require(SysUtils::InsertIntoFileBeforeMatchingLine(kFile, text, line) == hasBoth, "insertion needs both texts");
        return hasBoth ? withLineBefore(contents, text, line) : contents;
    case 'a':
        require(SysUtils::InsertIntoFileAfterMatchingLine(kFile, text, line) == hasBoth, "insertion needs both texts");
        return hasBoth ? withLineAfter(contents, text, line) : contents;
    case 'd':
        require(SysUtils::RemoveFromFileMatchingLine(kFile, line) == !line.empty(), "removal needs a line");
        return line.empty() ? contents : withoutLine(contents, line);
    case 'f':
        require(SysUtils::SeachFileForMatchingLine(kFile, line) == (!line.empty() && hasLine(contents, line)),
                "a line is found when it is there");
        return contents;
    case 'w':
        require(SysUtils::FileHasOnlyWhiteSpace(kFile) == (contents.find_first_not_of(kBlanks) == std::string::npos),
                "white space is the six blanks");
        return contents;
    case 'u':
        require(CInstalledManifestInfo::GetLocalUpdateTxtVersion() == updateVersion(contents),
                "the update version is the first line");
        return contents;
    default:
        checkRead(contents);
        return contents;
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    obg::test::enterPrivateMachine();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    obg::test::Input input(data, size);
    const unsigned char operation = input.byte();
    const std::string text = input.text();
    const std::string line = input.text();
    const std::string contents = input.rest();
    obg::test::writeFile(kFile.c_str(), contents);
    const std::string expected = operate(operation, text, line, contents);
    require(obg::test::readFile(kFile.c_str()) == expected, "the file's bytes");
    return 0;
}
