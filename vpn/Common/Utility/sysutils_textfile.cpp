#include "vpn/Common/Utility/sysutils.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/Utility/safe_string.h"

#include <array>
#include <fstream>
#include <optional>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Common/Utility/sysutils";
constexpr const char* kMissingArgument = "At least one argument is invalid";
constexpr const char* kInvalidFileName = "File name argument is invalid";
constexpr const char* kOpenFailed = "Failed to open file %s";
constexpr const char* kAppendFailed = "Failed to append to file %s";
constexpr const char* kUpdateFailed = "Failed to update file %s";
constexpr const char* kEditReadFailed = "Failed to fully inspect file %s";
constexpr const char* kReadFailed = "Failed to inspect all lines in file %s";

/// Logs why the operation `function` fails and gives its result. `format` may name the file.
bool fail(const char* function, unsigned line, const char* format, const std::string& fileName)
{
    const std::string text = CStringUtils::stringReplace(format, "%s", fileName);
    CAppLog::LogDebugMessage(function, kLogFile, line, Logging::DI_ERROR, "%s", text.c_str());
    return false;
}

std::string normalized(const std::string& line)
{
    return CStringUtils::removeTrailingWhitespacesA(line, false);
}

bool stoppedAtEnd(const std::ifstream& file)
{
    return file.eof() && !file.bad();
}

/// The line end that an edit writes behind a line it has just read: none where the input's last line had none.
const char* lineEndAfter(const std::ifstream& file)
{
    return file.eof() ? "" : "\n";
}

std::string formattedTime(const char* format, std::size_t size, const std::tm& time)
{
    std::string text(size, '\0');
    text.resize(std::strftime(text.data(), text.size(), format, &time));
    return text;
}

} // namespace

bool SysUtils::getFileInfo(const char* path, struct stat& info)
{
    return path != nullptr && stat(path, &info) == 0;
}

std::string SysUtils::GetFormattedTime(TIME_REPRESENTATION representation)
{
    std::tm now{};
    if (TimeNow(&now) != StatusCode::Success) {
        return {};
    }
    switch (representation) {
    case TIME_FILE_SUFFIX: {
        std::array<char, sizeof "_MMDD_hhmm"> text{};
        safe_snprintfA(text.data(), text.size(), "_%02d%02d_%02d%02d", now.tm_mon + 1, now.tm_mday, now.tm_hour,
                       now.tm_min);
        return text.data();
    }
    case TIME_ASCTIME: {
        std::array<char, 64> text{};
        return asctime_r(&now, text.data()) == nullptr ? "" : text.data();
    }
    case TIME_LONG_ZONE:
        return formattedTime("%a %b %d %H:%M:%S %Y %Z", 100, now);
    case TIME_LOCALE:
        break;
    }
    return formattedTime("%c", 64, now);
}

bool SysUtils::ReadTextFile(const std::string& fileName, std::vector<std::string>& lines)
{
    lines.clear();
    if (fileName.empty()) {
        return fail("ReadTextFile", __LINE__, "Invalid file name", fileName);
    }
    std::ifstream file(fileName);
    if (!file.is_open()) {
        return fail("ReadTextFile", __LINE__, kOpenFailed, fileName);
    }
    for (std::string line; std::getline(file, line);) {
        lines.push_back(normalized(line));
    }
    return stoppedAtEnd(file) || fail("ReadTextFile", __LINE__, kReadFailed, fileName);
}

bool SysUtils::SetTextFileContents(const std::string& fileName, const std::string& contents)
{
    if (fileName.empty()) {
        return fail("SetTextFileContents", __LINE__, kInvalidFileName, fileName);
    }
    std::ofstream file(fileName, std::ios::trunc);
    if (!file.is_open()) {
        return fail("SetTextFileContents", __LINE__, kOpenFailed, fileName);
    }
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    // Closed here, so that a full disk is noticed while it can still be reported.
    file.close();
    if (!file) {
        return fail("SetTextFileContents", __LINE__, kUpdateFailed, fileName);
    }
    return true;
}

bool SysUtils::AppendLineToFile(const std::string& fileName, const std::string& line)
{
    if (fileName.empty() || line.empty()) {
        return fail("AppendLineToFile", __LINE__, kMissingArgument, fileName);
    }
    std::ofstream file(fileName, std::ios::app);
    if (!file.is_open()) {
        return fail("AppendLineToFile", __LINE__, kOpenFailed, fileName);
    }
    // The line feed goes first, so that a last line without one cannot run into the new line.
    file << std::endl << line;
    file.close();
    if (!file) {
        return fail("AppendLineToFile", __LINE__, kAppendFailed, fileName);
    }
    return true;
}

