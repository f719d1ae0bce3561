#pragma once

#include <cstdint>

/// The status values that operations return: 0, or a code with its top seven bits set. Bits 16 to 23 of such a code
/// name a table of descriptions and bits 0 to 15 a text in it (see CAppLog::LogReturnCode).
namespace StatusCode {

inline constexpr std::uint32_t Success = 0;
inline constexpr std::uint32_t NoDefaultLogger = 0xFE000001;
/// A required argument is missing, or a field of the store could not be read or written.
inline constexpr std::uint32_t MissingArgument = 0xFE000002;
/// libxml2 gave no parser context. Only logged, never returned.
inline constexpr std::uint32_t NoParserContext = 0xFE000005;
/// A parse, the formatting of a time or the writing of the store failed.
inline constexpr std::uint32_t OperationFailed = 0xFE000009;
/// The log's back end was to be replaced while no CAppLog exists.
inline constexpr std::uint32_t NoLogInstance = 0xFE00000A;

} // namespace StatusCode
