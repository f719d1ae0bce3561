#include "vpn/Common/Utility/sysutils.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/FailingReads.h"
#include "tests/support/Files.h"
#include "tests/support/Privileges.h"
#include "tests/support/TimeZone.h"

// The functions below stand before those of the C library in this binary: a test sets the clock, gives the locale a
// long form of the time, or has a file refused that could be opened a moment ago.

namespace {

std::optional<std::time_t> s_now;
std::string s_localeForm;
std::optional<int> s_opensLeft;

} // namespace

extern "C" std::time_t time(std::time_t* out) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t seconds = s_now.value_or(now.tv_sec);
    if (out != nullptr) {
        *out = seconds;
    }
    return seconds;
}

extern "C" std::size_t strftime(char* buffer, std::size_t size, const char* format, const std::tm* time) noexcept
{
    const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    const bool isReplaced = !s_localeForm.empty() && std::strcmp(format, "%c") == 0;
    const std::size_t length = strftime_l(buffer, size, isReplaced ? s_localeForm.c_str() : format, time, plain);
    freelocale(plain);
    return length;
}

static std::FILE* openUnlessRefused(const char* function, const char* path, const char* mode)
{
    if (s_opensLeft && (*s_opensLeft)-- <= 0) {
        errno = EMFILE;
        return nullptr;
    }
    using Open = std::FILE* (*)(const char*, const char*);
    return reinterpret_cast<Open>(dlsym(RTLD_NEXT, function))(path, mode);
}

// Which of the two a file stream calls depends on the C++ library.
extern "C" std::FILE* fopen(const char* path, const char* mode)
{
    return openUnlessRefused("fopen", path, mode);
}

extern "C" std::FILE* fopen64(const char* path, const char* mode)
{
    return openUnlessRefused("fopen64", path, mode);
}

namespace {

using obg::test::CapturedLog;
using obg::test::debugText;
using obg::test::FailingReads;
using obg::test::IsDebugMessage;
using obg::test::kAnyLine;
using obg::test::LogRecord;
using obg::test::pathExists;
using obg::test::readFile;
using obg::test::ScratchFolder;
using obg::test::sourceTag;
using obg::test::TimeZone;
using obg::test::WithoutPrivileges;
using obg::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

static_assert(SysUtils::eInsertAfter == 0);
static_assert(SysUtils::eInsertBefore == 1);
static_assert(TIME_LOCALE == 0);
static_assert(TIME_FILE_SUFFIX == 1);
static_assert(TIME_ASCTIME == 2);
static_assert(TIME_LONG_ZONE == 3);
static_assert(std::is_empty_v<SysUtils>);

// The operations, each waiting for its file

using Operation = std::function<bool(const std::string& path)>;

Operation insertBefore(const std::string& text, const std::string& match)
{
    return [=](const std::string& path) { return SysUtils::InsertIntoFileBeforeMatchingLine(path, text, match); };
}

Operation insertAfter(const std::string& text, const std::string& match)
{
    return [=](const std::string& path) { return SysUtils::InsertIntoFileAfterMatchingLine(path, text, match); };
}

Operation removeLine(const std::string& line)
{
    return [=](const std::string& path) { return SysUtils::RemoveFromFileMatchingLine(path, line); };
}

Operation append(const std::string& line)
{
    return [=](const std::string& path) { return SysUtils::AppendLineToFile(path, line); };
}

Operation setContents(const std::string& contents)
{
    return [=](const std::string& path) { return SysUtils::SetTextFileContents(path, contents); };
}

Operation search(const std::string& line)
{
    return [=](const std::string& path) { return SysUtils::SeachFileForMatchingLine(path, line); };
}

bool readLines(const std::string& path)
{
    std::vector<std::string> lines;
    return SysUtils::ReadTextFile(path, lines);
}

class SysUtilsFiles : public ::testing::Test
{
protected:
    ~SysUtilsFiles() override
    {
        s_now.reset();
        s_localeForm.clear();
        s_opensLeft.reset();
    }

