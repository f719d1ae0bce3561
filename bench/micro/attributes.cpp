#include "vpn/Common/Xml/NVAttributes.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

/// Sets of 1, 8 (what a file entry has) and 64 attributes.
void overCounts(benchmark::internal::Benchmark* benchmark)
{
    benchmark->RangeMultiplier(8)->Range(1, 64);
}

std::vector<std::string> names(const benchmark::State& state)
{
    std::vector<std::string> all;
    for (long i = 0; i < state.range(0); ++i) {
        all.push_back("attribute-" + std::to_string(i * 37 % 64));
    }
    return all;
}

void addAll(NVAttributes& attributes, const std::vector<std::string>& all)
{
    for (const std::string& name : all) {
        attributes.addNVPair(name, "VPN-posture-plugins-component");
    }
}

void NVAttributes_fill(benchmark::State& state)
{
    const std::vector<std::string> all = names(state);
    for (auto _ : state) {
        NVAttributes attributes;
        addAll(attributes, all);
        benchmark::DoNotOptimize(&attributes);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(NVAttributes_fill)->Apply(overCounts);

void NVAttributes_getAttributeValue(benchmark::State& state)
{
    const std::vector<std::string> all = names(state);
    NVAttributes attributes;
    addAll(attributes, all);
    for (auto _ : state) {
        for (const std::string& name : all) {
            benchmark::DoNotOptimize(attributes.getAttributeValue(name));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(NVAttributes_getAttributeValue)->Apply(overCounts);

void NVAttributes_copy(benchmark::State& state)
{
    NVAttributes attributes;
    addAll(attributes, names(state));
    for (auto _ : state) {
        NVAttributes copy = attributes;
        benchmark::DoNotOptimize(&copy);
    }
}
BENCHMARK(NVAttributes_copy)->Apply(overCounts);

void NVAttributes_compare(benchmark::State& state)
{
    NVAttributes attributes;
    addAll(attributes, names(state));
    const NVAttributes copy = attributes;
    for (auto _ : state) {
        benchmark::DoNotOptimize(attributes == copy);
    }
}
BENCHMARK(NVAttributes_compare)->Apply(overCounts);

} // namespace
