#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// The kind of a file that a manifest lists. The store keeps these numbers, so they are part of a file format: they
/// never change, and the gaps (6, 7, 12, 14, 15, 16) are never given to another kind.
enum ManifestFileType : std::uint32_t
{
    eFileTypeNone = 0,
    eFileTypeMsi = 1,
    eFileTypeExe = 2,
    eFileTypeL10n = 3,
    eFileTypeScript = 4,
    eFileTypeProfile = 5,
    eFileTypeMst = 8,
    eFileTypeTransform = 9,
    eFileTypeBinary = 10,
    eFileTypeResource = 11,
    eFileTypeDmg = 13,
    eFileTypeRpm = 17,
    eFileTypeDeb = 18,
};

/// What is to be done with a listed file.
enum FileAction : std::uint32_t
{
    eFileActionNone = 0,
    eFileActionInstall = 1,
    eFileActionCopy = 2,
    eFileActionApply = 3,
};

/// Whether the store keeps the entries of a kind.
enum class Keeping
{
    Stored,
    /// Read from a store, but neither kept nor written.
    Dropped,
};

/// Whether the action of a kind is only the one of an entry that names none, or the one of every entry.
enum class ActionRule
{
    Default,
    Fixed,
};

/// What an entry of a kind must specify, besides a name.
enum class Demand
{
    Nothing,
    Hash,
    HashAndLanguage,
};

/// The facts of one kind of file.
struct FileKind
{
    /// Its word in a manifest; exact and case-sensitive.
    std::string_view word;
    ManifestFileType type;
    Keeping keeping;
    ActionRule actionRule;
    FileAction action;
    Demand demand;
    /// The only name that its files may have; empty when any will do.
    std::string_view fileName;
};

/// Every kind that there is. Whatever differs from kind to kind, and is no rule of where its files go, follows from
/// this table or is held against it by a test.
inline constexpr std::array kFileKinds{
    FileKind{"msi", eFileTypeMsi, Keeping::Stored, ActionRule::Default, eFileActionInstall, Demand::Nothing, ""},
    FileKind{"mst", eFileTypeMst, Keeping::Dropped, ActionRule::Fixed, eFileActionApply, Demand::HashAndLanguage, ""},
    FileKind{"exe", eFileTypeExe, Keeping::Stored, ActionRule::Default, eFileActionInstall, Demand::Nothing, ""},
    FileKind{"l10n", eFileTypeL10n, Keeping::Dropped, ActionRule::Fixed, eFileActionCopy, Demand::HashAndLanguage,
             "Tessellink.mo"},
    FileKind{"script", eFileTypeScript, Keeping::Stored, ActionRule::Default, eFileActionInstall, Demand::Nothing, ""},
    FileKind{"rpm", eFileTypeRpm, Keeping::Stored, ActionRule::Default, eFileActionInstall, Demand::Nothing, ""},
    FileKind{"deb", eFileTypeDeb, Keeping::Stored, ActionRule::Default, eFileActionInstall, Demand::Nothing, ""},
    FileKind{"dmg", eFileTypeDmg, Keeping::Stored, ActionRule::Default, eFileActionInstall, Demand::Nothing, ""},
    FileKind{"transform", eFileTypeTransform, Keeping::Dropped, ActionRule::Fixed, eFileActionApply, Demand::Hash, ""},
    FileKind{"binary", eFileTypeBinary, Keeping::Dropped, ActionRule::Fixed, eFileActionCopy, Demand::Hash, ""},
    FileKind{"resource", eFileTypeResource, Keeping::Dropped, ActionRule::Fixed, eFileActionCopy, Demand::Hash, ""},
    FileKind{"profile", eFileTypeProfile, Keeping::Dropped, ActionRule::Fixed, eFileActionCopy, Demand::Hash, ""},
};

/// The kind with this number, which may come from a file; null when there is none.
constexpr const FileKind* findFileKind(std::uint32_t number)
{
    for (const FileKind& kind : kFileKinds) {
        if (kind.type == number) {
            return &kind;
        }
    }
    return nullptr;
}

/// The kind with this word, exactly; null when there is none.
constexpr const FileKind* findFileKind(std::string_view word)
{
    for (const FileKind& kind : kFileKinds) {
        if (kind.word == word) {
            return &kind;
        }
    }
    return nullptr;
}

/// True when the store keeps entries of this kind; false for a number that no kind has.
constexpr bool isStored(std::uint32_t number)
{
    const FileKind* const kind = findFileKind(number);
    return kind != nullptr && kind->keeping == Keeping::Stored;
}

/// The word of a kind in a manifest; empty for a number that no kind has.
constexpr std::string_view typeWord(std::uint32_t number)
{
    const FileKind* const kind = findFileKind(number);
    return kind == nullptr ? std::string_view() : kind->word;
}

/// The kind that a manifest calls so; eFileTypeNone when there is none.
constexpr ManifestFileType typeOfWord(std::string_view word)
{
    const FileKind* const kind = findFileKind(word);
    return kind == nullptr ? eFileTypeNone : kind->type;
}
