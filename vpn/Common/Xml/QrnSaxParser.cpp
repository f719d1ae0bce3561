#include "vpn/Common/Xml/QrnSaxParser.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/Xml/XmlContent.h"
#include "vpn/Common/Xml/XmlMgr.h"
#include "vpn/Common/Xml/XmlWatcher.h"

#include <algorithm>
#include <cstdarg>
#include <limits>
#include <memory>
#include <string_view>

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <string.h>
#include <sys/stat.h>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Common/Xml/QrnSaxParser";

/// What xmlParseDocument gives for a document that is not well formed.
constexpr int kNotWellFormed = -1;

struct ContextDeleter
{
    void operator()(xmlParserCtxtPtr context) const
    {
        xmlFreeDoc(context->myDoc);
        xmlFreeParserCtxt(context);
    }
};
using ContextPtr = std::unique_ptr<xmlParserCtxt, ContextDeleter>;

/// Holds what a document delivers, and what it has libxml2 expand on the way, against the document's own size. A small
/// document can name one long entity again and again, and libxml2 lets it deliver gigabytes. Elements and attributes
/// count for more than their texts, as they take more; but a document without entities delivers less than eight times
/// its size even if it is nothing but "<a/>" or one attribute after the other, and were it in an encoding whose every
/// byte becomes three of UTF-8.
class DeliveryBound
{
public:
    DeliveryBound(xmlParserCtxtPtr document, std::size_t documentSize)
        : m_document(document), m_limit(std::max(kMinimum, kFactor * documentSize)), m_outer(s_current)
    {
        s_current = this;
    }
    ~DeliveryBound() { s_current = m_outer; }
    DeliveryBound(const DeliveryBound&) = delete;
    DeliveryBound& operator=(const DeliveryBound&) = delete;

    /// Counts what is about to be delivered on this thread. False when the parse is over because of it.
    static bool admitText(xmlParserCtxtPtr context, std::size_t size)
    {
        return s_current == nullptr || s_current->count(s_current->m_delivered, s_current->m_limit, context, size);
    }
    static bool admitElement(xmlParserCtxtPtr context, std::size_t size)
    {
        return admitText(context, kElementCost + size);
    }
    static bool admitAttribute(xmlParserCtxtPtr context, std::size_t size)
    {
        return admitText(context, kAttributeCost + size);
    }

    /// Counts an entity that is about to be expanded. It need not deliver anything: it may be one long comment. The
    /// bound is twice the other one, so that what is delivered decides where anything is.
    static bool admitReference(xmlParserCtxtPtr context, std::size_t size)
    {
        return s_current == nullptr || s_current->count(s_current->m_expanded, 2 * s_current->m_limit, context, size);
    }

    bool isExceeded() const { return m_isExceeded; }

private:
    static constexpr std::size_t kElementCost = 28;
    static constexpr std::size_t kAttributeCost = 24;
    static constexpr std::size_t kMinimum = std::size_t{16} * 1024 * 1024;
    static constexpr std::size_t kFactor = 8;

    bool count(std::size_t& counter, std::size_t limit, xmlParserCtxtPtr context, std::size_t size)
    {
        if (!m_isExceeded) {
            counter += size;
            if (counter <= limit) {
                return true;
            }
            m_isExceeded = true;
            QrnSaxParser::errorCB(context, "%s", "Entities deliver far more than the document holds: parse stopped\n");
            xmlStopParser(m_document);
        }
        // Inside an entity the context at work is not the document's own, and there may be others between the two; each
        // would go on to its next reference.
        xmlStopParser(context);
        return false;
    }

    /// The parse at work on this thread. The callbacks cannot carry it: libxml2 hands them a context of its own inside
    /// entities, whose one free field holds the sink.
    static thread_local DeliveryBound* s_current;

    xmlParserCtxtPtr m_document;
    std::size_t m_limit;
    std::size_t m_delivered = 0;
    std::size_t m_expanded = 0;
    bool m_isExceeded = false;
    DeliveryBound* m_outer;
};

thread_local DeliveryBound* DeliveryBound::s_current = nullptr;

/// A document that is being parsed, from where on libxml2 sees it.
struct Document
{
    ContextPtr context;
    std::size_t size = 0;
    /// What stands before, which libxml2 is not shown.
    XmlPosition begin{0, 0};
};

/// A parse at work. The callbacks find it here, because libxml2 hands them a context of its own inside entities, whose
/// one free field holds the sink; but that has the handler record of the document's.
class Parse
{
public:
    Parse(const Document& document, XmlWatcher* watcher) : m_document(document), m_watcher(watcher), m_outer(s_current)
    {
        s_current = this;
    }
    ~Parse() { s_current = m_outer; }
    Parse(const Parse&) = delete;
    Parse& operator=(const Parse&) = delete;

    /// The innermost on this thread.
    static Parse* current() { return s_current; }

    /// Null when the context is none of a parse's, but its maker called the callback himself.
    static Parse* of(const xmlParserCtxt* context)
    {
        return s_current != nullptr && s_current->m_document.context->sax == context->sax ? s_current : nullptr;
    }

