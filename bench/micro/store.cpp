#include "bench/micro/documents.h"
#include "vpn/Common/InstallRoots.h"
#include "vpn/Common/InstalledManifestInfo.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

using Ids = std::vector<std::string>;

constexpr std::size_t kLookups = 1024;
const std::string kVersion = "5.1.4.74";

void fill(CInstalledManifestInfo& store, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        store.AddInstalledEntry(entryId(i), eFileTypeExe, kVersion);
    }
}

/// Ids all over a store, in an order that no cache foresees.
Ids scatteredIds(std::size_t count)
{
    std::minstd_rand draw;
    std::uniform_int_distribution<std::size_t> anywhere(0, count - 1);
    Ids ids;
    for (std::size_t i = 0; i < kLookups; ++i) {
        ids.push_back(entryId(anywhere(draw)));
    }
    return ids;
}

class StoreOfSize
{
public:
    explicit StoreOfSize(const benchmark::State& state)
        : m_ids(scatteredIds(static_cast<std::size_t>(state.range(0)))), m_store(eCurrentDataPath)
    {
        fill(m_store, static_cast<std::size_t>(state.range(0)));
    }

    CInstalledManifestInfo& store() { return m_store; }
    const std::string& nextId() { return m_ids[m_next++ % kLookups]; }

private:
    Ids m_ids;
    std::size_t m_next = 0;
    CInstalledManifestInfo m_store;
};

void AddInstalledEntry_known(benchmark::State& state)
{
    StoreOfSize filled(state);
    for (auto _ : state) {
        filled.store().AddInstalledEntry(filled.nextId(), eFileTypeExe, kVersion);
    }
}
BENCHMARK(AddInstalledEntry_known)->Apply(overSizes);

void AddInstalledEntry_new_and_RemoveInstalledEntry(benchmark::State& state)
{
    StoreOfSize filled(state);
    const std::string id = entryId(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        filled.store().AddInstalledEntry(id, eFileTypeExe, kVersion);
        filled.store().RemoveInstalledEntry(id);
    }
}
BENCHMARK(AddInstalledEntry_new_and_RemoveInstalledEntry)->Apply(overSizes);

void GetInstalledVersion(benchmark::State& state)
{
    StoreOfSize filled(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(filled.store().GetInstalledVersion(filled.nextId()));
    }
}
BENCHMARK(GetInstalledVersion)->Apply(overSizes);

/// Makes the install root, so that a store can be written, and takes it away with all it holds.
class WritableRoot
{
public:
    WritableRoot() { std::filesystem::create_directories(InstallRoot::Current); }
    ~WritableRoot() { std::filesystem::remove_all(InstallRoot::Current); }
    WritableRoot(const WritableRoot&) = delete;
    WritableRoot& operator=(const WritableRoot&) = delete;
};

void Store_load(benchmark::State& state)
{
    const WritableRoot root;
    StoreOfSize(state).store().WriteFile();
    for (auto _ : state) {
        const CInstalledManifestInfo store(eCurrentDataPath);
        benchmark::DoNotOptimize(&store);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Store_load)->Apply(overSizes)->Unit(benchmark::kMicrosecond);

void Store_write(benchmark::State& state)
{
    const WritableRoot root;
    StoreOfSize filled(state);
    for (auto _ : state) {
        if (filled.store().WriteFile() != 0) {
            state.SkipWithError("the store could not be written");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Store_write)->Apply(overSizes)->Unit(benchmark::kMicrosecond);

} // namespace
