#include "bench/floors/sax_parse.h"

#include "bench/floors/whole_file.h"

#include <libxml/parserInternals.h>

namespace {

void ignoreEndElement(void*, const xmlChar*) {}
void ignoreCharacters(void*, const xmlChar*, int) {}
void ignoreError(void*, const char*, ...) {}

} // namespace

bool parseWithSax1(const WholeFile& document, startElementSAXFunc onStartElement, void* user)
{
    xmlParserCtxtPtr context = xmlCreateMemoryParserCtxt(document.bytes.get(), static_cast<int>(document.size));
    if (context == nullptr) {
        return false;
    }
    xmlSAXHandler handler = {}; // `initialized` stays 0: attributes arrive as name/value pairs
    handler.startElement = onStartElement;
    handler.endElement = ignoreEndElement;
    handler.characters = ignoreCharacters;
    handler.error = ignoreError;

    context->_private = user;
    xmlSAXHandler* own = context->sax;
    context->sax = &handler;
    const bool wellFormed = xmlParseDocument(context) == 0;
    context->sax = own;
    xmlFreeParserCtxt(context);
    return wellFormed;
}
