#pragma once

#include <cstddef>
#include <memory>

struct WholeFile
{
    std::unique_ptr<char[]> bytes; // null when the file could not be read
    std::size_t size = 0;
};

// Reads a file in one go into memory that is not zeroed first.
WholeFile readWholeFile(const char* path);
