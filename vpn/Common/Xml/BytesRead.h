#pragma once

#include <cstddef>

// The names are those of libxml2.
struct _xmlCharEncodingHandler; // NOLINT(bugprone-reserved-identifier)
struct _xmlParserCtxt;          // NOLINT(bugprone-reserved-identifier)

/// Counts how many bytes of a document libxml2 has read, in the encoding of the document.
///
/// From 2.14 on libxml2 is asked. Before, it decodes the whole document at once, and counts by encoding again what it
/// has yet to read: that takes the square of the time when it is asked at each tag, and is wrong by all but 32,000
/// bytes for the encodings that it converts by itself. Here only what was read since the last question is encoded
/// again.
class BytesRead
{
public:
    /// `document` is the context of the whole document, and stays the caller's.
    explicit BytesRead(_xmlParserCtxt* document) : m_document(document) {}

    /// 0 where libxml2 cannot tell.
    std::size_t count();

private:
    std::size_t countFromTheEnd() const;
    std::size_t countSinceLast(std::size_t decoded) const;

    _xmlParserCtxt* m_document;
    /// At the last question: the handler of the encoding, null for UTF-8; how much was read, decoded and as it was.
    _xmlCharEncodingHandler* m_encoder = nullptr;
    std::size_t m_decoded = 0;
    std::size_t m_raw = 0;
};
