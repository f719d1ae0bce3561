// getOSIDValue on any text, and the answers about the distribution on a release file with that text.
// Input: FILE QUESTION KEY|VERSION|TEXT, where the byte FILE says which file has TEXT: "i" /etc/issue, "n" none, every
// other one /etc/os-release; the byte QUESTION what is asked (see the switch); and VERSION what a label is asked for.

#include "fuzz/support/Input.h"
#include "fuzz/support/PrivateMachine.h"
#include "fuzz/support/Require.h"
#include "fuzz/support/SmallFile.h"
#include "vpn/Common/Utility/osverapi.h"

#include <optional>

#include <sys/utsname.h>
#include <unistd.h>

namespace {

using obg::test::cutAtNul;
using obg::test::require;

constexpr const char* kOsRelease = "/etc/os-release";
constexpr const char* kIssue = "/etc/issue";

/// What stands behind "KEY=", wherever that is: up to the closing quote, or over printable bytes. The first byte counts
/// whatever it is; the text's last one never does.
std::optional<std::string> valueOf(const std::string& key, const std::string& text)
{
    const std::size_t hit = text.find(key + "=");
    if (key.empty() || hit == std::string::npos) {
        return std::nullopt;
    }
    const std::string after = text.substr(hit + key.size() + 1);
    if (after.empty()) {
        return std::nullopt;
    }
    if (after[0] == '"') {
        const std::size_t quote = after.find('"', 1);
        return quote == std::string::npos ? std::nullopt : std::optional(after.substr(1, quote - 1));
    }
    if (after.size() == 1) {
        return std::nullopt;
    }
    std::string value(1, after[0]);
    for (std::size_t i = 1; i + 1 < after.size() && after[i] >= ' ' && after[i] <= '~'; ++i) {
        value += after[i];
    }
    return value;
}

void checkLookup(const std::string& key, const std::string& text)
{
    const std::optional<std::string> expected = valueOf(key, text);
    std::string value = "old";
    require(getOSIDValue(text, key, value) == expected.has_value(), "a value is found when it is there");
    const std::string whenThereIsNone = text.empty() || key.empty() ? "old" : "";
    require(value == expected.value_or(whenThereIsNone), "the value");
}

std::string lowered(std::string text)
{
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

/// What the program may know of the distribution when that release file is all there is.
std::string distribution(unsigned char file, const std::string& text)
{
    if (file == 'n') {
        return {};
    }
    return file == 'i' ? cutAtNul(text.substr(0, text.find('\n'))) : text;
}

void writeReleaseFile(unsigned char file, const std::string& text)
{
    static unsigned char s_last = 0;
    if (file != s_last) {
        unlink(kOsRelease);
        unlink(kIssue);
        s_last = file;
    }
    if (file != 'n') {
        obg::test::writeFile(file == 'i' ? kIssue : kOsRelease, text);
    }
}

std::string versionText(const std::string& text)
{
    const auto name = valueOf("NAME", text);
    const auto version = valueOf("VERSION", text);
    std::string expected;
    if (name && version) {
        expected = cutAtNul(*name) + " " + cutAtNul(*version);
    } else {
        utsname system{};
        require(uname(&system) == 0, "uname works");
        expected = std::string(system.sysname) + " " + system.release + " " + system.version + " " + system.machine;
    }
    return expected.substr(0, sizeof(OSVersionInfo::versionText) - 1);
}

std::string label(const std::string& lowerText, const Version& version)
{
    const std::string name = lowerText.find("ubuntu") != std::string::npos    ? "Ubuntu"
                             : lowerText.find("red hat") != std::string::npos ? "RHEL"
                                                                              : "Linux";
    return version.compare(Version("0", ".")) == 0 ? name : name + " " + version.ToString(0, ".");
}

void checkPlatform(const std::string& text)
{
    const OSVersionInfo info = GetOsVersion();
    require(info.platformType == 6 && info.majorVersion == 0 && info.minorVersion == 0 && info.reserved == 0,
            "the platform is Linux without numbers");
    require(std::string(info.platformName) == "Linux", "the platform's name");
    require(info.versionText == versionText(text), "name and version, or what uname says");
}

/// One question a run: each reads the files anew.
void ask(unsigned char question, const std::string& text, const Version& asked)
{
    const std::string lower = lowered(text);
    const Version release(valueOf("version_id", lower).value_or(""), ".,");
    const bool isUbuntu = lower.find("ubuntu") != std::string::npos;
    const bool isRedHat = lower.find("red hat") != std::string::npos;
    const bool isZero = asked.compare(Version("0", ".")) == 0;
    switch (question) {
    case 'p':
        checkPlatform(text);
        break;
    case 'u':
        require(IsOs_LINUX_Ubuntu() == isUbuntu, "any mention counts");
        require(IsOs_LINUX_Ubuntu_1804_OrGreater() == (isUbuntu && release.compare(Version("18.04", ".")) >= 0),
                "18.04 or above");
        break;
    case 'r':
        require(IsOs_LINUX_RedHat() == isRedHat, "any mention counts");
        require(IsOs_LINUX_RedHat_7_Only() == (isRedHat && release.HaveCommonPrefix(Version("7", "."))),
                "7 and its points");
        break;
    case 'c':
        require(GetFriendlyOSInfo(true, asked) == label(lower, isZero ? release : asked),
                "a label, else the machine's");
        break;
    case 'l':
        require(GetFriendlyOSInfo(false, asked) == label(lower, asked), "a label for that version alone");
        break;
    default:
        require(GetOsVersionID().ToString(0, ".") == release.ToString(0, "."), "the release number");
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    obg::test::enterPrivateMachine();
    obg::test::hideReleaseFiles();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    obg::test::Input input(data, size);
    const unsigned char file = input.byte();
    const unsigned char question = input.byte();
    const std::string key = input.text();
    const Version asked(input.text(), ".");
    const std::string text = input.rest();
    checkLookup(key, text);
    writeReleaseFile(file, text);
    ask(question, distribution(file, text), asked);
    return 0;
}
