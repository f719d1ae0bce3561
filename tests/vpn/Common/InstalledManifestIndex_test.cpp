#include "vpn/Common/InstalledManifestIndex.h"

#include <algorithm>
#include <list>
#include <random>
#include <string>
#include <utility>

#include <gmock/gmock.h>

namespace obg::test {

namespace {

using Index = CInstalledManifestIndex;
using Entries = Index::Entries;

/** A list of entries and an index that is held in step with it. */
class InstalledManifestIndex : public ::testing::Test
{
protected:
    Entries::iterator add(const std::string& fileId)
    {
        Entries::iterator& place = m_index.place(fileId);
        EXPECT_EQ(place, m_entries.end());
        return place = m_entries.insert(m_entries.end(), {fileId, eFileTypeExe, "1"});
    }

    Entries m_entries;
    Index m_index{m_entries};
};

TEST_F(InstalledManifestIndex, ofNothingFindsNothing)
{
    EXPECT_EQ(m_index.find("core"), m_entries.end());
    EXPECT_EQ(m_index.find(""), m_entries.end());
    EXPECT_EQ(m_index.take("core"), m_entries.end());
}

TEST_F(InstalledManifestIndex, findsWhatWasPutThere)
{
    const auto core = add("core");
    const auto empty = add("");
    EXPECT_EQ(m_index.find("core"), core);
    EXPECT_EQ(m_index.place("core"), core);
    EXPECT_EQ(m_index.find(""), empty);
    EXPECT_EQ(m_index.find("Core"), m_entries.end());
}

TEST_F(InstalledManifestIndex, takesAnEntryOnce)
{
    const auto core = add("core");
    EXPECT_EQ(m_index.take("core"), core);
    EXPECT_EQ(m_index.find("core"), m_entries.end());
    EXPECT_EQ(m_index.take("core"), m_entries.end());
}

TEST_F(InstalledManifestIndex, keepsItsEntriesWhenItGrows)
{
    std::list<std::pair<std::string, Entries::iterator>> added;
    for (int i = 0; i < 1000; ++i) {
        added.emplace_back(std::to_string(i), add(std::to_string(i)));
        for (const auto& [fileId, entry] : added) {
            ASSERT_EQ(m_index.find(fileId), entry) << fileId << " behind " << i;
        }
        m_index.reserve(static_cast<std::size_t>(i));
    }
}

// Entries that stand in the way of one another move up when one of them goes; one that could no longer be found shows
// at once in a table as full as it gets.
TEST_F(InstalledManifestIndex, agreesWithTheListThroughRandomChanges)
{
    std::minstd_rand draw(1);
    for (int step = 0; step < 200000; ++step) {
        const std::string fileId = std::to_string(draw() % 40);
        const auto known =
            std::find_if(m_entries.begin(), m_entries.end(), InstalledManifestEntry::FileIdEquals(fileId));
        ASSERT_EQ(m_index.find(fileId), known) << step;
        if (known == m_entries.end()) {
            add(fileId);
        } else if (draw() % 2 == 0) {
            ASSERT_EQ(m_index.take(fileId), known) << step;
            m_entries.erase(known);
        }
    }
}

} // namespace

} // namespace obg::test
