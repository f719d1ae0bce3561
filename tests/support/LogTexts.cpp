#include "tests/support/LogTexts.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace obg::test {

namespace {

constexpr const char* kLineLabel = "Line: ";
constexpr const char* kAnyLineMark = "*";

std::string lineNumber(int line)
{
    return line == kAnyLine ? kAnyLineMark : std::to_string(line);
}

std::string headerLines(const std::string& function, const std::string& file, int line)
{
    return "Function: " + function + "\nFile: " + file + "\n" + kLineLabel + lineNumber(line) + "\n";
}

} // namespace

std::string sourceTag(const std::string& pathWithoutEnding)
{
    return "../../../../" + pathWithoutEnding;
}

std::string debugText(const std::string& function, const std::string& file, int line, const std::string& text)
{
    return headerLines(function, file, line) + text;
}

std::string returnCodeText(const std::string& function, const std::string& file, int line, const std::string& invoked,
                           std::uint32_t code, const std::string& description, const std::string& text)
{
    std::ostringstream record;
    record << headerLines(function, file, line) << "Invoked Function: " << invoked
           << "\nReturn Code: " << static_cast<std::int32_t>(code) << " (0x" << std::hex << std::uppercase
           << std::setfill('0') << std::setw(8) << code << ")\nDescription: " << description << "\n"
           << text;
    return record.str();
}

std::string oneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::string withoutLineNumber(std::string text)
{
    const auto label = text.find(kLineLabel);
    if (label == std::string::npos) {
        return text;
    }
    const auto first = label + std::string(kLineLabel).size();
    const auto last = std::min(text.find_first_not_of("0123456789", first), text.size());
    return last > first ? text.replace(first, last - first, kAnyLineMark) : text;
}

} // namespace obg::test
