#pragma once

// Before Json is declared: g++ takes the word of the format for one that hides it.
#include "ctl/Options.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ctl {

/// Members stay in the order in which they are put in.
using Json = nlohmann::ordered_json;

/// The start of every document: {"format": "obg-manifest-COMMAND", "version": 1}.
Json documentOf(std::string_view command);

/// Puts a byte string into an object. Where it is not UTF-8, each byte that is none becomes U+FFFD, and a member
/// NAME_hex behind it holds the exact bytes as lower-case hexadecimal digits.
void putText(Json& object, std::string_view name, std::string_view bytes);

/// The same of a byte string that may be missing, which is null.
void putOptionalText(Json& object, std::string_view name, const std::optional<std::string>& bytes);

/// {"kind": WORD, "version": TEXT} of an entry; the kind is null for a number that no kind has.
Json kindAndVersion(std::uint32_t type, std::string_view version);

/// A document as it is printed: valid UTF-8, indented by two blanks, ending with a line end.
std::string rendered(const Json& document);

/// A document that may be long, rendered piece by piece: what is put in is turned into text at once.
class JsonWriter
{
public:
    /// Starts as documentOf does.
    explicit JsonWriter(std::string_view command);

    /// In an object. memberText puts a byte string as putText does.
    void member(std::string_view name, const Json& value);
    void memberText(std::string_view name, std::string_view bytes);
    void openObject(std::string_view name);
    void openArray(std::string_view name);

    /// In an array.
    void element(const Json& value);
    void openElement();

    /// Ends what was opened last.
    void close();

    /// Ends the document and gives its text. Nothing may be open.
    std::string text();

private:
    void startItem();
    void startMember(std::string_view name);
    void open(char opening, char closing);

    std::string m_text = "{";
    /// What ends each open object or array, the innermost last.
    std::string m_closings = "}";
    bool m_isFirst = true;
};

} // namespace ctl
