#pragma once

#include <cstdint>
#include <string>

#include <gmock/gmock.h>

// What a log record reads, written out from its parts. Where a record carries the real source line and not a fixed
// tag, kAnyLine stands for it and LogTextIs accepts every number there.

namespace obg::test {

inline constexpr int kAnyLine = -1;

/** The file name that a source of the library logs under: sourceTag("vpn/Common/AppLog"). */
std::string sourceTag(const std::string& pathWithoutEnding);

/** The text of a diagnostic. */
std::string debugText(const std::string& function, const std::string& file, int line, const std::string& text);

/** The text of a failed call's record. */
std::string returnCodeText(const std::string& function, const std::string& file, int line, const std::string& invoked,
                           std::uint32_t code, const std::string& description, const std::string& text);

/** The text as standard output shows it: line feeds turned into blanks. */
std::string oneLine(std::string text);

/** Replaces the number behind the first "Line: " by the mark that kAnyLine leaves. */
std::string withoutLineNumber(std::string text);

/** The text equals EXPECTED, whatever its line number where EXPECTED was made with kAnyLine. */
MATCHER_P(LogTextIs, expected, "")
{
    const std::string wanted = expected;
    const std::string text = arg;
    return text == wanted || withoutLineNumber(text) == wanted;
}

} // namespace obg::test
