#include "ctl/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string_view>

namespace ctl {

namespace {

constexpr char kGuard = '\1';

std::string guarded(const std::string& argument)
{
    return kGuard + argument;
}

bool needsGuard(std::string_view argument)
{
    return argument.starts_with('[') || argument.starts_with('{') || argument.starts_with(kGuard);
}

} // namespace

std::vector<std::string> guardedArguments(int argc, char** argv)
{
    std::vector<std::string> arguments;
    bool areOperands = false;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (areOperands || needsGuard(argument)) {
            arguments.push_back(guarded(argument));
        } else if (argument == "--") {
            areOperands = true;
        } else {
            arguments.push_back(argument);
        }
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

std::string unguarded(const std::string& argument)
{
    return argument.starts_with(kGuard) ? argument.substr(1) : argument;
}

CLI::Option* addText(CLI::App& command, const std::string& name, std::string& value, const std::string& description)
{
    const auto take = [&value](const CLI::results_t& results) {
        value = unguarded(results.back());
        return true;
    };
    return command.add_option(name, take, description)->option_text("TEXT");
}

CLI::Option* addTexts(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                      const std::string& description)
{
    const auto take = [&values](const CLI::results_t& results) {
        std::transform(results.begin(), results.end(), std::back_inserter(values), unguarded);
        return true;
    };
    return command.add_option(name, take, description)
        ->option_text("...")
        ->take_all()
        ->expected(1, CLI::detail::expected_max_vector_size)
        ->allow_extra_args();
}

} // namespace ctl