    CapturedLog m_log;
    ScratchFolder m_folder;
};

// Every edit that succeeds: the bytes before, the operation, the bytes after. Nothing is logged.

const std::string kLongLine(1'000'000, 'x');

struct Edit
{
    std::string name;
    std::optional<std::string> before;
    Operation operation;
    std::string after;
};

void PrintTo(const Edit& edit, std::ostream* stream)
{
    *stream << edit.name;
}

class SysUtilsEdit : public SysUtilsFiles, public ::testing::WithParamInterface<Edit>
{};

TEST_P(SysUtilsEdit, leavesTheExpectedBytes)
{
    const auto& [name, before, operation, after] = GetParam();
    const std::string path = m_folder.path("file");
    if (before) {
        writeFile(path, *before);
    }
    EXPECT_TRUE(operation(path));
    // Compared as a condition: a difference in a megabyte is not worth printing.
    const std::string found = readFile(path);
    EXPECT_TRUE(found == after) << "found: " << found.substr(0, 200);
    EXPECT_THAT(m_log.records(), IsEmpty());
}

std::string editName(const ::testing::TestParamInfo<Edit>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    InsertBefore, SysUtilsEdit,
    ::testing::ValuesIn(std::vector<Edit>{
        {"theMatch", "a\nkey=1\nb\n", insertBefore("new", "key"), "a\nnew\nkey=1\nb\n"},
        {"aMatchInTheFirstLine", "key\nb\n", insertBefore("new", "key"), "new\nkey\nb\n"},
        {"aMatchInTheLastLine", "a\nkey\n", insertBefore("new", "key"), "a\nnew\nkey\n"},
        {"aMatchInALastLineWithoutEnd", "a\nkey", insertBefore("new", "key"), "a\nnew\nkey"},
        {"theFirstOfTwoMatchesOnly", "a\nkey1\nkey2\n", insertBefore("new", "key"), "a\nnew\nkey1\nkey2\n"},
        {"aLineThatEqualsTheMatch", "key=1\n", insertBefore("new", "key=1"), "new\nkey=1\n"},
        {"noMatchAppends", "a\nb\n", insertBefore("new", "key"), "a\nb\nnew\n"},
        {"noMatchEndsALastLineWithoutEnd", "a\nb", insertBefore("new", "key"), "a\nb\nnew\n"},
        {"anEmptyFile", "", insertBefore("new", "key"), "new\n"},
        {"theMiddleOfALineIsNoMatch", "a key\n", insertBefore("new", "key"), "a key\nnew\n"},
        {"leadingBlanksCount", " key\n", insertBefore("new", "key"), " key\nnew\n"},
        {"letterCaseCounts", "Key\n", insertBefore("new", "key"), "Key\nnew\n"},
        {"aShorterLineIsNoMatch", "ke\n", insertBefore("new", "key"), "ke\nnew\n"},
        {"aTrailingBlankOfTheMatchNeverMatchesALinesEnd", "key \n", insertBefore("new", "key "), "key\nnew\n"},
        {"aBlankInsideTheLineMatches", "key 1\n", insertBefore("new", "key "), "new\nkey 1\n"},
        {"aLastLineKeepsHavingNoEnd", "key\nb", insertBefore("new", "key"), "new\nkey\nb"},
        {"emptyLinesStay", "\n\nkey\n\n\n", insertBefore("new", "key"), "\n\nnew\nkey\n\n\n"},
        {"trailingWhiteSpaceGoes", "a \t\nkey \v\f\nb \r \n", insertBefore("new", "key"), "a\nnew\nkey\nb\n"},
        {"carriageReturnsGo", "a\r\nkey\r\nb\r\n", insertBefore("new", "key"), "a\nnew\nkey\nb\n"},
        {"aLastLineOfBlanksVanishes", "key\n \t", insertBefore("new", "key"), "new\nkey\n"},
        {"whiteSpaceInsideALineStays", "a\t b\r c\n", insertBefore("new", "key"), "a\t b\r c\nnew\n"},
        {"theTextGoesInAsItStands", "key\n", insertBefore(" one \r\ntwo\t", "key"), " one \r\ntwo\t\nkey\n"},
        {"aLineEndsAtItsNul", "a\0b\nkey\0c\nd\0\n"s, insertBefore("new", "key"), "a\nnew\nkey\nd\n"},
        {"aLineThatBeginsWithNulIsEmpty", "\0key\n"s, insertBefore("new", "key"), "\nnew\n"},
        {"otherBytesStay", "\x01\x7f\xff\nkey\n", insertBefore("new", "key"), "\x01\x7f\xff\nnew\nkey\n"},
        {"aVeryLongLine", kLongLine + "\nkey" + kLongLine, insertBefore("new", "key"),
         kLongLine + "\nnew\nkey" + kLongLine},
    }),
    editName);

INSTANTIATE_TEST_SUITE_P(
    InsertAfter, SysUtilsEdit,
    ::testing::ValuesIn(std::vector<Edit>{
        {"theMatch", "a\nkey=1\nb\n", insertAfter("new", "key"), "a\nkey=1\nnew\nb\n"},
        {"aMatchInTheFirstLine", "key\nb\n", insertAfter("new", "key"), "key\nnew\nb\n"},
        {"aMatchInTheLastLine", "a\nkey\n", insertAfter("new", "key"), "a\nkey\nnew\n"},
        {"aMatchInALastLineWithoutEnd", "a\nkey", insertAfter("new", "key"), "a\nkey\nnew\n"},
        {"theFirstOfTwoMatchesOnly", "key1\na\nkey2\n", insertAfter("new", "key"), "key1\nnew\na\nkey2\n"},
        {"noMatchAppends", "a\nb\n", insertAfter("new", "key"), "a\nb\nnew\n"},
        {"noMatchEndsALastLineWithoutEnd", "a\nb", insertAfter("new", "key"), "a\nb\nnew\n"},
        {"anEmptyFile", "", insertAfter("new", "key"), "new\n"},
        {"theMiddleOfALineIsNoMatch", "a key\n", insertAfter("new", "key"), "a key\nnew\n"},
        {"aLastLineKeepsHavingNoEnd", "key\na\nb", insertAfter("new", "key"), "key\nnew\na\nb"},
        {"trailingWhiteSpaceGoes", "a \t\nkey \v\f\nb \r \n", insertAfter("new", "key"), "a\nkey\nnew\nb\n"},
        {"carriageReturnsGo", "a\r\nkey\r\nb\r\n", insertAfter("new", "key"), "a\nkey\nnew\nb\n"},
        {"aLineEndsAtItsNul", "key\0c\nd\0\n"s, insertAfter("new", "key"), "key\nnew\nd\n"},
        {"aVeryLongLine", "key" + kLongLine + "\n" + kLongLine, insertAfter("new", "key"),
         "key" + kLongLine + "\nnew\n" + kLongLine},
    }),
    editName);

INSTANTIATE_TEST_SUITE_P(Remove, SysUtilsEdit,
                         ::testing::ValuesIn(std::vector<Edit>{
                             {"everyEqualLine", "x\na\nx\nb\nx\n", removeLine("x"), "a\nb\n"},
                             {"theOnlyLine", "x\n", removeLine("x"), ""},
                             {"aLastLineWithoutEnd", "a\nx", removeLine("x"), "a\n"},
                             {"andALastLineKeepsHavingNoEnd", "x\nb", removeLine("x"), "b"},
                             {"longerAndShorterLinesStay", "xx\nx\nxy\n\n", removeLine("x"), "xx\nxy\n\n"},
                             {"leadingBlanksCount", " x\nx\n", removeLine("x"), " x\n"},
                             {"letterCaseCounts", "X\nx\n", removeLine("x"), "X\n"},
                             {"trailingWhiteSpaceDoesNotCountAndGoes", "x \t\r\na \v\f\nx\n", removeLine("x"), "a\n"},
                             {"carriageReturnsGo", "a\r\nx\r\nb\r\n", removeLine("x"), "a\nb\n"},
                             {"aLineEndsAtItsNul", "x\0y\na\0b\n"s, removeLine("x"), "a\n"},
                             {"noEqualLineLeavesEveryByte", "a \r\nb\0 \n \n"s, removeLine("x"), "a \r\nb\0 \n \n"s},
                             {"aLineWithTrailingBlankOccursNowhere", "x \n", removeLine("x "), "x \n"},
                             {"anEmptyFileStaysEmpty", "", removeLine("x"), ""},
                             {"aVeryLongLine", kLongLine + "\na\n" + kLongLine, removeLine(kLongLine), "a\n"},
                         }),
                         editName);

INSTANTIATE_TEST_SUITE_P(Append, SysUtilsEdit,
                         ::testing::ValuesIn(std::vector<Edit>{
                             {"afterALineEnd", "one\n", append("new"), "one\n\nnew"},
                             {"afterALastLineWithoutEnd", "one", append("new"), "one\nnew"},
                             {"toAnEmptyFile", "", append("new"), "\nnew"},
                             {"toNoFileMakesIt", std::nullopt, append("new"), "\nnew"},
                             {"leavesEveryByteThatIsThere", "a \r\n\0 \n\n"s, append("new"), "a \r\n\0 \n\n\nnew"s},
                             {"theLineAsItStands", "a\n", append(" b \r\n\0c "s), "a\n\n b \r\n\0c "s},
                             {"aVeryLongLine", kLongLine, append(kLongLine), kLongLine + "\n" + kLongLine},
                         }),
                         editName);

INSTANTIATE_TEST_SUITE_P(SetContents, SysUtilsEdit,
                         ::testing::ValuesIn(std::vector<Edit>{
                             {"replacesEverything", "a long old text\n", setContents("new"), "new"},
                             {"makesAFile", std::nullopt, setContents("new\n"), "new\n"},
                             {"toNothing", "old\n", setContents(""), ""},
                             {"makesAnEmptyFile", std::nullopt, setContents(""), ""},
                             {"asTheyStand", "old", setContents(" a\t\r\n\0b \n\n"s), " a\t\r\n\0b \n\n"s},
                             {"ofAMegabyte", "old", setContents(kLongLine), kLongLine},
                         }),
                         editName);

// Every question that is answered: the bytes, the question, the answer. The file stays as it is, nothing is logged.

struct Question
{
    std::string name;
    std::string bytes;
    Operation operation;
    bool answer;
};

void PrintTo(const Question& question, std::ostream* stream)
{
    *stream << question.name;
}

class SysUtilsQuestion : public SysUtilsFiles, public ::testing::WithParamInterface<Question>
{};

TEST_P(SysUtilsQuestion, isAnswered)
{
    const auto& [name, bytes, operation, answer] = GetParam();
    const std::string path = m_folder.write("file", bytes);
    EXPECT_EQ(operation(path), answer);
    EXPECT_TRUE(readFile(path) == bytes);
    EXPECT_THAT(m_log.records(), IsEmpty());
}

std::string questionName(const ::testing::TestParamInfo<Question>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Search, SysUtilsQuestion,
                         ::testing::ValuesIn(std::vector<Question>{
                             {"findsAnEqualLine", "a\nx\nb\n", search("x"), true},
                             {"findsTheFirstLine", "x\nb\n", search("x"), true},
                             {"findsALastLineWithoutEnd", "a\nx", search("x"), true},
                             {"withTrailingWhiteSpaceInTheFile", "x \t\v\f\r\n", search("x"), true},
                             {"leadingBlanksCount", " x\n", search("x"), false},
                             {"leadingBlanksCountInTheSearchedLine", " x\n", search(" x"), true},
                             {"letterCaseCounts", "X\n", search("x"), false},
                             {"aLongerLineIsAnother", "xy\n", search("x"), false},
                             {"aShorterLineIsAnother", "x\n", search("xy"), false},
                             {"aLineWithTrailingBlankOccursNowhere", "x \n", search("x "), false},
                             {"aLineEndsAtItsNul", "x\0y\n"s, search("x"), true},
                             {"nothingInAnEmptyFile", "", search("x"), false},
                             {"aVeryLongLine", "a\n" + kLongLine, search(kLongLine), true},
                         }),
                         questionName);

INSTANTIATE_TEST_SUITE_P(OnlyWhiteSpace, SysUtilsQuestion,
                         ::testing::ValuesIn(std::vector<Question>{
                             {"anEmptyFile", "", SysUtils::FileHasOnlyWhiteSpace, true},
                             {"blankLinesAndTabs", "\n\t\n  \n", SysUtils::FileHasOnlyWhiteSpace, true},
                             {"allSixBytes", " \t\v\f\r\n", SysUtils::FileHasOnlyWhiteSpace, true},
                             {"aLastLineWithoutEnd", "\n \t", SysUtils::FileHasOnlyWhiteSpace, true},
                             {"anotherByte", " \n\t x", SysUtils::FileHasOnlyWhiteSpace, false},
                             {"anotherByteInTheFirstLine", "x\n\n", SysUtils::FileHasOnlyWhiteSpace, false},
                             {"aNulByte", " \0\n"s, SysUtils::FileHasOnlyWhiteSpace, false},
                             {"aNulByteAlone", "\0"s, SysUtils::FileHasOnlyWhiteSpace, false},
                             {"aTextBehindANul", "\0x\n"s, SysUtils::FileHasOnlyWhiteSpace, false},
                             {"aByteAbove127", "\xa0\n", SysUtils::FileHasOnlyWhiteSpace, false},
                             {"aMegabyteOfBlanks", std::string(1'000'000, ' '), SysUtils::FileHasOnlyWhiteSpace, true},
                             {"aMegabyteAndOneByte", std::string(1'000'000, ' ') + "x", SysUtils::FileHasOnlyWhiteSpace,
                              false},
                         }),
                         questionName);

// ReadTextFile

TEST_F(SysUtilsFiles, readTextFileGivesEveryLineWithoutTrailingWhiteSpace)
{
    const std::vector<std::pair<std::string, std::vector<std::string>>> table = {
        {"", {}},
        {"\n", {""}},
        {"a\nb\n", {"a", "b"}},
        {"a\nb", {"a", "b"}},
        {"a\n\n\nb\n", {"a", "", "", "b"}},
        {"a\r\nb \t\r\n", {"a", "b"}},
        {" a \n\tb\v\f\n", {" a", "\tb"}},
        {" \n \t", {"", ""}},
        {"a\rb\n", {"a\rb"}},
        {"a\0b\n\0c\n"s, {"a", ""}},
        {kLongLine + "\n" + kLongLine, {kLongLine, kLongLine}},
    };
    for (const auto& [bytes, expected] : table) {
        std::vector<std::string> lines{"from an earlier call"};
        EXPECT_TRUE(SysUtils::ReadTextFile(m_folder.write("file", bytes), lines));
        EXPECT_TRUE(lines == expected) << bytes.substr(0, 200);
    }
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(SysUtilsFiles, readTextFileEmptiesTheLinesWhateverFollows)
{
    std::vector<std::string> lines{"from an earlier call"};
    EXPECT_FALSE(SysUtils::ReadTextFile("", lines));
    EXPECT_THAT(lines, IsEmpty());
    lines = {"from an earlier call"};
    EXPECT_FALSE(SysUtils::ReadTextFile(m_folder.path("missing"), lines));
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(SysUtilsFiles, readTextFileTakesItsNameFromTheLinesToo)
{
    std::vector<std::string> lines{m_folder.write("file", "one\ntwo\n")};
    EXPECT_TRUE(SysUtils::ReadTextFile(lines[0], lines));
    EXPECT_THAT(lines, ElementsAre("one", "two"));
    lines = {m_folder.path("missing")};
    EXPECT_FALSE(SysUtils::ReadTextFile(lines[0], lines));
    EXPECT_THAT(m_log.texts(), ElementsAre(::testing::EndsWith("Failed to open file " + m_folder.path("missing"))));
}

TEST_F(SysUtilsFiles, readTextFileKeepsTheLinesThatWereReadBeforeAFailure)
{
    const std::string path = m_folder.write("file", "one\ntwo\nthree\n");
    std::vector<std::string> lines;
    {
        const FailingReads failing(10, EIO);
        EXPECT_FALSE(SysUtils::ReadTextFile(path, lines));
    }
    EXPECT_THAT(lines, ElementsAre("one", "two"));
}

// Edits happen in place

TEST_F(SysUtilsFiles, everyEditKeepsTheFileThatIsThere)
{
    const std::vector<Operation> edits = {insertBefore("n", "x"), insertAfter("n", "x"), removeLine("n"), append("n"),
                                          setContents("x\n")};
    const std::string path = m_folder.write("file", "x\nn\n");
    const std::string link = m_folder.path("link");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    struct stat before
    {};
    ASSERT_TRUE(SysUtils::getFileInfo(path.c_str(), before));
    for (const Operation& edit : edits) {
        EXPECT_TRUE(edit(link));
        struct stat after
        {};
        EXPECT_TRUE(SysUtils::getFileInfo(path.c_str(), after));
        EXPECT_EQ(after.st_ino, before.st_ino);
        EXPECT_EQ(after.st_mode, before.st_mode);
    }
    EXPECT_EQ(readFile(path), "x\n");
}

TEST_F(SysUtilsFiles, aNewFileGetsTheModeOfTheMask)
{
    const mode_t before = umask(027);
    EXPECT_TRUE(SysUtils::SetTextFileContents(m_folder.path("set"), "x"));
    EXPECT_TRUE(SysUtils::AppendLineToFile(m_folder.path("appended"), "x"));
    umask(before);
    for (const char* name : {"set", "appended"}) {
        struct stat info
        {};
        ASSERT_TRUE(SysUtils::getFileInfo(m_folder.path(name).c_str(), info));
        EXPECT_EQ(info.st_mode & 07777U, 0640U);
    }
}

// Failures: each operation, what it gives and what it logs

struct Failure
{
    std::string operationName;
    Operation operation;
    bool result;
    /** Function and message of each record; %s stands for the path. */
    std::vector<std::pair<std::string, std::string>> log;
};

class SysUtilsFailure : public SysUtilsFiles
{
protected:
    void expect(const std::string& path, const std::vector<Failure>& failures)
    {
        for (const auto& [name, operation, result, log] : failures) {
            SCOPED_TRACE(name);
            m_log.clear();
            EXPECT_EQ(operation(path), result);
            std::vector<::testing::Matcher<const LogRecord&>> records;
            for (const auto& [function, message] : log) {
                const std::size_t hole = message.find("%s");
                const std::string text =
                    hole == std::string::npos ? message : message.substr(0, hole) + path + message.substr(hole + 2);
                records.emplace_back(
                    IsDebugMessage('E', debugText(function, sourceTag("vpn/Common/Utility/sysutils"), kAnyLine, text)));
            }
            EXPECT_THAT(m_log.records(), ::testing::ElementsAreArray(records));
        }
    }
};

const std::string kInsert = "insertIntoFilePrePostMatchingLine";

TEST_F(SysUtilsFailure, anEmptyFileName)
{
    expect("",
           {{"read", readLines, false, {{"ReadTextFile", "Invalid file name"}}},
            {"set", setContents("x"), false, {{"SetTextFileContents", "File name argument is invalid"}}},
            {"append", append("x"), false, {{"AppendLineToFile", "At least one argument is invalid"}}},
            {"before", insertBefore("n", "x"), false, {{kInsert, "At least one argument is invalid"}}},
            {"after", insertAfter("n", "x"), false, {{kInsert, "At least one argument is invalid"}}},
            {"remove", removeLine("x"), false, {{"RemoveFromFileMatchingLine", "At least one argument is invalid"}}},
            {"search", search("x"), false, {{"SeachFileForMatchingLine", "At least one argument is invalid"}}},
            {"white space",
             SysUtils::FileHasOnlyWhiteSpace,
             false,
             {{"FileHasOnlyWhiteSpace", "File name argument is invalid"}}}});
}

TEST_F(SysUtilsFailure, anyOtherEmptyArgument)
{
    const std::string path = m_folder.write("file", "a \n");
    expect(path,
           {{"append", append(""), false, {{"AppendLineToFile", "At least one argument is invalid"}}},
            {"before", insertBefore("", "x"), false, {{kInsert, "At least one argument is invalid"}}},
            {"before", insertBefore("n", ""), false, {{kInsert, "At least one argument is invalid"}}},
            {"after", insertAfter("", "x"), false, {{kInsert, "At least one argument is invalid"}}},
            {"after", insertAfter("n", ""), false, {{kInsert, "At least one argument is invalid"}}},
            {"remove", removeLine(""), false, {{"RemoveFromFileMatchingLine", "At least one argument is invalid"}}},
            {"search", search(""), false, {{"SeachFileForMatchingLine", "At least one argument is invalid"}}}});
    EXPECT_EQ(readFile(path), "a \n");
}

/** What every operation that reads says of a file that does not open. */
const std::vector<Failure> kReadsThatDoNotOpen = {
    {"read", readLines, false, {{"ReadTextFile", "Failed to open file %s"}}},
    {"before", insertBefore("n", "x"), false, {{kInsert, "Failed to open file %s"}}},
    {"after", insertAfter("n", "x"), false, {{kInsert, "Failed to open file %s"}}},
    {"remove", removeLine("x"), true, {{"SeachFileForMatchingLine", "Failed to open file %s"}}},
    {"search", search("x"), false, {{"SeachFileForMatchingLine", "Failed to open file %s"}}},
    {"white space", SysUtils::FileHasOnlyWhiteSpace, false, {{"FileHasOnlyWhiteSpace", "Failed to open file %s"}}},
};

/** What every operation that writes at once says of a file that does not open. */
const std::vector<Failure> kWritesThatDoNotOpen = {
    {"set", setContents("x"), false, {{"SetTextFileContents", "Failed to open file %s"}}},
    {"append", append("x"), false, {{"AppendLineToFile", "Failed to open file %s"}}},
};

/** What every operation that reads says of a file that opens and then fails. */
const std::vector<Failure> kReadsThatFail = {
    {"read", readLines, false, {{"ReadTextFile", "Failed to inspect all lines in file %s"}}},
    {"before", insertBefore("n", "x"), false, {{kInsert, "Failed to fully inspect file %s"}}},
    {"after", insertAfter("n", "x"), false, {{kInsert, "Failed to fully inspect file %s"}}},
    {"remove", removeLine("x"), true, {{"SeachFileForMatchingLine", "Failed to inspect all lines in file %s"}}},
    {"search", search("x"), false, {{"SeachFileForMatchingLine", "Failed to inspect all lines in file %s"}}},
    {"white space",
     SysUtils::FileHasOnlyWhiteSpace,
     false,
     {{"FileHasOnlyWhiteSpace", "Failed to inspect all lines in file %s"}}},
};

TEST_F(SysUtilsFailure, aMissingFile)
{
    const std::string path = m_folder.path("missing");
    expect(path, kReadsThatDoNotOpen);
    EXPECT_FALSE(pathExists(path));
}

TEST_F(SysUtilsFailure, aMissingFolder)
{
    const std::string path = m_folder.path("missing/file");
    expect(path, kReadsThatDoNotOpen);
    expect(path, kWritesThatDoNotOpen);
}

TEST_F(SysUtilsFailure, aFileNameWithFormatCharacters)
{
    expect(m_folder.path("100%s%n%d"), kReadsThatDoNotOpen);
    expect(m_folder.path("missing/100%s%n%d"), kWritesThatDoNotOpen);
}

TEST_F(SysUtilsFailure, aFileThatTheUserMayNotRead)
{
    const std::string path = m_folder.write("file", "x \n");
    ASSERT_EQ(chmod(path.c_str(), 0200), 0);
    {
        const WithoutPrivileges user;
        expect(path, kReadsThatDoNotOpen);
    }
    EXPECT_EQ(readFile(path), "x \n");
}

TEST_F(SysUtilsFailure, aFileThatTheUserMayNotWrite)
{
    const std::string path = m_folder.write("file", "x \n");
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    {
        const WithoutPrivileges user;
        expect(path, kWritesThatDoNotOpen);
        expect(path, {{"before",
                       insertBefore("n", "x"),
                       false,
                       {{"SetTextFileContents", "Failed to open file %s"}, {kInsert, "Failed to update file %s"}}},
                      {"after",
                       insertAfter("n", "x"),
                       false,
                       {{"SetTextFileContents", "Failed to open file %s"}, {kInsert, "Failed to update file %s"}}},
                      {"remove",
                       removeLine("x"),
                       false,
                       {{"SetTextFileContents", "Failed to open file %s"},
                        {"RemoveFromFileMatchingLine", "Failed to update file %s"}}},
                      {"remove what is not there", removeLine("y"), true, {}},
                      {"read", readLines, true, {}},
                      {"search", search("x"), true, {}},
                      {"white space", SysUtils::FileHasOnlyWhiteSpace, false, {}}});
    }
    EXPECT_EQ(readFile(path), "x \n");
}

TEST_F(SysUtilsFailure, aDirectory)
{
    expect(m_folder.path(), kReadsThatFail);
    expect(m_folder.path(), kWritesThatDoNotOpen);
}

TEST_F(SysUtilsFailure, aReadThatBreaksOffInTheMiddle)
{
    const std::string bytes = " \n" + std::string(20'000, ' ') + "\n";
    const std::string path = m_folder.write("file", bytes);
    for (const Failure& failure : kReadsThatFail) {
        const FailingReads failing(10'000, EIO);
        expect(path, {failure});
    }
    EXPECT_TRUE(readFile(path) == bytes);
}

TEST_F(SysUtilsFailure, aReadThatBreaksOffBetweenTheSearchAndTheRemoval)
{
    // The search ends at the first line, within the bytes that can be read; the removal needs them all.
    const std::string bytes = "x\n" + std::string(30'000, 'a') + "\n";
    const std::string path = m_folder.write("file", bytes);
    {
        const FailingReads failing(10'000, EIO);
        expect(
            path,
            {{"remove", removeLine("x"), false, {{"RemoveFromFileMatchingLine", "Failed to fully inspect file %s"}}}});
    }
    EXPECT_TRUE(readFile(path) == bytes);
}

TEST_F(SysUtilsFailure, aFileThatNoLongerOpensAfterTheSearch)
{
    const std::string path = m_folder.write("file", "x \n");
    s_opensLeft = 1;
    expect(path, {{"remove", removeLine("x"), false, {{"RemoveFromFileMatchingLine", "Failed to open file %s"}}}});
    s_opensLeft.reset();
    EXPECT_EQ(readFile(path), "x \n");
}

/** A disk with room for 4096 bytes. */
class SmallDisk
{
public:
    explicit SmallDisk(const std::string& folder) : m_folder(folder)
    {
        EXPECT_EQ(mkdir(m_folder.c_str(), 0755), 0);
        m_mounted = mount("tmpfs", m_folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "size=4096") == 0;
        EXPECT_TRUE(m_mounted) << std::strerror(errno);
    }

    ~SmallDisk()
    {
        if (m_mounted) {
            umount2(m_folder.c_str(), MNT_DETACH);
        }
    }

    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    std::string path(const std::string& name) const { return m_folder + "/" + name; }

private:
    std::string m_folder;
    bool m_mounted = false;
};

TEST_F(SysUtilsFailure, aFullDiskOnAnEdit)
{
    const SmallDisk disk(m_folder.path("disk"));
    const std::string path = disk.path("file");
    const std::string rest(4096 - sizeof "key", 'a');
    const std::string full = "key\n" + rest;
    ASSERT_EQ(full.size(), 4096U);
    const Failure before = {
        "before",
        insertBefore("new", "key"),
        false,
        {{"SetTextFileContents", "Failed to update file %s"}, {kInsert, "Failed to update file %s"}}};
    const Failure after = {
        "after",
        insertAfter("new", "key"),
        false,
        {{"SetTextFileContents", "Failed to update file %s"}, {kInsert, "Failed to update file %s"}}};

    // What did not fit is missing, as the log says; nothing puts it back.
    writeFile(path, full);
    expect(path, {before});
    EXPECT_TRUE(readFile(path) == ("new\n" + full).substr(0, 4096));
    writeFile(path, full);
    expect(path, {after});
    EXPECT_TRUE(readFile(path) == ("key\nnew\n" + rest).substr(0, 4096));
}

TEST_F(SysUtilsFailure, aFullDiskOnAnAppend)
{
    const SmallDisk disk(m_folder.path("disk"));
    const std::string path = disk.path("file");
    const std::string full(4096, 'a');
    writeFile(path, full);
    expect(path, {{"append", append("x"), false, {{"AppendLineToFile", "Failed to append to file %s"}}}});
    EXPECT_TRUE(readFile(path) == full);
    // The line feed still fits here, the line does not.
    writeFile(path, full.substr(1));
    expect(path, {{"append", append("x"), false, {{"AppendLineToFile", "Failed to append to file %s"}}}});
    EXPECT_TRUE(readFile(path) == full.substr(1) + "\n");
}

TEST_F(SysUtilsFailure, aFullDiskOnNewContents)
{
    const SmallDisk disk(m_folder.path("disk"));
    writeFile(disk.path("other"), std::string(4096, 'a'));
    const std::string path = disk.path("file");
    for (const std::string& contents : {"x"s, kLongLine}) {
        expect(path, {{"set", setContents(contents), false, {{"SetTextFileContents", "Failed to update file %s"}}}});
        EXPECT_EQ(readFile(path), "");
    }
    // Nothing to write needs no room.
    expect(path, {{"set", setContents(""), true, {}}});
}

TEST_F(SysUtilsFailure, aFullDiskOnARemovalThatTheShorterFileStillFits)
{
    const SmallDisk disk(m_folder.path("disk"));
    const std::string path = disk.path("file");
    writeFile(path, "x\n" + std::string(4093, 'a') + "\n");
    expect(path, {{"remove", removeLine("x"), true, {}}});
    EXPECT_TRUE(readFile(path) == std::string(4093, 'a') + "\n");
}

// getFileInfo

TEST_F(SysUtilsFiles, getFileInfoTellsOfAFile)
{
    const std::string path = m_folder.write("file", "12345");
    struct stat info
    {};
    EXPECT_TRUE(SysUtils::getFileInfo(path.c_str(), info));
    EXPECT_TRUE(S_ISREG(info.st_mode));
    EXPECT_EQ(info.st_size, 5);
    EXPECT_TRUE(SysUtils::getFileInfo(m_folder.path().c_str(), info));
    EXPECT_TRUE(S_ISDIR(info.st_mode));
}

TEST_F(SysUtilsFiles, getFileInfoFollowsLinks)
{
    const std::string path = m_folder.write("file", "12345");
    const std::string link = m_folder.path("link");
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    struct stat info
    {};
    EXPECT_TRUE(SysUtils::getFileInfo(link.c_str(), info));
    EXPECT_TRUE(S_ISREG(info.st_mode));
    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_FALSE(SysUtils::getFileInfo(link.c_str(), info));
}

TEST_F(SysUtilsFiles, getFileInfoIsFalseWithoutAFileAndLogsNothing)
{
    struct stat info
    {};
    EXPECT_FALSE(SysUtils::getFileInfo(nullptr, info));
    EXPECT_FALSE(SysUtils::getFileInfo("", info));
    EXPECT_FALSE(SysUtils::getFileInfo(m_folder.path("missing").c_str(), info));
    EXPECT_FALSE(SysUtils::getFileInfo(m_folder.write("file", "").append("/x").c_str(), info));
    EXPECT_THAT(m_log.records(), IsEmpty());
}

// GetFormattedTime

constexpr std::time_t kSeventhOfJanuary = 1'610'010'303; // 2021-01-07 09:05:03 UTC, a Thursday

TEST_F(SysUtilsFiles, theFileSuffixIsMonthDayHourAndMinute)
{
    s_now = kSeventhOfJanuary;
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_FILE_SUFFIX), "_0107_0905");
    s_now = 1'640'995'199; // 2021-12-31 23:59:59 UTC
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_FILE_SUFFIX), "_1231_2359");
}

TEST_F(SysUtilsFiles, asctimesFormEndsInALineFeed)
{
    s_now = kSeventhOfJanuary;
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_ASCTIME), "Thu Jan  7 09:05:03 2021\n");
}

TEST_F(SysUtilsFiles, theLongFormNamesTheZone)
{
    s_now = kSeventhOfJanuary;
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_LONG_ZONE), "Thu Jan 07 09:05:03 2021 UTC");
}

