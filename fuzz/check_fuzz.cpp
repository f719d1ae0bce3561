// What `obg_manifestctl check` says of a store's bytes, held against what the tool loads from them.
// Input: the bytes of the store's file.

#include "fuzz/support/StoreWalkClaims.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    obg::test::requireStoreWalkClaims(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
