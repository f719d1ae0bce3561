#pragma once

#include <string>
#include <vector>

// Arguments of any bytes, taken by CLI11. That library gives a meaning of its own to a text of several that looks like
// "[a,b]" or "{}", and leaves a command at "--" once it has what it needs. Neither must happen to a pattern or to the
// name of a file. So such arguments travel through it behind a guard byte, which the functions below put on and take
// off; every option that takes a text is added by one of them.

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace ctl {

/// The program's arguments in the reverse order that CLI::App::parse wants, those in need of it guarded.
std::vector<std::string> guardedArguments(int argc, char** argv);

/// An argument that has come through the library, as it was given.
std::string unguarded(const std::string& argument);

/// Adds an option (or, by a name without dashes, an operand) that takes one text.
CLI::Option* addText(CLI::App& command, const std::string& name, std::string& value, const std::string& description);

/// Adds an option or operand that may be given any number of times; `required()` on the result makes it at least once.
CLI::Option* addTexts(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                      const std::string& description);

} // namespace ctl
