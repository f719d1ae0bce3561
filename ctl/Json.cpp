#include "ctl/Json.h"

#include "ctl/Text.h"

#include <string>

namespace ctl {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// The bytes as UTF-8, each byte that is none replaced.
std::string replaced(std::string_view bytes)
{
    std::string text;
    while (!bytes.empty()) {
        const Character character = firstCharacter(bytes);
        text += character.isValid ? bytes.substr(0, character.size) : kReplacement;
        bytes.remove_prefix(character.size);
    }
    return text;
}

std::string hexOf(std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += {digits[value >> 4], digits[value & 15]};
    }
    return text;
}

} // namespace

Json documentOf(std::string_view command)
{
    return {{"format", "obg-manifest-" + std::string(command)}, {"version", 1}};
}

void putText(Json& object, std::string_view name, std::string_view bytes)
{
    const std::string member(name);
    const std::string text = replaced(bytes);
    object[member] = text;
    if (text != bytes) {
        object[member + "_hex"] = hexOf(bytes);
    }
}

std::string rendered(const Json& document)
{
    return document.dump(2) + "\n";
}

} // namespace ctl
