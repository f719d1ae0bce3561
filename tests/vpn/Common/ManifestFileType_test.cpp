#include "vpn/Common/ManifestFileType.h"

#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include "tests/support/Files.h"
#include "tests/support/Paths.h"

namespace {

std::string actionName(FileAction action)
{
    switch (action) {
    case eFileActionInstall:
        return "install";
    case eFileActionCopy:
        return "copy";
    case eFileActionApply:
        return "apply";
    default:
        return "none";
    }
}

std::string demandName(Demand demand)
{
    switch (demand) {
    case Demand::Hash:
        return "hash";
    case Demand::HashAndLanguage:
        return "hash-and-language";
    default:
        return "nothing";
    }
}

/** The facts of a kind as kinds.txt writes them, with single blanks. */
std::string rowOf(const FileKind& kind)
{
    const std::string name(kind.fileName);
    return std::string(kind.word) + " " + std::to_string(kind.type) +
           (kind.keeping == Keeping::Stored ? " stored " : " dropped ") + actionName(kind.action) +
           (kind.actionRule == ActionRule::Fixed ? " all " : " that-name-none ") + demandName(kind.demand) + " " +
           (name.empty() ? "-" : name);
}

std::set<std::string> writtenRows()
{
    std::istringstream file(obg::test::readFile(obg::test::sourceTree() + "/tests/kinds.txt"));
    std::set<std::string> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('#')) {
            continue;
        }
        std::istringstream words(line);
        std::string row;
        for (std::string word; words >> word;) {
            row += row.empty() ? word : " " + word;
        }
        rows.insert(row);
    }
    return rows;
}

TEST(ManifestFileType, theTableStatesTheFactsThatKindsTxtStates)
{
    std::set<std::string> rows;
    for (const FileKind& kind : kFileKinds) {
        rows.insert(rowOf(kind));
    }
    EXPECT_EQ(rows, writtenRows());
    EXPECT_EQ(rows.size(), kFileKinds.size());
}

TEST(ManifestFileType, aKindIsFoundByItsNumberAndByItsExactWord)
{
    for (const FileKind& kind : kFileKinds) {
        EXPECT_EQ(findFileKind(kind.type), &kind);
        EXPECT_EQ(findFileKind(kind.word), &kind);
        EXPECT_EQ(typeWord(kind.type), kind.word);
        EXPECT_EQ(typeOfWord(kind.word), kind.type);
    }
}

TEST(ManifestFileType, aWordIsExact)
{
    for (const char* word : {"", "Msi", " msi", "msi ", "ms", "msix", "none"}) {
        EXPECT_EQ(typeOfWord(word), eFileTypeNone) << word;
        EXPECT_EQ(findFileKind(word), nullptr) << word;
    }
}

TEST(ManifestFileType, theStoreKeepsTheInstalledKinds)
{
    for (const ManifestFileType type :
         {eFileTypeMsi, eFileTypeExe, eFileTypeScript, eFileTypeDmg, eFileTypeRpm, eFileTypeDeb}) {
        EXPECT_TRUE(isStored(type)) << typeWord(type);
    }
    for (const ManifestFileType type :
         {eFileTypeL10n, eFileTypeProfile, eFileTypeMst, eFileTypeTransform, eFileTypeBinary, eFileTypeResource}) {
        EXPECT_FALSE(isStored(type)) << typeWord(type);
    }
}

TEST(ManifestFileType, aNumberOfNoKindIsNeitherFoundNorStored)
{
    for (const unsigned number : {0U, 6U, 7U, 12U, 14U, 15U, 16U, 257U, 0x80000001U, 0xFFFFFFFFU}) {
        EXPECT_EQ(findFileKind(number), nullptr) << number;
        EXPECT_EQ(typeWord(number), "") << number;
        EXPECT_FALSE(isStored(number)) << number;
    }
}

} // namespace
