// Started by script/bench --micro, which lays an empty file system over /opt: the store's benchmarks write to the
// install root.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <linux/magic.h>
#include <sys/vfs.h>

namespace {

bool isPrivate(const char* path)
{
    struct statfs info = {};
    return statfs(path, &info) == 0 && info.f_type == TMPFS_MAGIC;
}

} // namespace

int main(int argc, char** argv)
{
    if (!isPrivate("/opt")) {
        std::fputs("obg_bench: /opt is the machine's own; start script/bench --micro\n", stderr);
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
