#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fuzz/support/StoreWalkClaims.h"
#include "tests/support/Bytes.h"

// What `check` makes of damaged stores, held against what the tool loads. A claim that does not hold ends the program
// and names itself.

namespace obg::test {

namespace {

/** Three records of kinds that are kept, one that is dropped, one id twice. */
std::string wholeStore()
{
    return storeHeader() + storeRecord(2, "5.1.2.42", "VPNCore") + storeRecord(5, "1", "profile") +
           storeRecord(17, "5.1.2.42-1", "VPNCore-rpm") + storeRecord(4, "2.3", "VPNAgent") +
           storeRecord(2, "5.1.4.74", "VPNCore");
}

TEST(StoreWalk, agreesWithTheToolOnAStoreCutAtEveryByte)
{
    const std::string whole = wholeStore();
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        requireStoreWalkClaims(whole.substr(0, size));
    }
}

TEST(StoreWalk, agreesWithTheToolOnAStoreWithAnyBitFlipped)
{
    const std::string whole = wholeStore();
    for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        std::string damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        requireStoreWalkClaims(damaged);
    }
}

TEST(StoreWalk, agreesWithTheToolOnHostileNumbersAtEveryOffset)
{
    constexpr std::array<std::uint32_t, 12> numbers{0,  1,  2,          3,          5,          17,
                                                    18, 19, 0x0000FFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    const std::string whole = wholeStore();
    for (std::size_t offset = 0; offset + 4 <= whole.size(); ++offset) {
        for (const std::uint32_t hostile : numbers) {
            std::string damaged = whole;
            damaged.replace(offset, 4, u32le(hostile));
            requireStoreWalkClaims(damaged);
        }
    }
}

/** Stores of a few records with one to four bytes, numbers or pieces changed, left out or put in. */
class Damage
{
public:
    std::string next()
    {
        std::string store = storeHeader();
        for (std::uint32_t count = below(4); count > 0; --count) {
            store += storeRecord(m_types[below(m_types.size())], word(), word());
        }
        for (std::uint32_t count = below(5); count > 0; --count) {
            change(store);
        }
        return store;
    }

private:
    std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(m_random() % limit); }

    std::string word() { return std::string(below(4), static_cast<char>('a' + below(3))); }

    void change(std::string& store)
    {
        const std::size_t offset = below(store.size() + 1);
        switch (below(4)) {
        case 0:
            store.resize(offset);
            break;
        case 1:
            store.insert(offset, u32le(below(20)).substr(0, 1 + below(4)));
            break;
        case 2:
            store.erase(offset, 1 + below(5));
            break;
        default:
            if (offset < store.size()) {
                store[offset] = static_cast<char>(below(2) == 0 ? below(20) : below(256));
            }
        }
    }

    std::mt19937 m_random{20261121};
    const std::vector<std::uint32_t> m_types{1, 2, 3, 4, 5, 8, 9, 10, 11, 13, 17, 18, 0, 6};
};

TEST(StoreWalk, loadsWhatTheToolLoadsFromAMillionDamagedStores)
{
    Damage damage;
    for (int count = 0; count < 1'000'000; ++count) {
        requireSameStore(damage.next());
    }
}

TEST(StoreWalk, findsWhatTheToolMakesOfTenThousandDamagedStores)
{
    Damage damage;
    for (int count = 0; count < 10'000; ++count) {
        requireStoreWalkClaims(damage.next());
    }
}

} // namespace

} // namespace obg::test