    /// The string that brings one value after the other to the sink, so that its buffer is made once.
    std::string& value() { return m_value; }

    /// Null when nobody watches.
    XmlWatcher* watcher() const { return m_watcher; }

    /// True when the context at work is that of an entity.
    bool isInEntity(const xmlParserCtxt* context) const
    {
        return context != m_document.context.get() || context->inputNr > 1;
    }

    XmlPosition position() const
    {
        const long consumed = xmlByteConsumed(m_document.context.get());
        return {m_document.begin.line + xmlSAX2GetLineNumber(m_document.context.get()),
                m_document.begin.offset + static_cast<std::size_t>(std::max(consumed, 0L))};
    }

private:
    static thread_local Parse* s_current;

    const Document& m_document;
    XmlWatcher* m_watcher;
    Parse* m_outer;
    std::string m_value;
};

thread_local Parse* Parse::s_current = nullptr;

/// A text or an attribute's value on its way to the sink, wiped behind it.
class Value
{
public:
    Value(const xmlParserCtxt* context, std::string_view text) : m_text(textOf(Parse::of(context))) { m_text = text; }

    /// Only what was used: texts of one byte may follow one of megabytes, in the same buffer.
    ~Value()
    {
        ::explicit_bzero(m_text.data(), m_text.size());
        m_text.clear();
    }

    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;

    operator const std::string&() const { return m_text; }

private:
    std::string& textOf(Parse* parse) { return parse == nullptr ? m_own : parse->value(); }

    std::string m_own;
    std::string& m_text;
};

void logError(const char* function, unsigned line, const char* text)
{
    CAppLog::LogDebugMessage(function, kLogFile, line, Logging::DI_ERROR, "%s", text);
}

void logFailedCall(unsigned line, const char* call, unsigned code)
{
    CAppLog::LogReturnCode("startParser", kLogFile, line, Logging::DI_ERROR, call, code, nullptr, nullptr);
}

/// The sink of the parse that a callback belongs to; null, logged, when there is none.
XmlMgr* sinkOf(xmlParserCtxtPtr context, const char* function, unsigned line)
{
    auto* sink = static_cast<XmlMgr*>(context->_private);
    if (sink == nullptr) {
        logError(function, line, "No XML Manager provided.");
    }
    return sink;
}

std::string toString(const xmlChar* text)
{
    return reinterpret_cast<const char*>(text);
}

std::string_view toView(const xmlChar* text)
{
    return reinterpret_cast<const char*>(text);
}

std::string_view trimmed(const xmlChar* text)
{
    return CStringUtils::trimmed(toView(text));
}

Document openFile(const std::string& path)
{
    struct stat info
    {};
    Document document;
    document.size = stat(path.c_str(), &info) == 0 ? static_cast<std::size_t>(info.st_size) : 0;
    document.context.reset(xmlCreateFileParserCtxt(path.c_str()));
    if (document.context == nullptr) {
        logFailedCall(188, "xmlCreateFileParserCtxt", StatusCode::NoParserContext);
    }
    return document;
}

Document openBuffer(const std::string& text)
{
    Document document;
    const std::size_t begin = text.find_first_not_of(kXmlWhiteSpace);
    if (begin == std::string::npos) {
        return document;
    }
    document.size = text.size() - begin;
    const auto lines = std::count(text.data(), text.data() + begin, '\n');
    document.begin = {static_cast<int>(lines), begin};
    // libxml2 counts in int and refuses 0, as it is to refuse what it could not count.
    const bool isCountable = document.size <= std::numeric_limits<int>::max();
    document.context.reset(
        xmlCreateMemoryParserCtxt(text.data() + begin, isCountable ? static_cast<int>(document.size) : 0));
    if (document.context == nullptr) {
        logFailedCall(176, "xmlCreateMemoryParserCtxt", StatusCode::NoParserContext);
    }
    return document;
}

/// libxml2's own look-up of entities, but for those that take a document beyond its bound. It looks none up in a
/// document that is not well-formed, and expands none in an attribute.
xmlEntityPtr getEntityCB(void* ctx, const xmlChar* name)
{
    auto* context = static_cast<xmlParserCtxtPtr>(ctx);
    if (context->wellFormed != 1) {
        return nullptr;
    }
    xmlEntityPtr entity = xmlSAX2GetEntity(ctx, name);
    if (entity == nullptr || entity->length <= 0 || context->instate == XML_PARSER_ATTRIBUTE_VALUE) {
        return entity;
    }
    return DeliveryBound::admitReference(context, static_cast<std::size_t>(entity->length)) ? entity : nullptr;
}

void watchedStartElementCB(void* ctx, const xmlChar* name, const xmlChar** atts)
{
    QrnSaxParser::startElementCB(ctx, name, atts);
    for (; atts != nullptr && atts[0] != nullptr && atts[1] != nullptr; atts += 2) {
        Parse::current()->watcher()->seeAttribute(toView(atts[0]), toView(atts[1]));
    }
}

