#include "fuzz/support/QuietXml.h"

#include <libxml/xmlerror.h>

namespace obg::test {

namespace {

void discard(void* /*context*/, const char* /*format*/, ...) {}

} // namespace

void silenceXml()
{
    xmlSetGenericErrorFunc(nullptr, discard);
}

} // namespace obg::test
