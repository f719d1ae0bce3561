#pragma once

#include "ctl/Options.h"
#include "ctl/Outcome.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace ctl {

/// What a command does once all arguments have been understood.
struct Action
{
    std::function<Outcome(const Options& options)> run;
    /// Where there is one it tells what is wrong with the arguments, in a text that is empty when nothing is.
    std::function<std::string()> fault = {};
    /// True when the command knows the format `sarif`.
    bool takesSarif = false;
};

/// What the command line asks for.
struct Invocation
{
    Options options;
    Action action;
};

/// An option or operand of a command.
class Argument
{
public:
    explicit Argument(CLI::Option& option) : m_option(&option) {}

    /// It must be given.
    void require();

    /// It and the other one cannot be given together.
    void exclude(const Argument& other);

private:
    CLI::Option* m_option;
};

/// A command while it is described: what it takes, and what it does.
///
/// What is added is an option when its name starts with a dash, and else an operand. Its value is set when the command
/// line is read and left alone where it is not given; `placeholder` stands for it in `--help`. Texts are of any bytes.
class Command
{
public:
    /// Keeps references to both.
    Command(CLI::App& app, Invocation& invocation) : m_app(app), m_invocation(invocation) {}

    Argument addFlag(const std::string& name, bool& isGiven, const std::string& description);
    Argument addText(const std::string& name, const std::string& placeholder, std::string& value,
                     const std::string& description);

    /// The same where an empty text differs from none.
    Argument addText(const std::string& name, const std::string& placeholder, std::optional<std::string>& value,
                     const std::string& description);

    /// An operand that may be given any number of times.
    Argument addTexts(const std::string& name, std::vector<std::string>& values, const std::string& description);

    /// An option that may be given any number of times, each time with one text.
    void addRepeatedText(const std::string& name, const std::string& placeholder, std::vector<std::string>& values,
                         const std::string& description);

    /// An option that takes a number of seconds from 0 to `most`.
    void addSeconds(const std::string& name, std::chrono::seconds& value, std::chrono::seconds most,
                    const std::string& description);

    /// A group of options of which exactly one must be given; they are added to what is returned.
    Command addChoice(const std::string& name);

    void setAction(Action action);

private:
    CLI::App& m_app;
    Invocation& m_invocation;
};

/// The program's arguments: the options that stand before the command, and the commands that were added.
class CommandLine
{
public:
    CommandLine();
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Adds a command; `--help` lists them in this order.
    Command addCommand(const std::string& name, const std::string& description);

    /// Runs the command that the arguments ask for. Help and the version are results as well; a mistake is complained
    /// of and ends with NotDone.
    Outcome run(int argc, char** argv);

private:
    Invocation m_invocation;
    std::unique_ptr<CLI::App> m_app;
};

} // namespace ctl
