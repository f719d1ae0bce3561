#pragma once

#include <nlohmann/json.hpp>

#include <string_view>

namespace ctl {

/// Members stay in the order in which they are put in.
using Json = nlohmann::ordered_json;

/// The start of every document: {"format": "obg-manifest-COMMAND", "version": 1}.
Json documentOf(std::string_view command);

/// Puts a byte string into an object. Where it is not UTF-8, each byte that is none becomes U+FFFD, and a member
/// NAME_hex behind it holds the exact bytes as lower-case hexadecimal digits.
void putText(Json& object, std::string_view name, std::string_view bytes);

/// The document as it is printed: valid UTF-8, indented by two blanks, ending with a line end.
std::string rendered(const Json& document);

} // namespace ctl
