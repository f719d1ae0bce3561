#include "vpn/Common/Utility/WipingAllocator.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/WatchedHeap.h"

namespace {

using obg::test::HeapEvent;
using obg::test::WatchedHeap;

/** True when some block was given back, and every one of them as zeros. */
bool isWiped(const std::vector<HeapEvent>& events)
{
    bool any = false;
    for (const HeapEvent& event : events) {
        if (event.kind == HeapEvent::Kind::Delete) {
            any = true;
            if (!event.zeroed) {
                return false;
            }
        }
    }
    return any;
}

TEST(WipingAllocator, wipesABlockThatIsGivenBack)
{
    const WatchedHeap heap;
    {
        const WipedText text(100, 'x');
    }
    EXPECT_TRUE(isWiped(heap.events()));
}

TEST(WipingAllocator, wipesWhatLiesBehindTheLastElementToo)
{
    const WatchedHeap heap;
    {
        WipedText text(100, 'x');
        text.resize(1);
    }
    EXPECT_TRUE(isWiped(heap.events()));
}

TEST(WipingAllocator, wipesTheBlockThatAGrowingContainerLeaves)
{
    WipedText text;
    const WatchedHeap heap;
    for (int i = 0; i < 100; ++i) {
        text.push_back('x');
    }
    EXPECT_TRUE(isWiped(heap.events()));
}

TEST(WipingAllocator, wipesShortStringsInTheElementsOfAVector)
{
    const WatchedHeap heap;
    {
        std::vector<std::string, WipingAllocator<std::string>> texts;
        for (int i = 0; i < 20; ++i) {
            texts.emplace_back("short");
        }
        texts.pop_back();
    }
    EXPECT_TRUE(isWiped(heap.events()));
}

TEST(WipingAllocator, wipesTheBlockOfALongString)
{
    const WatchedHeap heap;
    {
        WipedString text(100, 'x');
        text = "short";
    }
    EXPECT_TRUE(isWiped(heap.events()));
}

TEST(WipingAllocator, aCopyHasItsOwnBlock)
{
    WipedText text(100, 'x');
    WipedText copy = text;
    text[0] = 'y';
    EXPECT_EQ(copy[0], 'x');
    const WipedText moved = std::move(copy);
    EXPECT_EQ(moved.size(), 100U);
}

} // namespace
