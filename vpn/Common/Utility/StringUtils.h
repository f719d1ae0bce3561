#pragma once

#include <string>
#include <string_view>
#include <vector>

/// State of a connection, as log lines print it.
enum STATE : int
{
    CONNECTING = 0,
    CONNECTED = 1,
    RECONNECTING = 2,
    DISCONNECTING = 3,
    DISCONNECTED = 4,
    PAUSING = 5,
    PAUSED = 6,
    AUTHENTICATING = 7,
    SSOPOLLING = 8,
    UNDEFINED = 9,
};

/// Closer description of a connection's state. Single bits above 2, but rendered one value at a time.
enum VPNCON_SUBSTATE : int
{
    NORMAL = 0,
    INDEFINITE_DELAY = 1,
    SESSION_EXPIRING = 2,
    MT_DISCONNECTED_DISABLED = 4,
    MT_DISCONNECTED_TRUSTED_NW = 8,
    MT_DISCONNECTED_USER_TUNNEL_ACTIVE = 16,
    MT_DISCONNECTED_LAUNCH_FAILED = 32,
    MT_DISCONNECTED_CONNECT_FAILED = 64,
    MT_DISCONNECTED_BAD_VPN_CONFIG = 128,
    MT_DISCONNECTED_SW_UP_PENDING = 256,
    MTU_ADJUSTMENT_PENDING = 512,
};

/// Functions on byte strings; none looks at encodings beyond single bytes. They keep no state and log nothing, so all
/// may be called from several threads at once. Only exhausted memory makes one fail, with the standard library's
/// exception.
///
/// White space is what isspace knows in the POSIX locale, whatever the process's own: space, tab, line feed, vertical
/// tab, form feed and carriage return.
class CStringUtils
{
public:
    CStringUtils() = default;
    virtual ~CStringUtils() = default;

    /// True when `text` matches `pattern`, in which `*` stands for any run of bytes, the empty one included, and every
    /// other byte, `?` too, for itself. The literal text behind the last `*` is only compared with the end of `text`
    /// and may overlap what was matched before: abc matches ab*bc.
    static bool compareWithWildStr(const std::string& text, const std::string& pattern);

    static constexpr bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    /// True when some byte of `s` is not white space.
    static bool hasAnyNonWhitespace(const std::string& s);

    /// The part of `s` between the white space at its ends.
    static constexpr std::string_view trimmed(std::string_view s)
    {
        while (!s.empty() && isSpace(s.front())) {
            s.remove_prefix(1);
        }
        while (!s.empty() && isSpace(s.back())) {
            s.remove_suffix(1);
        }
        return s;
    }

    /// Removes white space from both ends of `s`, in place, and returns `s`.
    static std::string& removeLeadingAndTrailingWhitespacesNoCopy(std::string& s);

    /// A copy of `s` without white space at its ends.
    static std::string removeLeadingAndTrailingWhitespaces(const std::string& s);

    /// A copy of `s` without white space at its end; with `newlinesOnly` only line feeds and carriage returns go.
    static std::string removeTrailingWhitespaces(const std::string& s, bool newlinesOnly);

    /// The functions of the same names without A, applied to `s` up to its first NUL byte.
    static std::string removeLeadingAndTrailingWhitespacesA(const std::string& s);
    static std::string removeTrailingWhitespacesA(const std::string& s, bool newlinesOnly);

    /// A copy of `s`, up to its first NUL byte, in lower case.
    static std::string toLower(const std::string& s);

    /// The formatted text, cut at 1023 bytes.
    [[gnu::format(printf, 1, 2)]] static std::string formatString(const char* format, ...);

    static bool beginsWith(const std::string& s, const std::string& prefix);
    static bool endsWith(const std::string& s, const std::string& suffix);

    /// `s` with every `from` replaced by `to`. Replacements are not searched again; an empty `from` replaces nothing.
    static std::string stringReplace(std::string s, const std::string& from, const std::string& to);

    /// The pieces of `s` between its delimiters, empty ones included; always at least one.
    static std::vector<std::string> tokenize(const std::string& s, char delimiter);

    /// Replaces the five bytes that XML gives a meaning by their entities, in place.
    static void EscapeXML(std::string& s);

    /// The name of `state`, "UNKNOWN" for a value without one; unless `nameOnly`, its number in parentheses follows.
    static std::string VpnSessionStateToString(STATE state, bool nameOnly);
    static std::string VpnSessionSubstateToString(VPNCON_SUBSTATE substate, bool nameOnly);
};
