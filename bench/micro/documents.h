#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>

/// A manifest with that many elements, the root included: file entries of five attributes with a URI and a sum.
std::string manifestWithElements(std::size_t count);

/// The id of the entry at that place of a manifest or a store.
std::string entryId(std::size_t number);

/// Runs a benchmark at 10 to 100,000 elements or entries.
void overSizes(benchmark::internal::Benchmark* benchmark);
