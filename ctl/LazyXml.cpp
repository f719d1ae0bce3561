// libxml2, loaded when the first manifest is parsed; see LazyLibrary.h. It brings ICU along.

#include "ctl/LazyLibrary.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>

namespace {

template <typename Function> Function* xmlFunction(const char* name, Function* likeness)
{
    return ctl::lazyFunction(OBG_LIBXML, name, likeness);
}

} // namespace

extern "C" {

xmlParserCtxtPtr xmlCreateFileParserCtxt(const char* filename)
{
    static const auto function = xmlFunction("xmlCreateFileParserCtxt", &xmlCreateFileParserCtxt);
    return function(filename);
}

xmlParserCtxtPtr xmlCreateMemoryParserCtxt(const char* buffer, int size)
{
    static const auto function = xmlFunction("xmlCreateMemoryParserCtxt", &xmlCreateMemoryParserCtxt);
    return function(buffer, size);
}

void xmlFreeParserCtxt(xmlParserCtxtPtr context)
{
    static const auto function = xmlFunction("xmlFreeParserCtxt", &xmlFreeParserCtxt);
    function(context);
}

void xmlFreeDoc(xmlDocPtr document)
{
    static const auto function = xmlFunction("xmlFreeDoc", &xmlFreeDoc);
    function(document);
}

int xmlParseDocument(xmlParserCtxtPtr context)
{
    static const auto function = xmlFunction("xmlParseDocument", &xmlParseDocument);
    return function(context);
}

void xmlStopParser(xmlParserCtxtPtr context)
{
    static const auto function = xmlFunction("xmlStopParser", &xmlStopParser);
    function(context);
}

#if LIBXML_VERSION >= 21500
int xmlCtxtGetInputPosition(xmlParserCtxtPtr context, int index, const char** name, int* line, int* column,
                            unsigned long* offset)
{
    static const auto function = xmlFunction("xmlCtxtGetInputPosition", &xmlCtxtGetInputPosition);
    return function(context, index, name, line, column, offset);
}
#endif

int xmlSAX2GetLineNumber(void* context)
{
    static const auto function = xmlFunction("xmlSAX2GetLineNumber", &xmlSAX2GetLineNumber);
    return function(context);
}

xmlEntityPtr xmlSAX2GetEntity(void* context, const xmlChar* name)
{
    static const auto function = xmlFunction("xmlSAX2GetEntity", &xmlSAX2GetEntity);
    return function(context, name);
}
}
