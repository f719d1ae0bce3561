#include "tests/support/Bytes.h"

#include <gtest/gtest.h>

namespace obg::test {

namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

int digitValue(char c)
{
    const char lower = (c >= 'A' && c <= 'F') ? static_cast<char>(c - 'A' + 'a') : c;
    const auto at = kDigits.find(lower);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

bool isBlank(char c)
{
    return c == ' ' || c == '\n' || c == '\t';
}

} // namespace

std::string fromHex(std::string_view digits)
{
    std::string bytes;
    for (std::size_t i = 0; i < digits.size();) {
        if (isBlank(digits[i])) {
            ++i;
            continue;
        }
        const int high = digitValue(digits[i]);
        const int low = i + 1 < digits.size() ? digitValue(digits[i + 1]) : -1;
        if (high < 0 || low < 0) {
            ADD_FAILURE() << "not a pair of hexadecimal digits at offset " << i << " of \"" << digits << '"';
            return {};
        }
        bytes.push_back(static_cast<char>(high * 16 + low));
        i += 2;
    }
    return bytes;
}

std::string toHex(std::string_view bytes)
{
    std::string digits;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (!digits.empty()) {
            digits.push_back(' ');
        }
        digits.push_back(kDigits[byte >> 4]);
        digits.push_back(kDigits[byte & 15]);
    }
    return digits;
}

std::string u32le(std::uint32_t value)
{
    std::string bytes;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<char>((value >> shift) & 0xFF));
    }
    return bytes;
}

std::string field(std::string_view text)
{
    return u32le(static_cast<std::uint32_t>(text.size() + 1)) + std::string(text) + '\0';
}

std::string storeHeader(std::uint32_t major, std::uint32_t minor)
{
    return u32le(major) + u32le(minor);
}

std::string storeRecord(std::uint32_t type, std::string_view version, std::string_view fileId)
{
    return u32le(type) + field(version) + field(fileId);
}

} // namespace obg::test