TEST_F(SysUtilsFiles, everyOtherFormIsTheLocales)
{
    s_now = kSeventhOfJanuary;
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_LOCALE), "Thu Jan  7 09:05:03 2021");
    EXPECT_EQ(SysUtils::GetFormattedTime(static_cast<TIME_REPRESENTATION>(2 + 0x100)), "Thu Jan  7 09:05:03 2021");
    EXPECT_EQ(SysUtils::GetFormattedTime(static_cast<TIME_REPRESENTATION>(-1)), "Thu Jan  7 09:05:03 2021");
}

TEST_F(SysUtilsFiles, everyFormShowsLocalTime)
{
    const TimeZone zone("XYZ-5:30");
    s_now = kSeventhOfJanuary;
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_FILE_SUFFIX), "_0107_1435");
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_ASCTIME), "Thu Jan  7 14:35:03 2021\n");
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_LONG_ZONE), "Thu Jan 07 14:35:03 2021 XYZ");
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_LOCALE), "Thu Jan  7 14:35:03 2021");
}

TEST_F(SysUtilsFiles, aLongFormThatDoesNotFit100BytesIsEmpty)
{
    s_now = kSeventhOfJanuary;
    const std::string longest(99 - std::string("Thu Jan 07 09:05:03 2021 ").size(), 'Z');
    {
        const TimeZone zone(longest + "0");
        EXPECT_EQ(SysUtils::GetFormattedTime(TIME_LONG_ZONE), "Thu Jan 07 09:05:03 2021 " + longest);
    }
    const TimeZone zone(longest + "Z0");
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_LONG_ZONE), "");
}

TEST_F(SysUtilsFiles, aLocalesFormThatDoesNotFit64BytesIsEmpty)
{
    s_localeForm = std::string(63, 'x');
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_LOCALE), s_localeForm);
    s_localeForm = std::string(64, 'x');
    EXPECT_EQ(SysUtils::GetFormattedTime(TIME_LOCALE), "");
}

TEST_F(SysUtilsFiles, formattingTheTimeLogsNothing)
{
    s_localeForm = std::string(100, 'x');
    for (const auto form : {TIME_LOCALE, TIME_FILE_SUFFIX, TIME_ASCTIME, TIME_LONG_ZONE}) {
        SysUtils::GetFormattedTime(form);
    }
    EXPECT_THAT(m_log.records(), IsEmpty());
}

} // namespace
