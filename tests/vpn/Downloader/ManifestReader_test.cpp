#include "vpn/Downloader/ManifestReader.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/Files.h"
#include "tests/support/WatchedHeap.h"
#include "vpn/Downloader/ManifestInfo.h"

// What a manifest is in memory while it is read. What is read of it, ManifestInfo_test holds.

namespace {

using obg::test::HeapEvent;
using obg::test::ScratchFolder;
using obg::test::WatchedHeap;

constexpr std::size_t kEntries = 1000;

/** A manifest of that many entries, whose texts all lie inside their strings. */
std::string manyEntries()
{
    std::string text = "<vpn rev='1.0'>";
    for (std::size_t i = 0; i < kEntries; ++i) {
        text += "<file type='exe'><uri>setup</uri></file>";
    }
    return text + "</vpn>";
}

/** The most bytes that were in use at once. */
std::size_t peakOf(const std::vector<HeapEvent>& events)
{
    std::size_t now = 0;
    std::size_t most = 0;
    for (const HeapEvent& event : events) {
        now = event.kind == HeapEvent::Kind::New ? now + event.size : now - event.size;
        most = std::max(most, now);
    }
    return most;
}

TEST(ManifestReader, holdsTheEntriesButNotTheElementsOfTheDocument)
{
    const std::string text = manyEntries();
    WatchedHeap heap;
    bool ok = false;
    const CManifestInfo info(ok, text, false, false);
    const std::vector<HeapEvent> events = heap.events();
    ASSERT_TRUE(ok);
    ASSERT_EQ(info.getFileList().size(), kEntries);
    // The elements of an entry would come to some 750 bytes more.
    EXPECT_LT(peakOf(events), kEntries * (sizeof(ManifestFileInfo) + 100));
}

TEST(ManifestReader, givesTheTextOfAFileBackBeforeItMakesTheFirstEntry)
{
    const std::string text = "<!--" + std::string(10'000, 'x') + "-->" + manyEntries();
    const ScratchFolder folder;
    const std::string path = folder.write("a.xml", text);
    WatchedHeap heap;
    bool ok = false;
    const CManifestInfo info(ok, path);
    const std::vector<HeapEvent> events = heap.events();
    ASSERT_TRUE(ok);
    const auto released = std::find_if(events.begin(), events.end(), [&](const HeapEvent& event) {
        return event.kind == HeapEvent::Kind::Delete && event.size > text.size();
    });
    const auto firstEntry = std::find_if(events.begin(), events.end(), [](const HeapEvent& event) {
        return event.kind == HeapEvent::Kind::New && event.size == sizeof(ManifestFileInfo);
    });
    ASSERT_NE(released, events.end());
    ASSERT_NE(firstEntry, events.end());
    EXPECT_LT(released, firstEntry);
}

} // namespace
