#pragma once

#include <cstddef>
#include <string_view>

namespace obg::test {

/**
 * While one lives, whatever operator delete gets is kept as it is, and can be searched. Programs that link this
 * library have its operators new and delete; what libxml2 allocates itself, it takes from malloc and is not
 * seen here. Only one object at a time.
 */
class KeptMemory
{
public:
    KeptMemory();
    ~KeptMemory();
    KeptMemory(const KeptMemory&) = delete;
    KeptMemory& operator=(const KeptMemory&) = delete;

    /** How many of the blocks given back since then hold these bytes. Stops the keeping of further ones. */
    std::size_t blocksWith(std::string_view bytes);

    /** How many blocks were given back. */
    std::size_t blocks() const;
};

} // namespace obg::test
