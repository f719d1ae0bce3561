#include "vpn/Common/Xml/BytesRead.h"

#include <algorithm>
#include <array>

#include <libxml/parser.h>
#include <strings.h>

namespace {

const iconv_t kNone = reinterpret_cast<iconv_t>(-1); // NOLINT(performance-no-int-to-ptr): as iconv_open has it

/// The encoding that the XML declaration of a document names, or an empty view at its beginning. Behind a byte order
/// mark older versions of libxml2 heed it, newer ones do not.
std::string_view declaredEncoding(std::string_view text)
{
    constexpr std::string_view mark = "\xef\xbb\xbf";
    const std::size_t skipped = LIBXML_VERSION < 21500 && text.starts_with(mark) ? mark.size() : 0;
    text.remove_prefix(skipped);
    const std::string_view declaration = text.substr(0, text.find("?>"));
    const std::size_t begin = declaration.find_first_of("'\"", declaration.find("encoding"));
    if (!declaration.starts_with("<?xml") || begin == std::string_view::npos) {
        return text.substr(0, 0);
    }
    const std::string_view quoted = declaration.substr(begin + 1);
    return quoted.substr(0, quoted.find(declaration[begin]));
}

/// Null for UTF-8, and for encodings that iconv does not know. A declaration that could be read byte by byte is not in
/// UTF-16 or UTF-32, whatever it says, and libxml2 then takes the document for UTF-8.
iconv_t openDecoder(std::string_view encoding)
{
    const std::string name(encoding);
    return name.empty() || ::strncasecmp(name.c_str(), "UTF", 3) == 0 ? kNone : ::iconv_open("UTF-8", name.c_str());
}

} // namespace

BytesRead::BytesRead(xmlParserCtxtPtr document, std::string_view text)
    : m_document(document), m_text(text), m_decoder(kNone)
{
    const std::string_view encoding = declaredEncoding(text);
    m_decoder = openDecoder(encoding);
    m_switch = static_cast<std::size_t>(encoding.data() - text.data()) + encoding.size() + 1;
    m_raw = m_switch;
    m_decoded = m_switch;
}

BytesRead::~BytesRead()
{
    if (hasDecoder()) {
        ::iconv_close(m_decoder);
    }
}

bool BytesRead::hasDecoder() const
{
    return m_decoder != kNone;
}

#if LIBXML_VERSION < 21500

namespace {

/// That of the document itself, which those of its entities lie upon.
const xmlParserInput& inputOf(const xmlParserCtxt& document)
{
    return *document.inputTab[0];
}

} // namespace

bool BytesRead::isDecoded() const
{
    const xmlParserInput& input = inputOf(*m_document);
    return hasDecoder() && input.buf != nullptr && input.buf->encoder != nullptr;
}

/// libxml2 begins to count anew where it begins to decode.
std::size_t BytesRead::countDecoded() const
{
    const xmlParserInput& input = inputOf(*m_document);
    const std::size_t counted = input.consumed + static_cast<std::size_t>(input.cur - input.base);
    return isDecoded() ? m_switch + counted : counted;
}

#else

bool BytesRead::isDecoded() const
{
    return hasDecoder();
}

std::size_t BytesRead::countDecoded() const
{
    unsigned long decoded = 0;
    xmlCtxtGetInputPosition(m_document, 0, nullptr, nullptr, nullptr, &decoded);
    return decoded;
}

#endif

/// Stops early where the text ends or is broken. iconv is shown little more than it is to read: it converts all of that
/// before it sees how little has room.
void BytesRead::decodeTo(std::size_t decoded)
{
    constexpr std::size_t longestCharacter = 16;
    std::array<char, 4096> scratch; // NOLINT(cppcoreguidelines-pro-type-member-init): nobody reads it
    for (bool goesOn = true; goesOn && m_decoded < decoded;) {
        const std::size_t room = std::min(decoded - m_decoded, scratch.size());
        const std::size_t shown = std::min(room + longestCharacter, m_text.size() - m_raw);
        char* in = const_cast<char*>(m_text.data() + m_raw);
        char* out = scratch.data();
        std::size_t left = shown;
        std::size_t free = room;
        ::iconv(m_decoder, &in, &left, &out, &free);
        goesOn = left < shown;
        m_raw += shown - left;
        m_decoded += room - free;
    }
}

std::size_t BytesRead::count()
{
    const std::size_t decoded = countDecoded();
    if (!isDecoded()) {
        return decoded;
    }
    decodeTo(decoded);
    return m_raw;
}
