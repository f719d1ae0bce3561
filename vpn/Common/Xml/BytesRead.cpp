#include "vpn/Common/Xml/BytesRead.h"

#include <algorithm>
#include <limits>
#include <memory>

#include <libxml/encoding.h>
#include <libxml/parser.h>
#include <libxml/xmlIO.h>

#if LIBXML_VERSION < 21400

namespace {

struct BufferDeleter
{
    void operator()(xmlBufferPtr buffer) const { xmlBufferFree(buffer); }
};
using Buffer = std::unique_ptr<xmlBuffer, BufferDeleter>;

/// How many bytes a text takes in another encoding; 0 where that cannot be had.
std::size_t encodedSize(xmlCharEncodingHandlerPtr encoder, const xmlChar* text, std::size_t size)
{
    const Buffer decoded(xmlBufferCreate());
    const Buffer encoded(xmlBufferCreate());
    if (decoded == nullptr || encoded == nullptr || size > std::numeric_limits<int>::max() / 8 ||
        xmlBufferAdd(decoded.get(), text, static_cast<int>(size)) != 0) {
        return 0;
    }
    while (xmlBufferLength(decoded.get()) > 0) {
        const int before = xmlBufferLength(decoded.get());
        if (xmlCharEncOutFunc(encoder, encoded.get(), decoded.get()) < 0 || xmlBufferLength(decoded.get()) == before) {
            return 0;
        }
    }
    return static_cast<std::size_t>(xmlBufferLength(encoded.get()));
}

} // namespace

/// 0 where what was read since then is not at hand any more.
std::size_t BytesRead::countSinceLast(std::size_t decoded) const
{
    const xmlParserInput& input = *m_document->input;
    if (m_encoder != input.buf->encoder || decoded < m_decoded || m_decoded < input.consumed) {
        return 0;
    }
    return encodedSize(m_encoder, input.base + (m_decoded - input.consumed), decoded - m_decoded);
}

/// All that was taken from the document, without what is decoded and not yet read.
std::size_t BytesRead::countFromTheEnd() const
{
    const xmlParserInput& input = *m_document->input;
    const std::size_t unread =
        encodedSize(input.buf->encoder, input.cur, static_cast<std::size_t>(input.end - input.cur));
    return input.buf->rawconsumed - std::min<std::size_t>(unread, input.buf->rawconsumed);
}

std::size_t BytesRead::count()
{
    const xmlParserInput* input = m_document->input;
    if (input == nullptr) {
        return 0;
    }
    const std::size_t decoded = input->consumed + static_cast<std::size_t>(input->cur - input->base);
    if (input->buf == nullptr || input->buf->encoder == nullptr) {
        return decoded;
    }
    if (m_encoder != input->buf->encoder || decoded != m_decoded) {
        const std::size_t more = countSinceLast(decoded);
        m_raw = more != 0 ? m_raw + more : countFromTheEnd();
        m_encoder = input->buf->encoder;
        m_decoded = decoded;
    }
    return m_raw;
}

#else

std::size_t BytesRead::count()
{
#pragma GCC diagnostic push
    // Deprecated from 2.15 on, where nothing else tells the document's bytes from those that they were decoded to.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    return static_cast<std::size_t>(std::max(xmlByteConsumed(m_document), 0L));
#pragma GCC diagnostic pop
}

#endif
