#pragma once

#include <string_view>

/// What XML takes for white space.
inline constexpr std::string_view kXmlWhiteSpace = " \n\r\t";

/// True when `text` is empty or nothing but XML's white space.
inline bool isXmlBlank(std::string_view text)
{
    return text.find_first_not_of(kXmlWhiteSpace) == std::string_view::npos;
}

/// For sinks: logs that `function` was called when no element was there to take what it brought.
void logNoElement(const char* function, const char* file, unsigned line);
