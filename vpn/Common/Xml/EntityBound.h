#pragma once

#include <cstddef>

// The names are those of libxml2.
struct _xmlEntity;     // NOLINT(bugprone-reserved-identifier)
struct _xmlParserCtxt; // NOLINT(bugprone-reserved-identifier)

/// Stops a document whose entities expand to far more than the document holds, as libxml2 from 2.11 on does by itself;
/// with such a one this class is not there. A small document can name one long entity again and again, and an older
/// libxml2 lets it deliver gigabytes.
///
/// The rule is libxml2's own: each reference, in the content or in an attribute's value, where it is not expanded,
/// counts what its entity holds and 20 bytes more, and the sum may come to 1,000,000 bytes or to five times what was
/// read of the document, whichever is more. A document that refers to no entity is never stopped.
///
/// An object holds for the parse of one document on its own thread; parses may nest.
class EntityBound
{
public:
    /// Hooks into the document's handler, which is set up before and outlives this object.
    explicit EntityBound(_xmlParserCtxt* document);
    ~EntityBound();
    EntityBound(const EntityBound&) = delete;
    EntityBound& operator=(const EntityBound&) = delete;

private:
    static _xmlEntity* getEntity(void* ctx, const unsigned char* name);

    bool admits(std::size_t length);
    void stop(_xmlParserCtxt* context);

    _xmlParserCtxt* m_document;
    std::size_t m_expanded = 0;
    EntityBound* m_outer;
};
