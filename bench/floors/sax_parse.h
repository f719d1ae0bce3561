#pragma once

#include <libxml/parser.h>

struct WholeFile;

// Parses a document that is held in memory with the given SAX1 start-element handler; the other handlers are empty.
// True when the document is well formed. `user` reaches the handler as its context's _private.
bool parseWithSax1(const WholeFile& document, startElementSAXFunc onStartElement, void* user);
