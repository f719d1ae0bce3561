// The only file that knows CLI11, whose header takes longer to compile than all else here.
//
// CLI11 gives a meaning of its own to a text of several that looks like "[a,b]" or "{}", and leaves a command at "--"
// once it has what it needs. Neither must happen to a pattern or to the name of a file. So such arguments travel
// through it behind a guard byte, which is put on before it and taken off behind it.

#include "ctl/CommandLine.h"

#include "ctl/Streams.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>

namespace ctl {

namespace {

constexpr char kGuard = '\1';

bool needsGuard(std::string_view argument)
{
    return argument.starts_with('[') || argument.starts_with('{') || argument.starts_with(kGuard);
}

/// The program's arguments in the reverse order that CLI::App::parse wants, those in need of it guarded.
std::vector<std::string> guardedArguments(int argc, char** argv)
{
    std::vector<std::string> arguments;
    bool areOperands = false;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (areOperands || needsGuard(argument)) {
            arguments.push_back(kGuard + argument);
        } else if (argument == "--") {
            areOperands = true;
        } else {
            arguments.push_back(argument);
        }
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

/// An argument that has come through CLI11, as it was given.
std::string unguarded(const std::string& argument)
{
    return argument.starts_with(kGuard) ? argument.substr(1) : argument;
}

/// Names the value of an option in the help, and where the value is missing.
CLI::Option& withPlaceholder(CLI::Option& option, const std::string& placeholder)
{
    return *option.option_text(placeholder)->type_name(placeholder);
}

/// Adds what takes one text to a std::string or an optional one.
template <typename Text>
CLI::Option& addOneText(CLI::App& app, const std::string& name, const std::string& placeholder, Text& value,
                        const std::string& description)
{
    const auto take = [&value](const CLI::results_t& results) {
        value = unguarded(results.back());
        return true;
    };
    return withPlaceholder(*app.add_option(name, take, description), placeholder);
}

CLI::Option& addManyTexts(CLI::App& app, const std::string& name, const std::string& placeholder,
                          std::vector<std::string>& values, const std::string& description)
{
    const auto take = [&values](const CLI::results_t& results) {
        std::transform(results.begin(), results.end(), std::back_inserter(values), unguarded);
        return true;
    };
    CLI::Option& option = withPlaceholder(*app.add_option(name, take, description), placeholder);
    return *option.take_all()->expected(1, CLI::detail::expected_max_vector_size);
}

/// Adds an option that takes one of these words.
template <typename Value>
void addWord(CLI::App& app, const std::string& name, Value& value,
             const std::vector<std::pair<std::string, Value>>& meanings, const std::string& description)
{
    std::string words;
    std::string separated;
    for (const auto& [word, meaning] : meanings) {
        words += (words.empty() ? "" : "|") + word;
        separated += (separated.empty() ? "" : ", ") + word;
    }
    const auto take = [&value, meanings, name, separated](const CLI::results_t& results) {
        for (const auto& [word, meaning] : meanings) {
            if (word == results.back()) {
                value = meaning;
                return true;
            }
        }
        throw CLI::ValidationError(name, "it is one of " + separated);
    };
    withPlaceholder(*app.add_option(name, take, description), words);
}

void addOptions(CLI::App& app, Invocation& invocation)
{
    Options& options = invocation.options;
    Command program(app, invocation);
    program.addText("--root", "DIR", options.root, "Look up the whole machine below DIR");
    const Argument legacy = program.addFlag("--legacy", options.isLegacy, "The store of the legacy install root");
    program.addText("--store", "FILE", options.store, "This store file, not looked up below the root").exclude(legacy);
    addWord<Format>(app, "--format", options.format,
                    {{"text", Format::Text}, {"json", Format::Json}, {"sarif", Format::Sarif}},
                    "text unless it is given; sarif with lint alone");
    addWord<ColorChoice>(app, "--color", options.color,
                         {{"auto", ColorChoice::Auto}, {"always", ColorChoice::Always}, {"never", ColorChoice::Never}},
                         "auto unless it is given");
}

std::string faultOf(const CLI::App& app, const CLI::ParseError& error)
{
    const bool lacksCommand = app.get_subcommands().empty() && error.get_name() == "RequiredError";
    if (!lacksCommand) {
        return error.what();
    }
    const std::vector<std::string> others = app.remaining();
    if (others.empty()) {
        return "a command is required";
    }
    return (others.front().starts_with('-') ? "there is no option " : "there is no command ") +
           unguarded(others.front());
}

/// How the program ends when the arguments ask for nothing that can be run: help, the version, or a mistake.
Outcome answerOf(const CLI::App& app, const CLI::ParseError& error)
{
    std::ostringstream answer;
    std::ostringstream ignored;
    if (app.exit(error, answer, ignored) == 0) {
        return {ExitStatus::Done, answer.str()};
    }
    complain(faultOf(app, error));
    complain("try obg_manifestctl --help");
    return {ExitStatus::NotDone, {}};
}

} // namespace

void Argument::require()
{
    m_option->required();
}

void Argument::exclude(const Argument& other)
{
    m_option->excludes(other.m_option);
}

Argument Command::addFlag(const std::string& name, bool& isGiven, const std::string& description)
{
    return Argument(*m_app.add_flag(name, isGiven, description));
}

Argument Command::addText(const std::string& name, const std::string& placeholder, std::string& value,
                          const std::string& description)
{
    return Argument(addOneText(m_app, name, placeholder, value, description));
}

Argument Command::addText(const std::string& name, const std::string& placeholder, std::optional<std::string>& value,
                          const std::string& description)
{
    return Argument(addOneText(m_app, name, placeholder, value, description));
}

Argument Command::addTexts(const std::string& name, std::vector<std::string>& values, const std::string& description)
{
    return Argument(*addManyTexts(m_app, name, "...", values, description).allow_extra_args());
}

void Command::addRepeatedText(const std::string& name, const std::string& placeholder, std::vector<std::string>& values,
                              const std::string& description)
{
    addManyTexts(m_app, name, placeholder, values, description).allow_extra_args(false);
}

void Command::addSeconds(const std::string& name, std::chrono::seconds& value, std::chrono::seconds most,
                         const std::string& description)
{
    const auto take = [&value](const long& seconds) { value = std::chrono::seconds(seconds); };
    m_app.add_option_function<long>(name, take, description)
        ->check(CLI::Range(0L, static_cast<long>(most.count())).description(""))
        ->type_name("SECONDS");
}

Command Command::addChoice(const std::string& name)
{
    CLI::Option_group& group = *m_app.add_option_group(name);
    group.require_option(1);
    return {group, m_invocation};
}

void Command::setAction(Action action)
{
    m_app.callback([&invocation = m_invocation, action = std::move(action)] {
        if (const std::string fault = action.fault ? action.fault() : ""; !fault.empty()) {
            throw CLI::ValidationError(fault);
        }
        invocation.action = action;
    });
}

CommandLine::CommandLine()
    : m_app(std::make_unique<CLI::App>(
          "See what is recorded in the installed-manifest store, what a run of obg_manifesttool would do, and "
          "what is wrong; change the store safely.",
          "obg_manifestctl"))
{
    m_app->set_version_flag("--version", "obg_manifestctl " OBG_VERSION);
    m_app->require_subcommand(1);
    m_app->fallthrough();
    addOptions(*m_app, m_invocation);
}

CommandLine::~CommandLine() = default;

Command CommandLine::addCommand(const std::string& name, const std::string& description)
{
    return {*m_app->add_subcommand(name, description), m_invocation};
}

Outcome CommandLine::run(int argc, char** argv)
{
    try {
        m_app->parse(guardedArguments(argc, argv));
    } catch (const CLI::ParseError& error) {
        return answerOf(*m_app, error);
    }
    if (m_invocation.options.format == Format::Sarif && !m_invocation.action.takesSarif) {
        complain("the format sarif is for lint alone");
        return {ExitStatus::NotDone, {}};
    }
    return m_invocation.action.run(m_invocation.options);
}

} // namespace ctl
