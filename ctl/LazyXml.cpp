// libxml2, loaded when the first manifest is parsed; see LazyLibrary.h. It brings ICU along.

#include "ctl/LazyLibrary.h"

#include <libxml/SAX2.h>
#include <libxml/encoding.h>
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

#if LIBXML_VERSION < 21400
xmlBufferPtr xmlBufferCreate(void)
{
    static const auto function = xmlFunction("xmlBufferCreate", &xmlBufferCreate);
    return function();
}

void xmlBufferFree(xmlBufferPtr buffer)
{
    static const auto function = xmlFunction("xmlBufferFree", &xmlBufferFree);
    function(buffer);
}

int xmlBufferAdd(xmlBufferPtr buffer, const xmlChar* text, int size)
{
    static const auto function = xmlFunction("xmlBufferAdd", &xmlBufferAdd);
    return function(buffer, text, size);
}

int xmlBufferLength(const xmlBuffer* buffer)
{
    static const auto function = xmlFunction("xmlBufferLength", &xmlBufferLength);
    return function(buffer);
}

int xmlCharEncOutFunc(xmlCharEncodingHandler* encoder, xmlBufferPtr encoded, xmlBufferPtr decoded)
{
    static const auto function = xmlFunction("xmlCharEncOutFunc", &xmlCharEncOutFunc);
    return function(encoder, encoded, decoded);
}
#else
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
long xmlByteConsumed(xmlParserCtxtPtr context)
{
    static const auto function = xmlFunction("xmlByteConsumed", &xmlByteConsumed);
    return function(context);
}
#pragma GCC diagnostic pop
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
