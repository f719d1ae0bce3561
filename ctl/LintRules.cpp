#include "ctl/LintRules.h"

#include <algorithm>
#include <array>

namespace ctl {

namespace {

using enum Consequence;

constexpr std::array kRules{
    LintRule{Rule::Empty, "empty", Rejects,
             "A file of no bytes, or of blanks alone, is no manifest. What is no regular file counts as empty too.",
             "Write the manifest; a module without files has the one element <vpn rev=\"1.0\"/>."},
    LintRule{Rule::TooLarge, "too-large", Rejects,
             "The tool takes the size of a manifest as 32 bits with a sign, so that 2 GiB look like less than nothing.",
             "Split the manifest."},
    LintRule{
        Rule::NotWellFormed, "not-well-formed", Rejects,
        "The document is not well-formed XML, or goes beyond what the parser bears. Nothing else can be said about "
        "it before that is mended.",
        "Mend what the XML parser complains about; the first complaint is often the cause of the others."},
    LintRule{Rule::TooFewElements, "too-few-elements", Rejects,
             "A document of a root and one more element cannot hold a whole entry: one has a file and a child of it.",
             "Give the entry a uri or a filename."},
    LintRule{Rule::RootName, "root-name", Rejects, "Only an element vpn holds the entries of a manifest.",
             "Call the root vpn, without a prefix and in lower case."},
    LintRule{
        Rule::RevFormat, "rev-format", Rejects,
        "The attribute rev of the root says which version of the format the manifest is written in. It is missing, "
        "or is not two numbers with a point between them.",
        "Write rev=\"1.0\"."},
    LintRule{Rule::RevUnsupported, "rev-unsupported", Rejects,
             "The tool reads manifests of the revisions 0.N and 1.0 only.", "Write rev=\"1.0\"."},
    LintRule{Rule::NotFile, "not-file", Rejects,
             "Every element of a manifest is a file or one of the children of a file: type, uri, filename, name, hash, "
             "display-name, depends. Names are compared letter by letter, case and prefix included.",
             "Correct the name of the element, put it behind a file, or take it out."},
    LintRule{Rule::UnknownType, "unknown-type", Rejects,
             "A kind of file that the tool does not know cannot be recorded or placed.",
             "Use one of the words of obg-manifest(5), in lower case, or leave the type out."},
    LintRule{Rule::VersionWithoutId, "version-without-id", Rejects,
             "The id is the key under which a version is recorded.", "Add the attribute id."},
    LintRule{
        Rule::NoSource, "no-source", Rejects,
        "An entry must say what its file is called or where it comes from. A filename that ends in \"/\" is empty.",
        "Add a uri or a filename with some text."},
    LintRule{Rule::NoHash, "no-hash", Rejects,
             "Catalogues, transforms, customisation files and profiles are taken only with a sum.",
             "Add <hash type=\"sha256\"> with the sum of the file, as sha256sum prints it."},
    LintRule{Rule::NoHashType, "no-hash-type", Rejects,
             "A sum can be compared with the file only when its algorithm is known.",
             "Write type=\"sha256\" or type=\"sha1\" at the hash."},
    LintRule{Rule::NoLang, "no-lang", Rejects,
             "The language of a catalogue names the directory that it goes to. Installer transforms are held to the "
             "same rule.",
             "Add the attribute lang, for example lang=\"de\"."},
    LintRule{Rule::L10nName, "l10n-name", Rejects, "The client looks for its catalogues under one fixed name.",
             "Call the file Tessellink.mo."},
    LintRule{Rule::NoAction, "no-action", Rejects, "Without a type nothing says what is to be done with the file.",
             "Add a type, or action=\"install\" or action=\"copy\"."},
    LintRule{Rule::NoId, "no-id", Damages,
             "A file of this kind is recorded. The store cannot hold an entry without an id: what is written behind it "
             "is read out of step, and the records of all modules may be lost.",
             "Add an id that no other file has."},
    LintRule{
        Rule::NoVersion, "no-version", Damages,
        "A file of this kind is recorded. The store cannot hold an entry without a version: what is written behind "
        "it is read out of step, and the records of all modules may be lost.",
        "Add a version."},
    LintRule{
        Rule::SingleElement, "single-element", LetThrough,
        "A document of a single element is an empty manifest, whatever the element is called. Nothing is recorded.",
        "List the files of the module. Nothing is to be done where there are none."},
    LintRule{
        Rule::IgnoredAtEnd, "ignored-at-end", LetThrough,
        "An element that would begin an entry is not looked at when it is the last of the document: a file without "
        "children, or a stray element.",
        "Give the file its children, or take the element out."},
    LintRule{Rule::SizeWraps, "size-wraps", LetThrough,
             "The tool takes the size of a manifest as 32 bits: of 4 GiB and a few bytes it reads the few bytes.",
             "Split the manifest."},
    LintRule{Rule::AfterNul, "after-nul", LetThrough,
             "A zero byte ends the manifest. What stands behind it is not read.",
             "Take out the zero byte. A text in UTF-16 has many; write it in UTF-8."},
    LintRule{Rule::LeadingBlanks, "leading-blanks", LetThrough,
             "The tool skips blanks before the XML declaration. XML does not allow them, and other programs refuse the "
             "document.",
             "Begin the file with \"<?xml\"."},
    LintRule{Rule::XmlComplaint, "xml-complaint", LetThrough,
             "The XML parser complains about the document without refusing it. The tool logs that as an error.",
             "Mend what the XML parser complains about."},
    LintRule{Rule::RevForm, "rev-form", LetThrough,
             "What follows the minor number of rev is ignored, as are signs, blanks and leading zeros: \"1.0beta\" is "
             "read as 1.0.",
             "Write rev=\"1.0\"."},
    LintRule{Rule::CutBlanks, "cut-blanks", LetThrough,
             "Blanks around the value of an attribute are cut off, and so are blanks within a text where the parser "
             "delivers it in pieces: at entities, CDATA sections, CR LF line ends, and at some places of a long text "
             "that is not ASCII.",
             "Take the blanks out, or write the text in one piece."},
    LintRule{Rule::DroppedText, "dropped-text", LetThrough,
             "Text counts only within the children of a file. Elsewhere it is dropped; behind a child the log says "
             "\"Called when no element is set\".",
             "Put the text into a child, or take it out."},
    LintRule{
        Rule::EntityInText, "entity-in-text", LetThrough,
        "An entity that the document declares itself is expanded in a text, but not in an attribute, and makes the "
        "text come in pieces.",
        "Write the text itself."},
    LintRule{Rule::EntityInAttribute, "entity-in-attribute", LetThrough,
             "An entity that the document declares itself is not expanded in an attribute: the value keeps \"&name;\".",
             "Write the text itself."},
    LintRule{Rule::AmpersandInAttribute, "ampersand-in-attribute", LetThrough,
             "An \"&amp;\" in the value of an attribute becomes \"&#38;\" and is recorded so.",
             "Do without the ampersand."},
    LintRule{Rule::Nesting, "nesting", LetThrough,
             "Only the order of the start tags counts, not the nesting: an element belongs to the last file before it, "
             "wherever it stands.",
             "Put every file into the root, and its children into the file."},
    LintRule{
        Rule::RepeatedChild, "repeated-child", LetThrough,
        "An element given twice counts as given last; filename and name are one, and the element type replaces the "
        "attribute.",
        "Keep one of the two."},
    LintRule{Rule::RepeatedId, "repeated-id", LetThrough,
             "An id that is listed twice is recorded once, as listed last; the earlier entry is hidden.",
             "Give each file an id of its own."},
    LintRule{Rule::UnrecordedId, "unrecorded-id", LetThrough,
             "A file of this kind is not recorded, so its id is never found in the store; and an entry that the store "
             "has of that id is dropped.",
             "Nothing, where other programs read the id. Otherwise take it out, or correct the type."},
    LintRule{Rule::VersionForm, "version-form", LetThrough,
             "Versions are not checked. One that is not numbers with points between them, perhaps with a revision "
             "behind, does not compare as people expect.",
             "Write the version as 5.1.2.42 or 5.1.2.42-1."},
    LintRule{Rule::HashLength, "hash-length", LetThrough,
             "The form of a sum is not checked. A sum by SHA-1 has 40 digits, one by SHA-256 has 64.",
             "State the sum of the file in full, as sha256sum prints it."},
    LintRule{Rule::HashDigits, "hash-digits", LetThrough,
             "The form of a sum is not checked. It is written in hexadecimal digits.",
             "State the sum of the file as sha256sum prints it."},
    LintRule{Rule::UnknownHashType, "unknown-hash-type", LetThrough,
             "A hash type other than sha1 and sha256 counts as none given.",
             "Write type=\"sha256\" or type=\"sha1\" at the hash."},
    LintRule{Rule::UnknownAttribute, "unknown-attribute", LetThrough,
             "An attribute that the format does not have is ignored. Names are compared letter by letter.",
             "Correct the name of the attribute, or take it out."},
    LintRule{Rule::UnknownAction, "unknown-action", LetThrough,
             "An action other than install and copy counts as none given.", "Write action=\"install\" or \"copy\"."},
    LintRule{Rule::IgnoredAction, "ignored-action", LetThrough,
             "Catalogues, profiles, binaries and resources are always copied, transforms always applied, whatever the "
             "manifest says.",
             "Take the attribute out."},
    LintRule{Rule::UnknownIsCore, "unknown-is-core", LetThrough,
             "Only \"yes\" marks a file of the core; every other value does not.",
             "Write is_core=\"yes\" or is_core=\"no\"."},
    LintRule{Rule::UnknownStandalone, "unknown-standalone", LetThrough,
             "Only \"true\" marks a file that stands alone; every other value does not.",
             "Write standalone=\"true\" or standalone=\"false\"."},
    LintRule{
        Rule::UnknownServiceType, "unknown-service-type", LetThrough,
        "The tool does not read service-type, but programs that do reject a manifest with a key that is not known.",
        "Use one of the keys of obg-manifest(5)."},
    LintRule{Rule::IgnoredServiceType, "ignored-service-type", LetThrough, "Only a profile has a service-type.",
             "Take the attribute out, or correct the type."},
    LintRule{Rule::NoFileName, "no-file-name", LetThrough,
             "Up to the last \"/\" a name is cut off; nothing is left of one that ends in it.", "Name the file."},
    LintRule{
        Rule::UnsafeName, "unsafe-name", LetThrough,
        "The file name and the language of a catalogue are parts of the path that the file is written to. \".\" and "
        "\"..\" lead elsewhere, and so does a \"/\" in the language.",
        "Use a plain name."},
};

constexpr bool isInOrder()
{
    for (std::size_t index = 0; index < kRules.size(); ++index) {
        if (kRules[index].rule != static_cast<Rule>(index)) {
            return false;
        }
    }
    return true;
}
static_assert(isInOrder(), "the table has a row for each rule, in the order of the rules");

} // namespace

std::span<const LintRule> lintRules()
{
    return kRules;
}

const LintRule& ruleOf(Rule rule)
{
    return kRules[static_cast<std::size_t>(rule)];
}

const LintRule* findRule(std::string_view name)
{
    const auto found =
        std::find_if(kRules.begin(), kRules.end(), [name](const LintRule& rule) { return rule.name == name; });
    return found == kRules.end() ? nullptr : &*found;
}

} // namespace ctl
