#include "vpn/Common/Xml/QrnSaxParser.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/Xml/BytesRead.h"
#include "vpn/Common/Xml/EntityBound.h"
#include "vpn/Common/Xml/XmlContent.h"
#include "vpn/Common/Xml/XmlMgr.h"
#include "vpn/Common/Xml/XmlWatcher.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Common/Xml/QrnSaxParser";

struct ContextDeleter
{
    void operator()(xmlParserCtxtPtr context) const
    {
        xmlFreeDoc(context->myDoc);
        xmlFreeParserCtxt(context);
    }
};
using ContextPtr = std::unique_ptr<xmlParserCtxt, ContextDeleter>;

/// A document that is being parsed, from where on libxml2 sees it.
struct Document
{
    ContextPtr context;
    /// What stands before, which libxml2 is not shown.
    XmlPosition begin{0, 0};
};

/// Somebody who watches a parse, and how far that has come. Nobody else pays for the count.
struct Watch
{
    XmlWatcher& watcher;
    BytesRead bytesRead;
};

/// A parse at work. The callbacks find it here, because libxml2 hands them a context of its own inside entities, whose
/// one free field holds the sink; but that has the handler record of the document's.
class Parse
{
public:
    Parse(const Document& document, Watch* watch)
        : m_document(document), m_input(document.context->input), m_watch(watch), m_outer(s_current)
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
    Watch* watch() const { return m_watch; }

    /// True when the context at work is that of an entity.
    bool isInEntity(const xmlParserCtxt* context) const
    {
        return context != m_document.context.get() || context->input != m_input;
    }

    /// While somebody watches.
    XmlPosition position() const
    {
        return {m_document.begin.line + xmlSAX2GetLineNumber(m_document.context.get()),
                m_document.begin.offset + m_watch->bytesRead.count()};
    }

private:
    static thread_local Parse* s_current;

    const Document& m_document;
    /// That of the document itself; an entity's is another one.
    const xmlParserInput* m_input;
    Watch* m_watch;
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
        if (!m_text.empty()) {
            ::explicit_bzero(m_text.data(), m_text.size());
            m_text.clear();
        }
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
    Document document;
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
    const std::size_t size = text.size() - begin;
    const auto lines = std::count(text.data(), text.data() + begin, '\n');
    document.begin = {static_cast<int>(lines), begin};
    // libxml2 counts in int and refuses 0, as it is to refuse what it could not count.
    const bool isCountable = size <= std::numeric_limits<int>::max();
    document.context.reset(xmlCreateMemoryParserCtxt(text.data() + begin, isCountable ? static_cast<int>(size) : 0));
    if (document.context == nullptr) {
        logFailedCall(176, "xmlCreateMemoryParserCtxt", StatusCode::NoParserContext);
    }
    return document;
}

void watchedStartElementCB(void* ctx, const xmlChar* name, const xmlChar** atts)
{
    QrnSaxParser::startElementCB(ctx, name, atts);
    for (; atts != nullptr && atts[0] != nullptr && atts[1] != nullptr; atts += 2) {
        Parse::current()->watch()->watcher.seeAttribute(toView(atts[0]), toView(atts[1]));
    }
}

void watchedElementValueCB(void* ctx, const xmlChar* ch, int len)
{
    const Parse& parse = *Parse::current();
    parse.watch()->watcher.seeText({reinterpret_cast<const char*>(ch), static_cast<std::size_t>(std::max(len, 0))},
                                   parse.isInEntity(static_cast<xmlParserCtxtPtr>(ctx)));
    QrnSaxParser::elementValueCB(ctx, ch, len);
}

/// Runs the parse of an opened document; without one it has failed already.
std::uint32_t run(const Document& document, XmlMgr* sink, Watch* watch = nullptr)
{
    const ContextPtr& context = document.context;
    if (context == nullptr) {
        return StatusCode::OperationFailed;
    }
    Parse parse(document, watch);
    context->_private = sink;
    // Not marked as initialised, so that libxml2 takes it for a SAX1 handler and gives attributes as plain pairs.
    xmlSAXHandler handler{};
    handler.startElement = QrnSaxParser::startElementCB;
    handler.endElement = QrnSaxParser::endElementCB;
    handler.characters = QrnSaxParser::elementValueCB;
    handler.error = QrnSaxParser::errorCB;
    if (watch != nullptr) {
        handler.startElement = watchedStartElementCB;
        handler.characters = watchedElementValueCB;
    }
    // Into the context's own record, not in its place: the context is then whole whichever way the parse is left.
    *context->sax = handler;
#if LIBXML_VERSION < 21100
    const EntityBound bound(context.get());
#endif
    const int result = xmlParseDocument(context.get());
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
    const Document opened = openBuffer(document);
    Watch watch{watcher, {opened.context.get(), std::string_view(document).substr(opened.begin.offset)}};
    return run(opened, m_sink, &watch);
}

XmlPosition QrnSaxParser::position()
{
    const Parse* parse = Parse::current();
    return parse == nullptr || parse->watch() == nullptr ? XmlPosition() : parse->position();
}

void QrnSaxParser::startElementCB(void* ctx, const xmlChar* name, const xmlChar** atts)
{
    auto* context = static_cast<xmlParserCtxtPtr>(ctx);
    XmlMgr* sink = sinkOf(context, "startElementCB", 50);
    if (sink == nullptr) {
        return;
    }
    sink->addElement(toString(name));
    if (atts == nullptr) {
        return;
    }
    for (; atts[0] != nullptr && atts[1] != nullptr; atts += 2) {
        sink->addAttribute(std::string(trimmed(atts[0])), Value(context, trimmed(atts[1])));
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
    if (sink == nullptr) {
        return;
    }
    const std::string_view run(reinterpret_cast<const char*>(ch), len > 0 ? static_cast<std::size_t>(len) : 0);
    sink->setElementValue(Value(context, CStringUtils::trimmed(run.substr(0, run.find('\0')))));
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
