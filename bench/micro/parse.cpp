#include "bench/micro/documents.h"
#include "vpn/Api/xml/XmlIfcMgr.h"
#include "vpn/Common/Xml/XmlHierarchicalMgr.h"
#include "vpn/Common/Xml/XmlParser.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

void Parse_into_flat_list(benchmark::State& state)
{
    const std::string text = manifestWithElements(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        XmlIfcMgr elements;
        if (XmlParser(&elements).parseXml(text, false) != 0) {
            state.SkipWithError("the document was not parsed");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Parse_into_flat_list)->Apply(overSizes)->Unit(benchmark::kMicrosecond);

void Parse_into_tree(benchmark::State& state)
{
    const std::string text = manifestWithElements(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        long status = -1;
        const XmlHierarchicalMgr tree(status, text, false, true);
        if (status != 0) {
            state.SkipWithError("the document was not parsed");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Parse_into_tree)->Apply(overSizes)->Unit(benchmark::kMicrosecond);

} // namespace
