#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace obg::test {

/// Makes the file hold exactly these bytes. Ends the process on failure.
void writeFile(const char* path, std::string_view bytes);

/// All bytes of the file; nothing when there is none. Ends the process on any other failure.
std::optional<std::string> readFile(const char* path);

} // namespace obg::test
