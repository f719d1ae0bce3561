// Version against a plain model of its numbers.
// Input: SEPARATORS|ONE|OTHER|JOINT, two version texts and the text that their numbers are joined by. The length of
// JOINT is also the index of the number at which the second one's text begins.

#include "fuzz/support/Input.h"
#include "fuzz/support/Require.h"
#include "vpn/Common/Utility/VersionCompare.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

using obg::test::require;
using Numbers = std::vector<std::int32_t>;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// What a piece counts as: blanks, a sign, digits; held to 64 bits and then cut to 32.
std::int32_t toNumber(const std::string& piece)
{
    std::size_t i = piece.find_first_not_of(" \t\n\v\f\r");
    if (i == std::string::npos) {
        return 0;
    }
    const bool isNegative = piece[i] == '-';
    if (isNegative || piece[i] == '+') {
        ++i;
    }
    constexpr std::uint64_t max = std::numeric_limits<std::int64_t>::max();
    const std::uint64_t limit = isNegative ? max + 1 : max;
    std::uint64_t number = 0;
    for (; i < piece.size() && isDigit(piece[i]); ++i) {
        const auto digit = static_cast<std::uint64_t>(piece[i] - '0');
        number = number > (limit - digit) / 10 ? limit : number * 10 + digit;
    }
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(isNegative ? 0 - number : number));
}

Numbers toNumbers(const std::string& text, const std::string& separators)
{
    Numbers numbers;
    std::string piece;
    for (const char c : text) {
        if (separators.find(c) == std::string::npos) {
            piece += c;
        } else {
            numbers.push_back(toNumber(piece));
            piece.clear();
        }
    }
    numbers.push_back(toNumber(piece));
    return numbers;
}

std::string toText(const Numbers& numbers, std::size_t first, const std::string& joint)
{
    std::string text;
    for (std::size_t i = first; i < numbers.size(); ++i) {
        text += (i == first ? "" : joint) + std::to_string(numbers[i]);
    }
    return text;
}

int compared(Numbers one, Numbers other)
{
    one.resize(std::max(one.size(), other.size()));
    other.resize(one.size());
    return one == other ? 0 : one < other ? -1 : 1;
}

bool haveCommonPrefix(const Numbers& one, const Numbers& other)
{
    const auto [end, otherEnd] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    return end == one.end() || otherEnd == other.end();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    obg::test::Input input(data, size);
    const std::string separators = input.text();
    const std::string oneText = input.text();
    const std::string otherText = input.text();
    const std::string joint = input.rest();

    const Version one(oneText, separators);
    const Version other(otherText, separators);
    const Numbers oneNumbers = toNumbers(oneText, separators);
    const Numbers otherNumbers = toNumbers(otherText, separators);

    require(one.ToString(0, joint) == toText(oneNumbers, 0, joint), "the numbers");
    const std::size_t first = joint.size();
    require(other.ToString(first, joint) == toText(otherNumbers, first, joint), "the numbers from any index on");
    require(one.compare(other) == compared(oneNumbers, otherNumbers), "order with zeros for missing numbers");
    require(one.compare(other) == -other.compare(one), "order from both sides");
    require(one.HaveCommonPrefix(other) == haveCommonPrefix(oneNumbers, otherNumbers), "prefix without padding");
    require(one.HaveCommonPrefix(other) == other.HaveCommonPrefix(one), "prefix from both sides");

    const Version again(toText(oneNumbers, 0, "."), ".");
    require(again.compare(one) == 0 && again.HaveCommonPrefix(one), "a version can be read back");
    return 0;
}
