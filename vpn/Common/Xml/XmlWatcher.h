#pragma once

#include <string_view>

/// Sees what a parse gives to its sink as libxml2 has it, before it is trimmed: for who looks for faults in a document.
/// The texts live only for the call.
class XmlWatcher
{
public:
    virtual ~XmlWatcher();

    /// A run of character data, which the sink gets next. `isFromEntity` says that it comes out of an entity that the
    /// document declares.
    virtual void seeText(std::string_view run, bool isFromEntity) = 0;

    /// An attribute that the sink has just been given.
    virtual void seeAttribute(std::string_view name, std::string_view value) = 0;
};
