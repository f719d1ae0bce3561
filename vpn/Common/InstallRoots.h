#pragma once

#include <string_view>

/// The folders below which the client is installed. They are fixed: no argument, variable or file moves them.
namespace InstallRoot {

inline constexpr std::string_view Current = "/opt/orvanta/brightgate";
inline constexpr std::string_view Legacy = "/opt/orvanta/tessellink";

} // namespace InstallRoot
