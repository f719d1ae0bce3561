// Whatever states the kinds of file a second time, held against the table of the library. A kind that was added to the
// table alone is named here with every place that lacks it.

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/Paths.h"
#include "vpn/Common/ManifestFileType.h"

namespace {

using obg::test::readFile;
using obg::test::sourceTree;

/** A file, or a folder whose files count as one, and the text by which it knows a kind. */
struct Place
{
    std::string path;
    std::function<std::string(const FileKind&)> text;
};

std::string word(const FileKind& kind)
{
    return std::string(kind.word);
}

std::string quoted(const FileKind& kind)
{
    return '"' + std::string(kind.word) + '"';
}

std::string typeAttribute(const FileKind& kind)
{
    return "type=" + quoted(kind);
}

std::string numberBytes(const FileKind& kind)
{
    const std::string digits = "0123456789abcdef";
    return R"("\x)" + std::string{digits[kind.type / 16], digits[kind.type % 16]} + R"(\x00\x00\x00")";
}

/** What the page says that an entry needs. */
std::string needs(const FileKind& kind)
{
    switch (kind.demand) {
    case Demand::Hash:
        return "hash";
    case Demand::HashAndLanguage:
        return "hash, lang";
    default:
        return "-";
    }
}

std::string valueElement(const FileKind& kind)
{
    return "<value>" + std::string(kind.word) + "</value>";
}

std::string rowOfThePage(const FileKind& kind)
{
    const std::string action = kind.action == eFileActionApply ? "apply" : "copy";
    return ".It Li " + std::string(kind.word) + " Ta " + std::to_string(kind.type) + " Ta " +
           (kind.keeping == Keeping::Stored ? "yes" : "no") + " Ta " +
           (kind.actionRule == ActionRule::Default ? "given" : action) + " Ta " + needs(kind) + " Ta ";
}

/** The text of a file, or of all files of a folder. */
std::string contents(const std::string& path)
{
    const std::filesystem::path place = sourceTree() + "/" + path;
    if (!std::filesystem::is_directory(place)) {
        return readFile(place);
    }
    std::string all;
    for (const auto& file : std::filesystem::directory_iterator(place)) {
        if (file.is_regular_file()) {
            all += readFile(file.path());
        }
    }
    return all;
}

bool isStoredKind(const FileKind& kind)
{
    return kind.keeping == Keeping::Stored;
}

/** Installers of other systems are in no example: the examples are of a module for this one. */
bool isOfThisSystem(const FileKind& kind)
{
    return kind.type != eFileTypeMsi && kind.type != eFileTypeMst && kind.type != eFileTypeDmg;
}

std::size_t occurrences(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

void expectIn(const std::vector<Place>& places, const std::function<bool(const FileKind&)>& concerns)
{
    for (const Place& place : places) {
        const std::string text = contents(place.path);
        for (const FileKind& kind : kFileKinds) {
            EXPECT_TRUE(!concerns(kind) || text.find(place.text(kind)) != std::string::npos)
                << place.path << " does not know the kind \"" << kind.word << "\": it lacks " << place.text(kind);
        }
    }
}

TEST(Kinds, everyKindIsKnownWhereverTheKindsAreStated)
{
    expectIn({{"packaging/man/obg-manifest.5", rowOfThePage},
              {"packaging/schemas/obg-manifest.rnc", quoted},
              {"packaging/schemas/obg-manifest.rng", valueElement},
              {"fuzz/manifest.dict", quoted},
              {"fuzz/seeds/manifest", typeAttribute},
              {"fuzz/store.dict", numberBytes},
              {"bench/manifests.py", quoted},
              {"packaging/completions/obg_manifestctl.bash", word},
              {"packaging/completions/obg_manifestctl.fish", word},
              {"packaging/completions/obg_manifestctl.zsh", word}},
             [](const FileKind&) { return true; });
}

TEST(Kinds, everyListOfKindsInASchemaOfJsonIsWhole)
{
    // A list has all kinds or those that are stored: each kind stands in as many as one that has always been there.
    for (const auto& file : std::filesystem::directory_iterator(sourceTree() + "/packaging/schemas")) {
        const std::string text = file.path().extension() == ".json" ? readFile(file.path()) : "";
        for (const FileKind& kind : kFileKinds) {
            EXPECT_EQ(occurrences(text, quoted(kind)), occurrences(text, isStoredKind(kind) ? R"("exe")" : R"("l10n")"))
                << file.path().filename() << " does not know the kind " << quoted(kind) << " everywhere";
        }
    }
}

TEST(Kinds, everyStoredKindIsKeptByThePeersThatTheToolIsMeasuredAgainst)
{
    expectIn({{"bench/peers/register.py", quoted}, {"bench/peers/register.sh", quoted}}, isStoredKind);
}

TEST(Kinds, everyKindOfThisSystemIsInAnExample)
{
    expectIn({{"examples", typeAttribute}}, isOfThisSystem);
}

} // namespace
