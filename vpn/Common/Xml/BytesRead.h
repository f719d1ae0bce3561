#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <iconv.h>

struct _xmlParserCtxt; // NOLINT(bugprone-reserved-identifier): libxml2's name

/// Counts how many bytes of a document libxml2 has read, in the encoding of the document.
///
/// libxml2 itself counts what it has decoded to UTF-8. Where the document is in another encoding, it is decoded here
/// once more, from the last question to where that count stands now.
class BytesRead
{
public:
    /// `document` is the context of the whole document, `text` what libxml2 sees of it; both stay the caller's.
    BytesRead(_xmlParserCtxt* document, std::string_view text);
    ~BytesRead();
    BytesRead(const BytesRead&) = delete;
    BytesRead& operator=(const BytesRead&) = delete;

    std::size_t count();

private:
    bool hasDecoder() const;
    bool isDecoded() const;
    std::size_t countDecoded() const;
    void decodeTo(std::size_t decoded);

    _xmlParserCtxt* m_document;
    std::string_view m_text;
    /// Where the name of the encoding and its quotation mark end in the text: from there on the text is decoded.
    std::size_t m_switch = 0;
    iconv_t m_decoder;
    /// At the last question: how far the text was read, and how many bytes came of that.
    std::size_t m_raw = 0;
    std::size_t m_decoded = 0;
};
