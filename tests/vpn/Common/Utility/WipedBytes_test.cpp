#include "vpn/Common/Utility/WipedBytes.h"

#include <array>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/WatchedHeap.h"

namespace {

using obg::test::HeapEvent;
using obg::test::WatchedHeap;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kSecret = "a secret that fits into no short string";

MATCHER_P(IsNew, size, "")
{
    return arg.kind == HeapEvent::Kind::New && arg.size == static_cast<std::size_t>(size);
}

MATCHER_P(IsDeleteOfZeros, size, "")
{
    return arg.kind == HeapEvent::Kind::Delete && arg.size == static_cast<std::size_t>(size) && arg.zeroed;
}

static_assert(std::is_nothrow_destructible_v<WipedBytes>);
static_assert(std::is_nothrow_move_constructible_v<WipedBytes>);

TEST(WatchedHeap, seesBytesThatWereNotWiped)
{
    // Were this not seen, the tests below would say nothing.
    WatchedHeap heap;
    const std::string filled(64, 'x');
    delete new std::string(filled);
    bool foundUnwiped = false;
    for (const HeapEvent& event : heap.events()) {
        foundUnwiped = foundUnwiped || (event.kind == HeapEvent::Kind::Delete && !event.zeroed);
    }
    EXPECT_TRUE(foundUnwiped);
}

TEST(wipeMemory, zeroesABlockThatIsAboutToBeGivenBack)
{
    const WatchedHeap heap;
    char* block = new char[64];
    std::memcpy(block, kSecret.data(), kSecret.size());
    wipeMemory(block, 64);
    delete[] block;
    EXPECT_THAT(heap.events(), ElementsAre(IsNew(64), IsDeleteOfZeros(64)));
}

TEST(wipeMemory, zeroesTheGivenBytesAndNoOther)
{
    std::string bytes = "abcdef";
    wipeMemory(bytes.data() + 1, 3);
    EXPECT_EQ(bytes, std::string("a\0\0\0ef", 6));
    wipeMemory(bytes.data(), 0);
    EXPECT_EQ(bytes, std::string("a\0\0\0ef", 6));
}

TEST(WipedBytes, beginEmptyAndWithoutABlock)
{
    const WatchedHeap heap;
    const WipedBytes bytes;
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(bytes.size(), 0U);
    EXPECT_EQ(bytes.view(), "");
    EXPECT_THAT(heap.events(), IsEmpty());
}

TEST(WipedBytes, holdWhatIsAppended)
{
    WipedBytes bytes("one");
    bytes.append("");
    bytes.append(std::string_view(" \0two", 5));
    EXPECT_EQ(bytes.view(), std::string_view("one \0two", 8));
    EXPECT_EQ(bytes.size(), 8U);
    EXPECT_FALSE(bytes.empty());
    EXPECT_EQ(bytes.data(), std::as_const(bytes).data());
}

TEST(WipedBytes, extendGivesThePlaceOfTheNewBytes)
{
    WipedBytes bytes("ab");
    char* place = bytes.extend(2);
    place[0] = 'c';
    place[1] = 'd';
    EXPECT_EQ(place, bytes.data() + 2);
    EXPECT_EQ(bytes.view(), "abcd");
}

TEST(WipedBytes, theFirstBlockFitsExactlyAndLaterOnesDouble)
{
    const WatchedHeap heap;
    {
        WipedBytes bytes(kSecret);
        bytes.append("x");
        bytes.append(std::string_view(kSecret).substr(1));
        bytes.append("y");
    }
    const std::size_t size = kSecret.size();
    EXPECT_THAT(heap.events(), ElementsAre(IsNew(size), IsNew(2 * size), IsDeleteOfZeros(size), IsNew(4 * size),
                                           IsDeleteOfZeros(2 * size), IsDeleteOfZeros(4 * size)));
}

TEST(WipedBytes, aBlockIsWipedBeforeItGoesBackAndAfterItWasCopied)
{
    WatchedHeap heap;
    WipedBytes bytes(kSecret);
    heap.watch(bytes.data());
    bytes.append("x");
    const std::vector<HeapEvent> events = heap.events();
    ASSERT_EQ(events.size(), 3U);
    EXPECT_FALSE(events[1].watchedBlockZeroed);
    EXPECT_TRUE(events[2].watchedBlockZeroed);
    EXPECT_EQ(bytes.view(), kSecret + "x");
}

TEST(WipedBytes, reserveMakesRoomForLaterBytes)
{
    const WatchedHeap heap;
    {
        WipedBytes bytes("ab");
        bytes.reserve(100);
        bytes.reserve(50);
        bytes.append(std::string_view("0123456789"));
        bytes.extend(88);
        bytes.reserve(100);
    }
    EXPECT_THAT(heap.events(), ElementsAre(IsNew(2), IsNew(100), IsDeleteOfZeros(2), IsDeleteOfZeros(100)));
}

TEST(WipedBytes, aBlockIsWipedToItsCapacity)
{
    const WatchedHeap heap;
    {
        WipedBytes bytes;
        bytes.reserve(100);
        std::memcpy(bytes.data() + 50, kSecret.data(), kSecret.size());
    }
    EXPECT_THAT(heap.events(), ElementsAre(IsNew(100), IsDeleteOfZeros(100)));
}

TEST(WipedBytes, clearWipesAndReleases)
{
    const WatchedHeap heap;
    WipedBytes bytes(kSecret);
    bytes.clear();
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(bytes.data(), nullptr);
    EXPECT_THAT(heap.events(), ElementsAre(IsNew(kSecret.size()), IsDeleteOfZeros(kSecret.size())));
    bytes.clear();
    bytes.append("again");
    EXPECT_EQ(bytes.view(), "again");
}

TEST(WipedBytes, aCopyHasABlockOfItsOwn)
{
    WipedBytes original(kSecret);
    const WipedBytes copy(original);
    EXPECT_NE(copy.data(), original.data());
    original.data()[0] = 'X';
    original.clear();
    EXPECT_EQ(copy.view(), kSecret);
}

TEST(WipedBytes, aMoveHandsTheBlockOver)
{
    WipedBytes original(kSecret);
    const char* block = original.data();
    const WatchedHeap heap;
    const WipedBytes moved(std::move(original));
    EXPECT_EQ(moved.data(), block);
    EXPECT_EQ(moved.view(), kSecret);
    EXPECT_TRUE(original.empty()); // NOLINT(bugprone-use-after-move)
    EXPECT_THAT(heap.events(), IsEmpty());
}

TEST(WipedBytes, assignmentWipesWhatWasHeld)
{
    WipedBytes bytes(kSecret);
    WipedBytes other("new");
    const WatchedHeap heap;
    bytes = other;
    EXPECT_THAT(heap.events(), ElementsAre(IsNew(3), IsDeleteOfZeros(kSecret.size())));
    EXPECT_EQ(bytes.view(), "new");
    EXPECT_EQ(other.view(), "new");
    bytes = std::move(other);
    EXPECT_EQ(bytes.view(), "new");
}

TEST(WipedBytes, assignmentToItselfChangesNothing)
{
    WipedBytes bytes(kSecret);
    WipedBytes& same = bytes;
    bytes = same;
    EXPECT_EQ(bytes.view(), kSecret);
    bytes = std::move(same);
    EXPECT_EQ(bytes.view(), kSecret);
}

TEST(WipedBytes, swapExchangesTheBlocks)
{
    WipedBytes one("one");
    WipedBytes two(kSecret);
    const WatchedHeap heap;
    one.swap(two);
    EXPECT_EQ(one.view(), kSecret);
    EXPECT_EQ(two.view(), "one");
    EXPECT_THAT(heap.events(), IsEmpty());
}

TEST(WipedBytes, nothingLiesInsideTheObject)
{
    WipedBytes bytes("ab");
    std::array<char, sizeof bytes> object{};
    std::memcpy(object.data(), static_cast<const void*>(&bytes), sizeof bytes);
    const char* end = bytes.data() + bytes.size();
    EXPECT_TRUE(end <= reinterpret_cast<const char*>(&bytes) ||
                bytes.data() >= reinterpret_cast<const char*>(&bytes + 1));
    EXPECT_EQ(std::string_view(object.data(), object.size()).find("ab"), std::string_view::npos);
}

} // namespace