void watchedElementValueCB(void* ctx, const xmlChar* ch, int len)
{
    const Parse& parse = *Parse::current();
    parse.watcher()->seeText({reinterpret_cast<const char*>(ch), static_cast<std::size_t>(std::max(len, 0))},
                             parse.isInEntity(static_cast<xmlParserCtxtPtr>(ctx)));
    QrnSaxParser::elementValueCB(ctx, ch, len);
}

/// Runs the parse of an opened document; without one it has failed already.
std::uint32_t run(const Document& document, XmlMgr* sink, XmlWatcher* watcher = nullptr)
{
    const ContextPtr& context = document.context;
    if (context == nullptr) {
        return StatusCode::OperationFailed;
    }
    Parse parse(document, watcher);
    const DeliveryBound bound(context.get(), document.size);
    context->_private = sink;
    // Not marked as initialised, so that libxml2 takes it for a SAX1 handler and gives attributes as plain pairs.
    xmlSAXHandler handler{};
    handler.startElement = QrnSaxParser::startElementCB;
    handler.endElement = QrnSaxParser::endElementCB;
    handler.characters = QrnSaxParser::elementValueCB;
    handler.error = QrnSaxParser::errorCB;
    handler.getEntity = getEntityCB;
    if (watcher != nullptr) {
        handler.startElement = watchedStartElementCB;
        handler.characters = watchedElementValueCB;
    }
    // Into the context's own record, not in its place: the context is then whole whichever way the parse is left.
    *context->sax = handler;
    int result = xmlParseDocument(context.get());
    if (bound.isExceeded()) {
        // A parse that was stopped counts as well-formed for libxml2.
        result = kNotWellFormed;
    }
    if (result != 0) {
        logFailedCall(225, "xmlParseDocument", static_cast<unsigned>(result));
        return StatusCode::OperationFailed;
    }
    return StatusCode::Success;
}

} // namespace

void parseAttribute(std::string& out, const xmlChar* text)
{
    out = trimmed(text);
}

std::uint32_t QrnSaxParser::startParser(const std::string& input, XmlParserInputType type)
{
    if (input.empty() || (type != XmlInputBuffer && type != XmlInputFile)) {
        return StatusCode::OperationFailed;
    }
    return run(type == XmlInputFile ? openFile(input) : openBuffer(input), m_sink);
}

std::uint32_t QrnSaxParser::startWatchedParser(const std::string& document, XmlWatcher& watcher)
{
    return run(openBuffer(document), m_sink, &watcher);
}

XmlPosition QrnSaxParser::position()
{
    const Parse* parse = Parse::current();
    return parse == nullptr ? XmlPosition() : parse->position();
}

void QrnSaxParser::startElementCB(void* ctx, const xmlChar* name, const xmlChar** atts)
{
    auto* context = static_cast<xmlParserCtxtPtr>(ctx);
    XmlMgr* sink = sinkOf(context, "startElementCB", 50);
    if (sink == nullptr) {
        return;
    }
    const std::string elementName = toString(name);
    if (!DeliveryBound::admitElement(context, elementName.size())) {
        return;
    }
    sink->addElement(elementName);
    if (atts == nullptr) {
        return;
    }
    for (; atts[0] != nullptr && atts[1] != nullptr; atts += 2) {
        const std::string_view attributeName = trimmed(atts[0]);
        const std::string_view attributeValue = trimmed(atts[1]);
        if (!DeliveryBound::admitAttribute(context, attributeName.size() + attributeValue.size())) {
            return;
        }
        sink->addAttribute(std::string(attributeName), Value(context, attributeValue));
    }
}

void QrnSaxParser::endElementCB(void* ctx, const xmlChar* name)
{
    if (XmlMgr* sink = sinkOf(static_cast<xmlParserCtxtPtr>(ctx), "endElementCB", 83)) {
        sink->endElement(toString(name));
    }
}

void QrnSaxParser::elementValueCB(void* ctx, const xmlChar* ch, int len)
{
    auto* context = static_cast<xmlParserCtxtPtr>(ctx);
    XmlMgr* sink = sinkOf(context, "elementValueCB", 98);
    const std::size_t size = len > 0 ? static_cast<std::size_t>(len) : 0;
    if (sink == nullptr || !DeliveryBound::admitText(context, size)) {
        return;
    }
    const auto* characters = reinterpret_cast<const char*>(ch);
    sink->setElementValue(
        Value(context, CStringUtils::trimmed({characters, size == 0 ? 0 : ::strnlen(characters, size)})));
}

void QrnSaxParser::errorCB(void* /*ctx*/, const char* msg, ...)
{
    // libxml2 passes "%s" and its finished message.
    std::va_list arguments;
    va_start(arguments, msg);
    const char* text = va_arg(arguments, const char*);
    va_end(arguments);
    CAppLog::LogDebugMessage("errorCB", kLogFile, 135, Logging::DI_ERROR, "xml errorCB: %s", text);
}
