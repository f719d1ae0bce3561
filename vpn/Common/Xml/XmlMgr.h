#pragma once

#include <string>
#include <string_view>

/// The sink of a parse: whoever wants a document's content implements it and hands itself to an XmlParser. The texts
/// live only for the call. A failed parse has delivered whatever stood before the failure. All calls of one parse come
/// on the thread that runs it.
class XmlMgr
{
public:
    virtual ~XmlMgr();

    /// A start tag was read; `name` is as written, a prefix included.
    virtual void addElement(const std::string& name) = 0;

    /// An end tag, or the end of an empty element, was read.
    virtual void endElement(const std::string& name) = 0;

    /// A run of character data was read, trimmed of white space at its ends. One text may come in several runs, each
    /// trimmed by itself; blank runs come as empty texts.
    virtual void setElementValue(const std::string& value) = 0;

    /// One attribute of the element just started, name and value trimmed.
    virtual void addAttribute(const std::string& name, const std::string& value) = 0;

    /// The parser brings texts and attributes through these two. They hand strings to setElementValue and addAttribute,
    /// and wipe them afterwards; a sink that makes a copy of its own anyway overrides them and is spared that one.
    virtual void deliverText(std::string_view value);
    virtual void deliverAttribute(std::string_view name, std::string_view value);
};
