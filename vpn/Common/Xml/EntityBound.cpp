#include "vpn/Common/Xml/EntityBound.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <initializer_list>

#if LIBXML_VERSION < 21100

namespace {

constexpr std::size_t kReferenceCost = 20;
constexpr std::size_t kAllowedExpansion = 1'000'000;
constexpr std::size_t kAllowedFactor = 5;

/// The bound of the innermost parse on this thread. libxml2 has no place for it that reaches the callback: inside an
/// entity it makes a context of its own.
thread_local EntityBound* s_current = nullptr;

} // namespace

EntityBound::EntityBound(_xmlParserCtxt* document) : m_document(document), m_outer(s_current)
{
    s_current = this;
    document->sax->getEntity = getEntity;
}

EntityBound::~EntityBound()
{
    s_current = m_outer;
}

/// libxml2's own look-up, which looks nothing up in a document that is not well-formed. Only in the content and in the
/// value of an attribute is it for a reference; in a second declaration of an entity, for one, it is merely curious.
xmlEntityPtr EntityBound::getEntity(void* ctx, const xmlChar* name)
{
    auto* context = static_cast<xmlParserCtxtPtr>(ctx);
    if (context->wellFormed != 1) {
        return nullptr;
    }
    xmlEntityPtr entity = xmlSAX2GetEntity(ctx, name);
    const bool isReference = context->instate == XML_PARSER_CONTENT || context->instate == XML_PARSER_ATTRIBUTE_VALUE;
    if (entity == nullptr || !isReference || s_current == nullptr) {
        return entity;
    }
    const std::size_t length = entity->length > 0 ? static_cast<std::size_t>(entity->length) : 0;
    if (s_current->admits(length)) {
        return entity;
    }
    s_current->stop(context);
    return nullptr;
}

bool EntityBound::admits(std::size_t length)
{
    m_expanded += length + kReferenceCost;
    if (m_expanded <= kAllowedExpansion) {
        return true;
    }
    const xmlParserInput* input = m_document->input;
    const std::size_t read = input->consumed + static_cast<std::size_t>(input->cur - input->base);
    return m_expanded / kAllowedFactor <= read;
}

/// Ends the parse of the document and of the entity in it, with one complaint: libxml2 would have more, of the tag that
/// it was stopped in. Between the two there may be further contexts with the same handler, each of which would go on to
/// its next reference and comes here again.
void EntityBound::stop(xmlParserCtxtPtr context)
{
    if (context->sax->error != nullptr) {
        context->sax->error(context, "%s", "Entities expand to far more than was read: parse stopped\n");
        context->sax->error = nullptr;
    }
    for (xmlParserCtxtPtr stopped : {m_document, context}) {
        xmlStopParser(stopped);
        // What is stopped counts as well-formed otherwise.
        stopped->wellFormed = 0;
    }
}

#endif
