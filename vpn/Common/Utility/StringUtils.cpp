#include "vpn/Common/Utility/StringUtils.h"

#include "vpn/Common/Utility/safe_string.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdarg>
#include <string_view>

namespace {

constexpr std::string_view kNewlines = "\n\r";
constexpr std::string_view kWhitespaces = " \t\f\v\n\r";
constexpr std::size_t kFormatBufferSize = 1024;

std::string withNumber(const char* name, int value, bool nameOnly)
{
    return nameOnly ? std::string(name) : std::string(name) + "(" + std::to_string(value) + ")";
}

const char* nameOf(STATE state)
{
    switch (state) {
    case CONNECTING:
        return "CONNECTING";
    case CONNECTED:
        return "CONNECTED";
    case RECONNECTING:
        return "RECONNECTING";
    case DISCONNECTING:
        return "DISCONNECTING";
    case DISCONNECTED:
        return "DISCONNECTED";
    case PAUSING:
        return "PAUSING";
    case PAUSED:
        return "PAUSED";
    case AUTHENTICATING:
        return "AUTHENTICATING";
    case SSOPOLLING:
        return "SSOPOLLING";
    case UNDEFINED:
        return "UNDEFINED";
    }
    return "UNKNOWN";
}

const char* nameOf(VPNCON_SUBSTATE substate)
{
    switch (substate) {
    case NORMAL:
        return "NORMAL";
    case INDEFINITE_DELAY:
        return "INDEFINITE_DELAY";
    case SESSION_EXPIRING:
        return "SESSION_EXPIRING";
    case MT_DISCONNECTED_DISABLED:
        return "MT_DISCONNECTED_DISABLED";
    case MT_DISCONNECTED_TRUSTED_NW:
        return "MT_DISCONNECTED_TRUSTED_NW";
    case MT_DISCONNECTED_USER_TUNNEL_ACTIVE:
        return "MT_DISCONNECTED_USER_TUNNEL_ACTIVE";
    case MT_DISCONNECTED_LAUNCH_FAILED:
        return "MT_DISCONNECTED_LAUNCH_FAILED";
    case MT_DISCONNECTED_CONNECT_FAILED:
        return "MT_DISCONNECTED_CONNECT_FAILED";
    case MT_DISCONNECTED_BAD_VPN_CONFIG:
        return "MT_DISCONNECTED_BAD_VPN_CONFIG";
    case MT_DISCONNECTED_SW_UP_PENDING:
        return "MT_DISCONNECTED_SW_UP_PENDING";
    case MTU_ADJUSTMENT_PENDING:
        return "MTU_ADJUSTMENT_PENDING";
    }
    return "UNKNOWN";
}

const char* entityOf(char c)
{
    switch (c) {
    case '&':
        return "&amp;";
    case '\'':
        return "&apos;";
    case '"':
        return "&quot;";
    case '>':
        return "&gt;";
    case '<':
        return "&lt;";
    default:
        return nullptr;
    }
}

} // namespace

bool CStringUtils::compareWithWildStr(const std::string& text, const std::string& pattern)
{
    std::size_t t = 0;
    std::size_t p = 0;
    while (t < text.size() && p < pattern.size()) {
        if (pattern[p] != '*') {
            if (pattern[p] != text[t]) {
                return false;
            }
            ++p;
            ++t;
            continue;
        }
        const std::size_t literal = pattern.find_first_not_of('*', p);
        if (literal == std::string::npos) {
            return true;
        }
        p = std::min(pattern.find('*', literal), pattern.size());
        const std::string_view segment = std::string_view(pattern).substr(literal, p - literal);
        if (p == pattern.size()) {
            // Held against the end of the text alone, not against t: the tail may overlap what was matched already.
            return std::string_view(text).ends_with(segment);
        }
        const std::size_t found = text.find(segment, t);
        if (found == std::string::npos) {
            return false;
        }
        t = found + segment.size();
    }
    return t == text.size() && pattern.find_first_not_of('*', p) == std::string::npos;
}

bool CStringUtils::hasAnyNonWhitespace(const std::string& s)
{
    return !std::all_of(s.begin(), s.end(), isSpace);
}

std::string& CStringUtils::removeLeadingAndTrailingWhitespacesNoCopy(std::string& s)
{
    const std::string_view kept = trimmed(s);
    const auto begin = static_cast<std::size_t>(kept.data() - s.data());
    s.resize(begin + kept.size());
    s.erase(0, begin);
    return s;
}

std::string CStringUtils::removeLeadingAndTrailingWhitespaces(const std::string& s)
{
    const std::size_t first = s.find_first_not_of(kWhitespaces);
    return first == std::string::npos ? std::string() : removeTrailingWhitespaces(s.substr(first), false);
}

std::string CStringUtils::removeTrailingWhitespaces(const std::string& s, bool newlinesOnly)
{
    // Of a text without any other byte nothing is left: npos + 1 is 0.
    return s.substr(0, s.find_last_not_of(newlinesOnly ? kNewlines : kWhitespaces) + 1);
}

std::string CStringUtils::removeLeadingAndTrailingWhitespacesA(const std::string& s)
{
    return removeLeadingAndTrailingWhitespaces(s.c_str());
}

std::string CStringUtils::removeTrailingWhitespacesA(const std::string& s, bool newlinesOnly)
{
    return removeTrailingWhitespaces(s.c_str(), newlinesOnly);
}

std::string CStringUtils::toLower(const std::string& s)
{
    std::string lower(s.c_str());
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

std::string CStringUtils::formatString(const char* format, ...)
{
    std::array<char, kFormatBufferSize> buffer{};
    std::va_list arguments;
    va_start(arguments, format);
    safe_vsnprintfA(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
    return buffer.data();
}

bool CStringUtils::beginsWith(const std::string& s, const std::string& prefix)
{
    return s.starts_with(prefix);
}

bool CStringUtils::endsWith(const std::string& s, const std::string& suffix)
{
    return s.ends_with(suffix);
}

std::string CStringUtils::stringReplace(std::string s, const std::string& from, const std::string& to)
{
    if (from.empty()) {
        return s;
    }
    std::string replaced;
    std::size_t copied = 0;
    for (std::size_t hit = s.find(from); hit != std::string::npos; hit = s.find(from, copied)) {
        replaced.append(s, copied, hit - copied).append(to);
        copied = hit + from.size();
    }
    replaced.append(s, copied);
    return replaced;
}

std::vector<std::string> CStringUtils::tokenize(const std::string& s, char delimiter)
{
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    for (std::size_t end = s.find(delimiter); end != std::string::npos; end = s.find(delimiter, begin)) {
        pieces.push_back(s.substr(begin, end - begin));
        begin = end + 1;
    }
    pieces.push_back(s.substr(begin));
    return pieces;
}

void CStringUtils::EscapeXML(std::string& s)
{
    std::string escaped;
    escaped.reserve(s.size());
    for (const char c : s) {
        if (const char* entity = entityOf(c)) {
            escaped.append(entity);
        } else {
            escaped.push_back(c);
        }
    }
    s.swap(escaped);
}

std::string CStringUtils::VpnSessionStateToString(STATE state, bool nameOnly)
{
    return withNumber(nameOf(state), state, nameOnly);
}

std::string CStringUtils::VpnSessionSubstateToString(VPNCON_SUBSTATE substate, bool nameOnly)
{
    return withNumber(nameOf(substate), substate, nameOnly);
}
