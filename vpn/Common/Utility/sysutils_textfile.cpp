#include "vpn/Common/Utility/sysutils.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/Utility/StringUtils.h"

#include <fstream>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Common/Utility/sysutils";
constexpr const char* kMissingArgument = "At least one argument is invalid";
constexpr const char* kInvalidFileName = "File name argument is invalid";
constexpr const char* kEditReadFailed = "Failed to fully inspect file %s";
constexpr const char* kReadFailed = "Failed to inspect all lines in file %s";
constexpr const char* kUpdateFailed = "Failed to update file %s";

/// One operation on a file. It fails in its own name.
struct Operation
{
    const char* function;
    const std::string& fileName;

    /// Logs why the operation fails and gives its result. `format` may name the file.
    bool fail(unsigned line, const char* format) const
    {
        const std::string text = CStringUtils::stringReplace(format, "%s", fileName);
        CAppLog::LogDebugMessage(function, kLogFile, line, Logging::DI_ERROR, "%s", text.c_str());
        return false;
    }

    /// Opens the operation's file. Fails, with `complaint`, when an argument is missing.
    template <class Stream>
    bool open(Stream& file, std::ios::openmode mode, bool hasArguments, const char* complaint) const
    {
        if (!hasArguments) {
            return fail(__LINE__, complaint);
        }
        file.open(fileName, mode);
        return file.is_open() || fail(__LINE__, "Failed to open file %s");
    }

    /// Closes what was written, so that a full disk is noticed while it can still be reported.
    bool close(std::ofstream& file, const char* complaint) const
    {
        file.close();
        return !file.fail() || fail(__LINE__, complaint);
    }

    /// Ends a reading that found no further line. Fails, with `complaint`, when that was not for the end of the file.
    bool endReading(const std::ifstream& file, const char* complaint) const
    {
        return (file.eof() && !file.bad()) || fail(__LINE__, complaint);
    }

    bool rewrite(const std::string& contents) const
    {
        return SysUtils::SetTextFileContents(fileName, contents) || fail(__LINE__, kUpdateFailed);
    }
};

/// Reads the next line, without its trailing white space.
bool readLine(std::ifstream& file, std::string& line)
{
    if (!std::getline(file, line)) {
        return false;
    }
    line = CStringUtils::removeTrailingWhitespacesA(line, false);
    return true;
}

/// The line end that an edit writes behind a line it has just read: none where the input's last line had none.
const char* lineEndAfter(const std::ifstream& file)
{
    return file.eof() ? "" : "\n";
}

} // namespace

bool SysUtils::ReadTextFile(const std::string& fileName, std::vector<std::string>& lines)
{
    // The name may be one of the lines.
    const std::string name = fileName;
    const Operation read{"ReadTextFile", name};
    lines.clear();
    std::ifstream file;
    if (!read.open(file, std::ios::in, !name.empty(), "Invalid file name")) {
        return false;
    }
    for (std::string line; readLine(file, line);) {
        lines.push_back(line);
    }
    return read.endReading(file, kReadFailed);
}

bool SysUtils::SetTextFileContents(const std::string& fileName, const std::string& contents)
{
    const Operation write{"SetTextFileContents", fileName};
    std::ofstream file;
    if (!write.open(file, std::ios::trunc, !fileName.empty(), kInvalidFileName)) {
        return false;
    }
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    return write.close(file, kUpdateFailed);
}

bool SysUtils::AppendLineToFile(const std::string& fileName, const std::string& line)
{
    const Operation append{"AppendLineToFile", fileName};
    std::ofstream file;
    if (!append.open(file, std::ios::app, !fileName.empty() && !line.empty(), kMissingArgument)) {
        return false;
    }
    // The line feed goes first, so that a last line without one cannot run into the new line.
    file << std::endl << line;
    return append.close(file, "Failed to append to file %s");
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
    const Operation insert{"insertIntoFilePrePostMatchingLine", fileName};
    std::ifstream file;
    if (!insert.open(file, std::ios::in, !fileName.empty() && !text.empty() && !match.empty(), kMissingArgument)) {
        return false;
    }
    std::string output;
    bool inserted = false;
    for (std::string line; readLine(file, line);) {
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
    if (!insert.endReading(file, kEditReadFailed)) {
        return false;
    }
    if (!inserted) {
        output.append(text).append("\n");
    }
    file.close();
    return insert.rewrite(output);
}

bool SysUtils::RemoveFromFileMatchingLine(const std::string& fileName, const std::string& line)
{
    const Operation remove{"RemoveFromFileMatchingLine", fileName};
    const bool hasArguments = !fileName.empty() && !line.empty();
    if (hasArguments && !SeachFileForMatchingLine(fileName, line)) {
        return true;
    }
    std::ifstream file;
    if (!remove.open(file, std::ios::in, hasArguments, kMissingArgument)) {
        return false;
    }
    std::string output;
    for (std::string current; readLine(file, current);) {
        if (current != line) {
            output.append(current).append(lineEndAfter(file));
        }
    }
    if (!remove.endReading(file, kEditReadFailed)) {
        return false;
    }
    file.close();
    return remove.rewrite(output);
}

bool SysUtils::SeachFileForMatchingLine(const std::string& fileName, const std::string& line)
{
    const Operation search{"SeachFileForMatchingLine", fileName};
    std::ifstream file;
    if (!search.open(file, std::ios::in, !fileName.empty() && !line.empty(), kMissingArgument)) {
        return false;
    }
    for (std::string current; readLine(file, current);) {
        if (current == line) {
            return true;
        }
    }
    search.endReading(file, kReadFailed);
    return false;
}

bool SysUtils::FileHasOnlyWhiteSpace(const std::string& fileName)
{
    const Operation inspect{"FileHasOnlyWhiteSpace", fileName};
    std::ifstream file;
    if (!inspect.open(file, std::ios::in, !fileName.empty(), kInvalidFileName)) {
        return false;
    }
    for (std::string line; std::getline(file, line);) {
        if (line.find_first_not_of(" \n\r\t\f\v") != std::string::npos) {
            return false;
        }
    }
    return inspect.endReading(file, kReadFailed);
}
