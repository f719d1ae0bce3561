#pragma once

#include "vpn/Common/Xml/QrnSaxParser.h"

/// The front end that all parsing goes through: reads a document from memory or from a file into a sink. A parse that
/// fails is logged; the sink keeps what was delivered before. Distinct objects may parse on distinct threads.
class XmlParser
{
public:
    /// `sink` stays the caller's. Null is accepted here and refused by the parse.
    explicit XmlParser(XmlMgr* sink) : m_sink(sink) {}
    virtual ~XmlParser() = default;

    /// Parses `input`, up to its first NUL byte, as QrnSaxParser::startParser does and returns its status; 0xFE000009,
    /// logged, without a sink. `flag` has no effect.
    std::uint32_t invokeParser(const std::string& input, bool flag, XmlParserInputType type);

    /// Parses the document `xmlText`.
    std::uint32_t parseXml(const std::string& xmlText, bool flag);

    /// Parses the document in the file `path`.
    std::uint32_t parseFile(const std::string& path, bool flag);

private:
    XmlMgr* m_sink;
};
