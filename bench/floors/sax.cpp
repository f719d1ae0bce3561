// The floor "sax": what libxml2 alone costs for a manifest. Takes the tool's arguments; only the third counts.

#include "bench/floors/sax_parse.h"
#include "bench/floors/whole_file.h"

namespace {

void ignoreStartElement(void*, const xmlChar*, const xmlChar**) {}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        return 2;
    }
    const WholeFile manifest = readWholeFile(argv[3]);
    return manifest.bytes && parseWithSax1(manifest, ignoreStartElement, nullptr) ? 0 : 4;
}
