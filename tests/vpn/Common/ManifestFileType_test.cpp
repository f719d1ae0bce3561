#include "vpn/Common/ManifestFileType.h"

#include <map>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace {

using enum Keeping;
using enum ActionRule;

struct Expected
{
    std::string word;
    Keeping keeping;
    ActionRule actionRule;
    unsigned action;
    Demand demand;
    std::string fileName;
};

bool operator==(const Expected& left, const Expected& right)
{
    return std::tie(left.word, left.keeping, left.actionRule, left.action, left.demand, left.fileName) ==
           std::tie(right.word, right.keeping, right.actionRule, right.action, right.demand, right.fileName);
}

// By their numbers in the store: the numbers and what becomes of a record are parts of a file format.
const std::map<unsigned, Expected> kExpected{
    {1, {"msi", Stored, Default, 1, Demand::Nothing, ""}},
    {2, {"exe", Stored, Default, 1, Demand::Nothing, ""}},
    {3, {"l10n", Dropped, Fixed, 2, Demand::HashAndLanguage, "Tessellink.mo"}},
    {4, {"script", Stored, Default, 1, Demand::Nothing, ""}},
    {5, {"profile", Dropped, Fixed, 2, Demand::Hash, ""}},
    {8, {"mst", Dropped, Fixed, 3, Demand::HashAndLanguage, ""}},
    {9, {"transform", Dropped, Fixed, 3, Demand::Hash, ""}},
    {10, {"binary", Dropped, Fixed, 2, Demand::Hash, ""}},
    {11, {"resource", Dropped, Fixed, 2, Demand::Hash, ""}},
    {13, {"dmg", Stored, Default, 1, Demand::Nothing, ""}},
    {17, {"rpm", Stored, Default, 1, Demand::Nothing, ""}},
    {18, {"deb", Stored, Default, 1, Demand::Nothing, ""}},
};

TEST(ManifestFileType, theTableStatesTheFactsOfEachKind)
{
    std::map<unsigned, Expected> kinds;
    for (const FileKind& kind : kFileKinds) {
        kinds[kind.type] = {std::string(kind.word),    kind.keeping, kind.actionRule, kind.action, kind.demand,
                            std::string(kind.fileName)};
    }
    EXPECT_EQ(kinds.size(), kFileKinds.size());
    for (const auto& [number, expected] : kExpected) {
        EXPECT_TRUE(kinds[number] == expected) << expected.word;
    }
    EXPECT_EQ(kinds.size(), kExpected.size());
}

TEST(ManifestFileType, aKindIsFoundByItsNumberAndByItsExactWord)
{
    for (const auto& [number, expected] : kExpected) {
        EXPECT_EQ(typeWord(number), expected.word);
        EXPECT_EQ(typeOfWord(expected.word), number);
        EXPECT_EQ(findFileKind(number), findFileKind(expected.word));
    }
    for (const char* word : {"", "Msi", " msi", "msi ", "ms", "msix", "none"}) {
        EXPECT_EQ(typeOfWord(word), eFileTypeNone) << word;
        EXPECT_EQ(findFileKind(word), nullptr) << word;
    }
}

TEST(ManifestFileType, theStoreKeepsSixKindsAndNothingElse)
{
    constexpr unsigned storedMask = 0x62016;
    for (unsigned number = 0; number < 32; ++number) {
        EXPECT_EQ(isStored(number), (storedMask >> number & 1U) != 0) << number;
    }
    EXPECT_FALSE(isStored(33));
    EXPECT_FALSE(isStored(0x80000001U));
    EXPECT_FALSE(isStored(0xFFFFFFFFU));
}

TEST(ManifestFileType, aNumberOfNoKindHasNoWord)
{
    for (const unsigned number : {0U, 6U, 7U, 12U, 14U, 15U, 16U, 19U, 257U, 0xFFFFFFFFU}) {
        EXPECT_EQ(findFileKind(number), nullptr) << number;
        EXPECT_EQ(typeWord(number), "") << number;
    }
}

} // namespace
