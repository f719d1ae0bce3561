// NAME_fuzz FOLDER   runs a fuzz target without libFuzzer, on every file of the folder and on each of them cut short at
// every byte, so that the seeds are ordinary tests under any compiler. A seed that fails ends the process.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
// Only targets that need a private machine have one.
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

void runCutAtEveryByte(const std::filesystem::path& seed)
{
    std::ifstream file(seed, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        // In a block of exactly that size, so that a sanitizer sees a read behind it.
        const auto cut = std::make_unique<std::uint8_t[]>(size);
        std::copy_n(bytes.begin(), size, cut.get());
        LLVMFuzzerTestOneInput(cut.get(), size);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 || !std::filesystem::is_directory(argv[1])) {
        std::fprintf(stderr, "usage: %s FOLDER-OF-SEEDS\n", argv[0]);
        return EXIT_FAILURE;
    }
    const std::filesystem::directory_iterator folder(argv[1]);
    const std::set<std::filesystem::path> seeds(begin(folder), end(folder));
    if (LLVMFuzzerInitialize != nullptr) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    for (const std::filesystem::path& seed : seeds) {
        std::fprintf(stderr, "%s\n", seed.filename().c_str());
        runCutAtEveryByte(seed);
    }
    return seeds.empty() ? EXIT_FAILURE : EXIT_SUCCESS;
}
