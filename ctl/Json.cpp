#include "ctl/Json.h"

#include "ctl/Text.h"
#include "vpn/Common/ManifestFileType.h"

#include <utility>

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

void putOptionalText(Json& object, std::string_view name, const std::optional<std::string>& bytes)
{
    if (bytes) {
        putText(object, name, *bytes);
    } else {
        object[std::string(name)] = nullptr;
    }
}

Json kindAndVersion(std::uint32_t type, std::string_view version)
{
    const std::string_view word = typeWord(type);
    Json entry{{"kind", word.empty() ? Json() : Json(word)}};
    putText(entry, "version", version);
    return entry;
}

std::string rendered(const Json& document)
{
    return document.dump(2) + "\n";
}

JsonWriter::JsonWriter(std::string_view command)
{
    const Json start = documentOf(command);
    for (const auto& [name, value] : start.items()) {
        member(name, value);
    }
}

void JsonWriter::member(std::string_view name, const Json& value)
{
    startMember(name);
    m_text += value.dump();
}

void JsonWriter::memberText(std::string_view name, std::string_view bytes)
{
    Json members;
    putText(members, name, bytes);
    for (const auto& [memberName, value] : members.items()) {
        member(memberName, value);
    }
}

void JsonWriter::openObject(std::string_view name)
{
    startMember(name);
    open('{', '}');
}

void JsonWriter::openArray(std::string_view name)
{
    startMember(name);
    open('[', ']');
}

void JsonWriter::element(const Json& value)
{
    startItem();
    m_text += value.dump();
}

void JsonWriter::openElement()
{
    startItem();
    open('{', '}');
}

void JsonWriter::close()
{
    const char closing = m_closings.back();
    m_closings.pop_back();
    if (!m_isFirst) {
        m_text += '\n';
        m_text.append(2 * m_closings.size(), ' ');
    }
    m_text += closing;
    m_isFirst = false;
}

std::string JsonWriter::text()
{
    close();
    m_text += '\n';
    return std::move(m_text);
}

void JsonWriter::startItem()
{
    m_text += m_isFirst ? "\n" : ",\n";
    m_text.append(2 * m_closings.size(), ' ');
    m_isFirst = false;
}

void JsonWriter::startMember(std::string_view name)
{
    startItem();
    m_text += Json(name).dump() + ": ";
}

void JsonWriter::open(char opening, char closing)
{
    m_text += opening;
    m_closings += closing;
    m_isFirst = true;
}

} // namespace ctl