bool SysUtils::InsertIntoFileBeforeMatchingLine(const std::string& fileName, const std::string& text,
                                                const std::string& match)
{
    return insertIntoFilePrePostMatchingLine(fileName, text, match, eInsertBefore);
}

bool SysUtils::InsertIntoFileAfterMatchingLine(const std::string& fileName, const std::string& text,
                                               const std::string& match)
{
    return insertIntoFilePrePostMatchingLine(fileName, text, match, eInsertAfter);
}

bool SysUtils::insertIntoFilePrePostMatchingLine(const std::string& fileName, const std::string& text,
                                                 const std::string& match, eFileInsertPos position)
{
    constexpr const char* function = "insertIntoFilePrePostMatchingLine";
    if (fileName.empty() || text.empty() || match.empty()) {
        return fail(function, __LINE__, kMissingArgument, fileName);
    }
    std::ifstream file(fileName);
    if (!file.is_open()) {
        return fail(function, __LINE__, kOpenFailed, fileName);
    }
    std::string output;
    bool inserted = false;
    for (std::string line; std::getline(file, line);) {
        line = normalized(line);
        if (inserted) {
            output.append(line).append(lineEndAfter(file));
        } else if (!CStringUtils::beginsWith(line, match)) {
            output.append(line).append("\n");
        } else if (position == eInsertBefore) {
            output.append(text).append("\n").append(line).append(lineEndAfter(file));
            inserted = true;
        } else {
            output.append(line).append("\n").append(text).append("\n");
            inserted = true;
        }
    }
    if (!stoppedAtEnd(file)) {
        return fail(function, __LINE__, kEditReadFailed, fileName);
    }
    if (!inserted) {
        output.append(text).append("\n");
    }
    file.close();
    return SetTextFileContents(fileName, output) || fail(function, __LINE__, kUpdateFailed, fileName);
}

bool SysUtils::RemoveFromFileMatchingLine(const std::string& fileName, const std::string& line)
{
    if (fileName.empty() || line.empty()) {
        return fail("RemoveFromFileMatchingLine", __LINE__, kMissingArgument, fileName);
    }
    if (!SeachFileForMatchingLine(fileName, line)) {
        return true;
    }
    std::ifstream file(fileName);
    if (!file.is_open()) {
        return fail("RemoveFromFileMatchingLine", __LINE__, kOpenFailed, fileName);
    }
    std::string output;
    for (std::string current; std::getline(file, current);) {
        current = normalized(current);
        if (current != line) {
            output.append(current).append(lineEndAfter(file));
        }
    }
    if (!stoppedAtEnd(file)) {
        return fail("RemoveFromFileMatchingLine", __LINE__, kEditReadFailed, fileName);
    }
    file.close();
    return SetTextFileContents(fileName, output) ||
           fail("RemoveFromFileMatchingLine", __LINE__, kUpdateFailed, fileName);
}

bool SysUtils::SeachFileForMatchingLine(const std::string& fileName, const std::string& line)
{
    if (fileName.empty() || line.empty()) {
        return fail("SeachFileForMatchingLine", __LINE__, kMissingArgument, fileName);
    }
    std::ifstream file(fileName);
    if (!file.is_open()) {
        return fail("SeachFileForMatchingLine", __LINE__, kOpenFailed, fileName);
    }
    for (std::string current; std::getline(file, current);) {
        if (normalized(current) == line) {
            return true;
        }
    }
    return !stoppedAtEnd(file) && fail("SeachFileForMatchingLine", __LINE__, kReadFailed, fileName);
}

bool SysUtils::FileHasOnlyWhiteSpace(const std::string& fileName)
{
    if (fileName.empty()) {
        return fail("FileHasOnlyWhiteSpace", __LINE__, kInvalidFileName, fileName);
    }
    std::ifstream file(fileName);
    if (!file.is_open()) {
        return fail("FileHasOnlyWhiteSpace", __LINE__, kOpenFailed, fileName);
    }
    for (std::string line; std::getline(file, line);) {
        if (line.find_first_not_of(" \n\r\t\f\v") != std::string::npos) {
            return false;
        }
    }
    return stoppedAtEnd(file) || fail("FileHasOnlyWhiteSpace", __LINE__, kReadFailed, fileName);
}
