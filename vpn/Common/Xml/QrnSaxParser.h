#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class XmlMgr;
class XmlWatcher;

/// libxml2's character type, said here so that users of this header need not have libxml2's own.
using xmlChar = unsigned char;

/// What the input text of a parse is.
enum XmlParserInputType : std::uint32_t
{
    /// The document itself.
    XmlInputBuffer = 0,
    /// The path of the document.
    XmlInputFile = 1,
};

/// A place in a document.
struct XmlPosition
{
    /// Counted from 1; 0 says that there is no such place.
    int line = 0;
    /// In bytes from the beginning of the input as it was given, blanks and byte order mark included.
    std::size_t offset = 0;
};

/// The adapter over libxml2: runs a SAX parse and passes start tags, end tags, texts and attributes on to a sink. It
/// validates nothing, builds no document and keeps no state between parses. Every copy of document text that it makes
/// is wiped before it is released. Distinct objects may parse on distinct threads.
class QrnSaxParser
{
public:
    /// `sink` stays the caller's.
    explicit QrnSaxParser(XmlMgr* sink) : m_sink(sink) {}
    virtual ~QrnSaxParser() = default;

    /// Parses one document and returns 0, or 0xFE000009 when it is not well formed or cannot be had. Failures are
    /// logged, except for an empty or blank input and an unknown type. Blanks before a document in memory are skipped.
    /// `input` is not looked at any more once the first event has come: a sink may then release it.
    ///
    /// A document whose entities expand to more than 1,000,000 bytes and to more than five times what was read of it is
    /// taken for an attack: its parse is stopped and fails.
    std::uint32_t startParser(const std::string& input, XmlParserInputType type);

    /// The same for a document in memory, with somebody who watches what the sink is given. `document` is looked at up
    /// to the end.
    std::uint32_t startWatchedParser(const std::string& document, XmlWatcher& watcher);

    /// For a sink, while it handles an event of a watched parse: how far libxml2 has read. At a start tag and its
    /// attributes that is right behind the last attribute or the name, at an end tag behind its ">", so that the tag's
    /// "<" is the last one before the offset. What an entity brings stands where it is referred to. Costs nothing
    /// unless it is asked for; in other encodings than UTF-8 the answer takes time in proportion to what was read since
    /// the last one.
    ///
    /// It is the innermost parse at work on this thread that answers; without one, or when nobody watches it, the
    /// position is that of nothing.
    static XmlPosition position();

    /// What libxml2 calls. `ctx` is the parser context at work, which inside an entity is not the one of the document;
    /// its `_private` field holds the sink. Without a sink the event is logged and dropped.
    static void startElementCB(void* ctx, const xmlChar* name, const xmlChar** atts);
    static void endElementCB(void* ctx, const xmlChar* name);
    static void elementValueCB(void* ctx, const xmlChar* ch, int len);
    static void errorCB(void* ctx, const char* msg, ...);

private:
    XmlMgr* m_sink;
};

/// Sets `out` to a NUL-terminated attribute name or value, trimmed of white space at its ends.
void parseAttribute(std::string& out, const xmlChar* text);
