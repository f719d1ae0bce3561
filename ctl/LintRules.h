#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace ctl {

/// What `lint` looks for. The names that people see stand in the table behind lintRules().
enum class Rule
{
    Empty,
    TooLarge,
    NotWellFormed,
    TooFewElements,
    RootName,
    RevFormat,
    RevUnsupported,
    NotFile,
    UnknownType,
    VersionWithoutId,
    NoSource,
    NoHash,
    NoHashType,
    NoLang,
    L10nName,
    NoAction,
    NoId,
    NoVersion,
    SingleElement,
    IgnoredAtEnd,
    SizeWraps,
    AfterNul,
    LeadingBlanks,
    XmlComplaint,
    RevForm,
    CutBlanks,
    DroppedText,
    EntityInText,
    EntityInAttribute,
    AmpersandInAttribute,
    Nesting,
    RepeatedChild,
    RepeatedId,
    UnrecordedId,
    VersionForm,
    HashLength,
    HashDigits,
    UnknownHashType,
    UnknownAttribute,
    UnknownAction,
    IgnoredAction,
    UnknownIsCore,
    UnknownStandalone,
    UnknownServiceType,
    IgnoredServiceType,
    NoFileName,
    UnsafeName,
};

/// What comes of a manifest that breaks a rule.
enum class Consequence
{
    /// An error: the tool rejects the manifest.
    Rejects,
    /// An error: the tool accepts the manifest, and the store is out of step afterwards.
    Damages,
    /// A warning: the tool accepts it in silence although it looks like a mistake.
    LetThrough,
};

struct LintRule
{
    Rule rule;
    std::string_view name;
    Consequence consequence;
    /// Why the rule is there.
    std::string_view why;
    /// How a manifest is mended that breaks it.
    std::string_view mend;

    constexpr bool isError() const { return consequence != Consequence::LetThrough; }
};

/// All rules, in the order of Rule.
std::span<const LintRule> lintRules();

const LintRule& ruleOf(Rule rule);

/// The rule of that name; null when there is none.
const LintRule* findRule(std::string_view name);

} // namespace ctl
