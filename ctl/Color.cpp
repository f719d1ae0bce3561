#include "ctl/Color.h"

#include <cstdlib>

#include <unistd.h>

namespace ctl {

namespace {

std::string_view variable(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? std::string_view() : value;
}

bool isColored(ColorChoice choice)
{
    if (choice != ColorChoice::Auto) {
        return choice == ColorChoice::Always;
    }
    return variable("NO_COLOR").empty() && variable("TERM") != "dumb" && isatty(STDOUT_FILENO) == 1;
}

} // namespace

Colors colorsFor(const Options& options)
{
    if (!isColored(options.color)) {
        return {};
    }
    return {"\033[1;31m", "\033[1;35m", "\033[32m", "\033[1m", "\033[0m"};
}

} // namespace ctl
