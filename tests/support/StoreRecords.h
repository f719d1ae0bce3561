#pragma once

#include <cstdint>
#include <string>

#include "tests/support/CapturedLog.h"

// The records that the store logs, as the back end receives them.

namespace obg::test {

using LogRecordMatcher = ::testing::Matcher<const LogRecord&>;

/** A call failed: CODE and DESCRIPTION say how. */
inline LogRecordMatcher storeCallFailed(const std::string& function, int line, const std::string& invoked,
                                        std::uint32_t code, const std::string& description)
{
    return IsReturnCode('E', returnCodeText(function, sourceTag("vpn/Common/InstalledManifestInfo"), line, invoked,
                                            code, description, ""));
}

/** A field could not be read. */
inline LogRecordMatcher fieldNotRead(const std::string& function, int line)
{
    return storeCallFailed(function, line, "CInstalledManifestInfo::readManifestData", 0xFE000002, "unknown");
}

/** A field could not be written. */
inline LogRecordMatcher fieldNotWritten(const std::string& function, int line)
{
    return storeCallFailed(function, line, "CInstalledManifestInfo::writeManifestData", 0xFE000002, "unknown");
}

/** The bytes of an integer could not be read. */
inline LogRecordMatcher integerReadFailed(std::uint32_t error, const std::string& description)
{
    return storeCallFailed("readManifestData", 529, "fstream::read", error, description);
}

/** The bytes of a text could not be read. At the end of the file that is no system call's failure: error 0. */
inline LogRecordMatcher textReadFailed(std::uint32_t error = 0, const std::string& description = "Success")
{
    return storeCallFailed("readManifestData", 585, "fstream::read", error, description);
}

inline LogRecordMatcher unsupportedVersion()
{
    return IsDebugMessage('W', debugText("loadInstalledFileData", sourceTag("vpn/Common/InstalledManifestInfo"), 300,
                                         "Unsupported manifest version"));
}

inline LogRecordMatcher unknownType(std::int32_t type)
{
    return IsDebugMessage('W', debugText("loadInstalledFileData", sourceTag("vpn/Common/InstalledManifestInfo"), 393,
                                         "Unknown file type " + std::to_string(type)));
}

} // namespace obg::test
