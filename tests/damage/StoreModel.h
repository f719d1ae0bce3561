#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace obg::test {

struct ModelEntry
{
    std::uint32_t type;
    std::string version;
    std::string fileId;

    bool operator==(const ModelEntry&) const = default;
};

/** One log record of the store: its importance ('E', 'W') and its text. */
struct ModelRecord
{
    char importance;
    std::string text;
};

/** What must come of loading a store: its entries, in order, and what is logged. */
struct ModelStore
{
    std::vector<ModelEntry> entries;
    std::vector<ModelRecord> logged;
};

/** What lies behind the last byte of the store: nothing, or a place where reading fails with EIO. */
enum class Behind
{
    EndOfFile,
    BadSector
};

/**
 * The format's description as a program of its own, which shares nothing with the one under test: it walks over the
 * whole bytes with an offset, knows no stream and no buffer, and takes its types from a table.
 */
ModelStore modelLoad(std::string_view bytes, Behind behind = Behind::EndOfFile);

/** What must come of writing a store: the file's bytes, and what is logged. */
struct ModelFile
{
    std::string bytes;
    std::vector<ModelRecord> logged;
};

/** All these entries are of kept types. One with an empty text is written as far as that. */
ModelFile modelWrite(const std::vector<ModelEntry>& entries);

} // namespace obg::test
