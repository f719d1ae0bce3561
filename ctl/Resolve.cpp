#include "ctl/Resolve.h"

#include <array>
#include <climits>
#include <optional>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace ctl {

namespace {

constexpr int kMostLinks = 40;

/// The names of a path, put on a pile with the first on top.
void pileUp(std::vector<std::string>& pile, std::string_view path)
{
    std::vector<std::string> names;
    while (!path.empty()) {
        const std::size_t end = path.find('/');
        const std::string_view name = path.substr(0, end);
        if (!name.empty() && name != ".") {
            names.emplace_back(name);
        }
        path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    }
    pile.insert(pile.end(), names.rbegin(), names.rend());
}

/// What the link at the path holds; nothing when it is no link.
std::optional<std::string> linkTarget(const std::string& path)
{
    std::array<char, PATH_MAX> target{};
    const ssize_t size = readlink(path.c_str(), target.data(), target.size());
    if (size < 0) {
        return std::nullopt;
    }
    return std::string(target.data(), static_cast<std::size_t>(size));
}

bool exists(const std::string& path)
{
    struct stat status
    {};
    return lstat(path.c_str(), &status) == 0;
}

/// The path with the names that are left behind it. They are not looked at: opening it fails before it gets there.
std::string withRest(std::string path, const std::vector<std::string>& pile)
{
    for (auto name = pile.rbegin(); name != pile.rend(); ++name) {
        path += "/" + *name;
    }
    return path;
}

void leaveFolder(std::string& inside)
{
    inside.resize(inside.empty() ? 0 : inside.rfind('/'));
}

} // namespace

std::string resolvedBelow(const std::string& root, std::string_view path)
{
    std::vector<std::string> pile;
    pileUp(pile, path);
    // The part behind the root that is resolved already.
    std::string inside;
    int links = 0;
    while (!pile.empty()) {
        const std::string name = pile.back();
        pile.pop_back();
        if (name == "..") {
            leaveFolder(inside);
            continue;
        }
        std::string next = inside + '/';
        next += name;
        if (const std::optional<std::string> target = linkTarget(root + next)) {
            if (++links > kMostLinks) {
                return {};
            }
            inside = target->starts_with('/') ? std::string() : inside;
            pileUp(pile, *target);
            continue;
        }
        inside = next;
        if (!exists(root + inside)) {
            return withRest(root + inside, pile);
        }
    }
    return root + inside;
}

} // namespace ctl
