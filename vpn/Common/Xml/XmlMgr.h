#pragma once

#include <string>

/// The sink of a parse: whoever wants a document's content implements it and hands itself to an XmlParser. The strings
/// live only for the call; text and attribute values are wiped behind it. A failed parse has delivered whatever stood
/// before the failure. All calls of one parse come on the thread that runs it.
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
};
