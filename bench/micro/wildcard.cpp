#include "vpn/Common/Utility/StringUtils.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

void compareWithWildStr_suffix(benchmark::State& state)
{
    const std::string text = std::string(static_cast<std::size_t>(state.range(0)), 'a') + ".orvanta.example";
    for (auto _ : state) {
        benchmark::DoNotOptimize(CStringUtils::compareWithWildStr(text, "*.orvanta.example"));
    }
}
BENCHMARK(compareWithWildStr_suffix)->RangeMultiplier(8)->Range(8, 4096);

/// Every `*` finds many places that almost fit.
void compareWithWildStr_manyStars(benchmark::State& state)
{
    const std::string text(static_cast<std::size_t>(state.range(0)), 'a');
    for (auto _ : state) {
        benchmark::DoNotOptimize(CStringUtils::compareWithWildStr(text, "a*a*a*a*a*b"));
    }
}
BENCHMARK(compareWithWildStr_manyStars)->RangeMultiplier(8)->Range(8, 4096);

} // namespace
