#include "vpn/Common/Utility/osverapi.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/FailingReads.h"
#include "tests/support/Files.h"
#include "tests/support/Paths.h"
#include "tests/support/PrivateMachine.h"
#include "tests/support/Privileges.h"

// uname stands before that of the C library in this binary: the kernel always says the same, or fails.

namespace {

bool s_unameFails = false;
constexpr const char* kUnameText = "Linux 5.4.0-test #7 SMP Thu Jan 7 09:05:03 UTC 2021 x86_64";

} // namespace

extern "C" int uname(utsname* system) noexcept
{
    if (s_unameFails) {
        errno = EFAULT;
        return -1;
    }
    *system = {};
    std::strcpy(system->sysname, "Linux");
    std::strcpy(system->nodename, "a-host-nobody-names");
    std::strcpy(system->release, "5.4.0-test");
    std::strcpy(system->version, "#7 SMP Thu Jan 7 09:05:03 UTC 2021");
    std::strcpy(system->machine, "x86_64");
    return 0;
}

namespace {

using obg::test::CapturedLog;
using obg::test::FailingReads;
using obg::test::readFile;
using obg::test::SystemFiles;
using obg::test::WithoutPrivileges;
using ::testing::IsEmpty;
using namespace std::string_literals;

constexpr const char* kOsRelease = "/etc/os-release";
constexpr const char* kProcVersion = "/proc/version";
constexpr const char* kIssue = "/etc/issue";
constexpr const char* kNduid = "/proc/nduid";

std::string fixture(const std::string& name)
{
    return readFile(obg::test::sourceTree() + "/tests/data/" + name);
}

std::string releaseNumber()
{
    return GetOsVersionID().ToString(0, ".");
}

const Version kNoVersion("", ".,");

// getOSIDValue

struct Lookup
{
    std::string text;
    std::string key;
    std::optional<std::string> value;
};

void expectLookups(const std::vector<Lookup>& lookups)
{
    for (const auto& [text, key, expected] : lookups) {
        SCOPED_TRACE(key + " in " + text);
        std::string value = "from an earlier call";
        EXPECT_EQ(getOSIDValue(text, key, value), expected.has_value());
        EXPECT_EQ(value, expected.value_or(""));
    }
}

TEST(getOSIDValue, aQuotedValueEndsAtTheNextQuote)
{
    expectLookups({
        {"NAME=\"Ubuntu\"\n", "NAME", "Ubuntu"},
        {"NAME=\"Ubuntu\"", "NAME", "Ubuntu"},
        {"NAME=\"\"\n", "NAME", ""},
        {"NAME=\"a\" b\"\n", "NAME", "a"},
        {"NAME=\"a\\\"b\"\n", "NAME", "a\\"},
        {"NAME=\"two\nlines\"\n", "NAME", "two\nlines"},
        {"NAME=\"a\0b\"\n"s, "NAME", "a\0b"s},
        {"NAME='a'\n", "NAME", "'a'"},
    });
}

TEST(getOSIDValue, aQuoteThatIsNotClosedGivesNothing)
{
    expectLookups({{"NAME=\"Ubuntu\n", "NAME", {}}, {"NAME=\"", "NAME", {}}});
}

TEST(getOSIDValue, anUnquotedValueEndsAtTheFirstUnprintableByte)
{
    expectLookups({
        {"ID=ubuntu\nX=1\n", "ID", "ubuntu"},
        {"ID=ubuntu\n", "ID", "ubuntu"},
        {"ID=ubuntu\tx\n", "ID", "ubuntu"},
        {"ID=ubuntu\r\n", "ID", "ubuntu"},
        {"ID=ub\xc3\xbcntu\n", "ID", "ub"},
        {"ID=a b#c\n", "ID", "a b#c"},
        {"ID=a\"b\"\n", "ID", "a\"b\""},
    });
}

TEST(getOSIDValue, theTextsLastByteNeverBelongsToAnUnquotedValue)
{
    expectLookups({{"X=1\nID=ubuntu", "ID", "ubunt"}, {"ID=ub", "ID", "u"}});
}

TEST(getOSIDValue, aValueOfTheTextsLastByteAloneIsNone)
{
    expectLookups({{"ID=u", "ID", {}}, {"ID=\n", "ID", {}}});
}

TEST(getOSIDValue, nothingBehindTheEqualsSignIsNone)
{
    expectLookups({{"ID=", "ID", {}}, {"X=1\nID=", "ID", {}}});
}

TEST(getOSIDValue, theFirstByteOfAnUnquotedValueIsTakenWhateverItIs)
{
    expectLookups({
        {"ID=\nNAME=x\n", "ID", "\nNAME=x"},
        {"ID=\n\nNAME=x\n", "ID", "\n"},
        {"ID=\0ab\n"s, "ID", "\0ab"s},
    });
}

TEST(getOSIDValue, aKeyIsFoundInsideALongerOne)
{
    expectLookups({
        {"VERSION_ID=\"22.04\"\nID=ubuntu\n", "ID", "22.04"},
        {"PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\n", "NAME",
         "Debian GNU/Linux 12 (bookworm)"},
        {"# VERSION=\"1\"\n", "VERSION", "1"},
    });
}

TEST(getOSIDValue, theFirstOccurrenceCounts)
{
    expectLookups({{"ID=one\nID=two\n", "ID", "one"}, {"ID=\"open\nID=two\n", "ID", {}}});
}

TEST(getOSIDValue, aKeyWithoutEqualsSignOrInAnotherCaseIsNone)
{
    expectLookups({{"ID ubuntu\n", "ID", {}}, {"ID =ubuntu\n", "ID", {}}, {"ID=ubuntu\n", "id", {}}});
}

TEST(getOSIDValue, theValueMayStandWhereTheTextOrTheKeyStood)
{
    std::string text = "NAME=\"a value longer than a short string holds\"\n";
    EXPECT_TRUE(getOSIDValue(text, "NAME", text));
    EXPECT_EQ(text, "a value longer than a short string holds");
    std::string key = "NAME";
    EXPECT_TRUE(getOSIDValue("NAME=\"value\"\n", key, key));
    EXPECT_EQ(key, "value");
}

TEST(getOSIDValue, anEmptyTextOrKeyLeavesTheValueAlone)
{
    std::string value = "from an earlier call";
    EXPECT_FALSE(getOSIDValue("", "ID", value));
    EXPECT_FALSE(getOSIDValue("ID=ubuntu\n", "", value));
    EXPECT_FALSE(getOSIDValue("", "", value));
    EXPECT_EQ(value, "from an earlier call");
}

/** A machine without any release file, to begin with, and a log that stays empty. */
class OsMachine : public ::testing::Test
{
protected:
    OsMachine() { m_files.hideReleaseFiles(); }

    ~OsMachine() override
    {
        EXPECT_THAT(m_log.records(), IsEmpty());
        s_unameFails = false;
    }

    static std::string versionText() { return GetOsVersion().versionText; }

    void expectNoDistribution() const
    {
        EXPECT_EQ(versionText(), kUnameText);
        EXPECT_EQ(releaseNumber(), "0");
        EXPECT_FALSE(IsOs_LINUX_Ubuntu());
        EXPECT_FALSE(IsOs_LINUX_RedHat());
        EXPECT_FALSE(IsOs_LINUX_RedHat_7_Only());
        EXPECT_FALSE(IsOs_LINUX_Ubuntu_1804_OrGreater());
        EXPECT_EQ(GetFriendlyOSInfo(true, kNoVersion), "Linux");
    }

    SystemFiles m_files;
    CapturedLog m_log;
};

// Every release that there is a file of

struct Release
{
    /** Below tests/data. */
    std::string file;
    /** Where that stands on the machine. */
    const char* path;
    std::string versionText;
    std::string number;
    bool isUbuntu;
    bool isRedHat;
    bool isRedHat7;
    bool isUbuntu1804;
    std::string label;
};

void PrintTo(const Release& release, std::ostream* stream)
{
    *stream << release.file;
}

class OsRelease : public OsMachine, public ::testing::WithParamInterface<Release>
{
protected:
    OsRelease() { m_files.overlayFile(GetParam().path, fixture(GetParam().file)); }
};

TEST_P(OsRelease, isKnown)
{
    const Release& release = GetParam();
    EXPECT_EQ(versionText(), release.versionText);
    EXPECT_EQ(releaseNumber(), release.number);
    EXPECT_EQ(IsOs_LINUX_Ubuntu(), release.isUbuntu);
    EXPECT_EQ(IsOs_LINUX_RedHat(), release.isRedHat);
    EXPECT_EQ(IsOs_LINUX_RedHat_7_Only(), release.isRedHat7);
    EXPECT_EQ(IsOs_LINUX_Ubuntu_1804_OrGreater(), release.isUbuntu1804);
    EXPECT_EQ(GetFriendlyOSInfo(true, kNoVersion), release.label);
}

std::string releaseName(const ::testing::TestParamInfo<Release>& info)
{
    std::string name = info.param.file;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

// In the order of the questions: is it Ubuntu, Red Hat, Red Hat 7, Ubuntu 18.04 or later.
INSTANTIATE_TEST_SUITE_P(
    FromOsRelease, OsRelease,
    ::testing::ValuesIn(std::vector<Release>{
        {"os-release/debian-11", kOsRelease, "Debian GNU/Linux 11 (bullseye) 11 (bullseye)", "11", false, false, false,
         false, "Linux 11"},
        {"os-release/debian-12", kOsRelease, "Debian GNU/Linux 12 (bookworm) 12 (bookworm)", "12", false, false, false,
         false, "Linux 12"},
        {"os-release/ubuntu-16.04", kOsRelease, "Ubuntu 16.04.7 LTS (Xenial Xerus)", "16.4", true, false, false, false,
         "Ubuntu 16.4"},
        {"os-release/ubuntu-18.04", kOsRelease, "Ubuntu 18.04.6 LTS (Bionic Beaver)", "18.4", true, false, false, true,
         "Ubuntu 18.4"},
        {"os-release/ubuntu-20.04", kOsRelease, "Ubuntu 20.04.6 LTS (Focal Fossa)", "20.4", true, false, false, true,
         "Ubuntu 20.4"},
        {"os-release/ubuntu-22.04", kOsRelease, "Ubuntu 22.04.3 LTS 22.04.3 LTS (Jammy Jellyfish)", "22.4", true, false,
         false, true, "Ubuntu 22.4"},
        {"os-release/ubuntu-24.04", kOsRelease, "Ubuntu 24.04.1 LTS 24.04.1 LTS (Noble Numbat)", "24.4", true, false,
         false, true, "Ubuntu 24.4"},
        {"os-release/linuxmint-21", kOsRelease, "Linux Mint 21.2 (Victoria)", "21.2", true, false, false, true,
         "Ubuntu 21.2"},
        {"os-release/rhel-7", kOsRelease, "Red Hat Enterprise Linux Server 7.9 (Maipo)", "7.9", false, true, true,
         false, "RHEL 7.9"},
        {"os-release/rhel-8", kOsRelease, "Red Hat Enterprise Linux 8.9 (Ootpa)", "8.9", false, true, false, false,
         "RHEL 8.9"},
        {"os-release/rhel-9", kOsRelease, "Red Hat Enterprise Linux 9.3 (Plow)", "9.3", false, true, false, false,
         "RHEL 9.3"},
        {"os-release/centos-7", kOsRelease, "CentOS Linux 7 (Core)", "7", false, false, false, false, "Linux 7"},
        {"os-release/rocky-8", kOsRelease, "Rocky Linux 8.9 (Green Obsidian)", "8.9", false, false, false, false,
         "Linux 8.9"},
        {"os-release/rocky-9", kOsRelease, "Rocky Linux 9.3 (Blue Onyx)", "9.3", false, false, false, false,
         "Linux 9.3"},
        {"os-release/almalinux-8", kOsRelease, "AlmaLinux 8.9 (Midnight Oncilla)", "8.9", false, false, false, false,
         "Linux 8.9"},
        {"os-release/almalinux-9", kOsRelease, "AlmaLinux 9.3 (Shamrock Pampas Cat)", "9.3", false, false, false, false,
         "Linux 9.3"},
        {"os-release/fedora-28", kOsRelease, "Fedora 28 (Workstation Edition)", "28", false, false, false, false,
         "Linux 28"},
        {"os-release/fedora-39", kOsRelease, "Fedora Linux 39 (Workstation Edition)", "39", false, false, false, false,
         "Linux 39"},
        {"os-release/opensuse-leap-15.5", kOsRelease, "openSUSE Leap 15.5", "15.5", false, false, false, false,
         "Linux 15.5"},
        {"os-release/opensuse-tumbleweed", kOsRelease, "openSUSE Tumbleweed 20231106", "20231106", false, false, false,
         false, "Linux 20231106"},
        {"os-release/sles-15.5", kOsRelease, "SLES 15-SP5", "15.5", false, false, false, false, "Linux 15.5"},
        {"os-release/alpine-3.8", kOsRelease, kUnameText, "3.8.5", false, false, false, false, "Linux 3.8.5"},
        {"os-release/alpine-3.18", kOsRelease, kUnameText, "3.18.4", false, false, false, false, "Linux 3.18.4"},
        {"os-release/amazon-linux-2", kOsRelease, "Amazon Linux 2", "2", false, false, false, false, "Linux 2"},
        {"os-release/amazon-linux-2023", kOsRelease, "Amazon Linux 2023", "2023", false, false, false, false,
         "Linux 2023"},
        {"os-release/arch", kOsRelease, kUnameText, "0", false, false, false, false, "Linux"},
    }),
    releaseName);

// A kernel's and a login prompt's text hold no keys, but the words that are looked for.
INSTANTIATE_TEST_SUITE_P(
    FromOtherFiles, OsRelease,
    ::testing::ValuesIn(std::vector<Release>{
        {"proc-version/debian-12", kProcVersion, kUnameText, "0", false, false, false, false, "Linux"},
        {"proc-version/ubuntu-22.04", kProcVersion, kUnameText, "0", true, false, false, false, "Ubuntu"},
        {"proc-version/rhel-6", kProcVersion, kUnameText, "0", false, true, false, false, "RHEL"},
        {"issue/debian-12", kIssue, kUnameText, "0", false, false, false, false, "Linux"},
        {"issue/ubuntu-14.04", kIssue, kUnameText, "0", true, false, false, false, "Ubuntu"},
        {"issue/rhel-6", kIssue, kUnameText, "0", false, true, false, false, "RHEL"},
        {"issue/centos-6", kIssue, kUnameText, "0", false, false, false, false, "Linux"},
    }),
    releaseName);

// Which file is read, and how much of it

TEST_F(OsMachine, withoutReleaseFilesIsLinuxAndNoMore)
{
    expectNoDistribution();
}

TEST_F(OsMachine, readsTheFirstFileThatExists)
{
    m_files.overlayFile(kIssue, "VERSION_ID=\"3\"\n");
    EXPECT_EQ(releaseNumber(), "3");
    m_files.overlayFile(kProcVersion, "VERSION_ID=\"2\"\n");
    EXPECT_EQ(releaseNumber(), "2");
    m_files.overlayFile(kOsRelease, "VERSION_ID=\"1\"\n");
    EXPECT_EQ(releaseNumber(), "1");
    m_files.hideFile(kOsRelease);
    EXPECT_EQ(releaseNumber(), "2");
    m_files.hideFile(kProcVersion);
    EXPECT_EQ(releaseNumber(), "3");
}

TEST_F(OsMachine, anOsReleaseThatSaysNothingHidesTheOtherFiles)
{
    m_files.overlayFile(kOsRelease, "");
    m_files.overlayFile(kProcVersion, "Ubuntu VERSION_ID=\"2\"\n");
    expectNoDistribution();
}

TEST_F(OsMachine, readsAllOfOsRelease)
{
    const std::string longText(100'000, '#');
    m_files.overlayFile(kOsRelease,
                        "\n\0\n"s + longText + "\nNAME=\"A\"\nVERSION=\"B\"\nID_LIKE=ubuntu\nVERSION_ID=9\n");
    EXPECT_EQ(versionText(), "A B");
    EXPECT_EQ(releaseNumber(), "9");
    EXPECT_TRUE(IsOs_LINUX_Ubuntu());
}

TEST_F(OsMachine, readsOneLineOfTheOtherFiles)
{
    for (const char* path : {kIssue, kProcVersion}) {
        m_files.overlayFile(path, "NAME=\"A\" VERSION=\"B\" VERSION_ID=\"9\"\nUbuntu\n");
        EXPECT_EQ(versionText(), "A B");
        EXPECT_EQ(releaseNumber(), "9");
        EXPECT_FALSE(IsOs_LINUX_Ubuntu());
        m_files.overlayFile(path, "\nUbuntu\n");
        expectNoDistribution();
    }
}

TEST_F(OsMachine, theLineOfTheOtherFilesNeedsNoEndAndEndsAtItsNul)
{
    for (const char* path : {kIssue, kProcVersion}) {
        m_files.overlayFile(path, "VERSION_ID=10 Ubuntu");
        EXPECT_TRUE(IsOs_LINUX_Ubuntu());
        // The last byte of the text is lost, the first numbers are not.
        EXPECT_EQ(releaseNumber(), "10");
        m_files.overlayFile(path, "VERSION_ID=105");
        EXPECT_EQ(releaseNumber(), "10");
        m_files.overlayFile(path, "VERSION_ID=\"9\"\0Ubuntu\n"s);
        EXPECT_FALSE(IsOs_LINUX_Ubuntu());
        EXPECT_EQ(releaseNumber(), "9");
        m_files.overlayFile(path, "");
        expectNoDistribution();
    }
}

TEST_F(OsMachine, followsOsReleaseWhereItLeads)
{
    m_files.hideFile(kOsRelease);
    ASSERT_EQ(symlink("release-of-this-test", kOsRelease), 0);
    m_files.overlayFile(kProcVersion, "VERSION_ID=\"2\"\n");
    EXPECT_EQ(releaseNumber(), "2");
    m_files.overlayFile("/etc/release-of-this-test", "VERSION_ID=\"1\"\n");
    EXPECT_EQ(releaseNumber(), "1");
}

TEST_F(OsMachine, aDirectoryIsNoReleaseFile)
{
    m_files.overlayFile(kProcVersion, "VERSION_ID=\"2\"\n");
    ASSERT_EQ(mkdir(kOsRelease, 0755), 0);
    EXPECT_EQ(releaseNumber(), "2");
}

TEST_F(OsMachine, aFileThatTheUserMayNotReadHidesTheOthersToo)
{
    m_files.overlayFile(kOsRelease, fixture("os-release/ubuntu-22.04"));
    m_files.overlayFile(kProcVersion, fixture("proc-version/ubuntu-22.04"));
    ASSERT_EQ(chmod(kOsRelease, 0), 0);
    const WithoutPrivileges user;
    expectNoDistribution();
}

TEST_F(OsMachine, aSocketPassesForAFileThatDoesNotOpen)
{
    m_files.overlayFile(kProcVersion, "VERSION_ID=\"2\"\n");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, kOsRelease);
    const int socketAtPath = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(socketAtPath, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    expectNoDistribution();
    close(socketAtPath);
}

TEST_F(OsMachine, aFirstLineThatCannotBeReadIsNoAnswer)
{
    const std::string text = "Ubuntu NAME=\"A\" VERSION=\"B\" VERSION_ID=\"9\" and no line end";
    const std::vector<std::function<void()>> questions = {
        [] { EXPECT_EQ(versionText(), kUnameText); },
        [] { EXPECT_EQ(releaseNumber(), "0"); },
        [] { EXPECT_EQ(GetFriendlyOSInfo(false, kNoVersion), "Linux"); },
    };
    for (const char* path : {kIssue, kProcVersion}) {
        m_files.overlayFile(path, text);
        for (const std::size_t readable : {std::size_t{0}, text.size() - 1, text.size()}) {
            SCOPED_TRACE(path + ", failing after "s + std::to_string(readable));
            for (const auto& question : questions) {
                const FailingReads failing(readable, EIO);
                question();
            }
        }
    }
}

TEST_F(OsMachine, anOsReleaseThatCannotBeReadToItsEndGivesWhatWasRead)
{
    const std::string text = "Ubuntu NAME=\"A\" VERSION=\"B\" VERSION_ID=\"9\" and no line end";
    m_files.overlayFile(kOsRelease, text);
    {
        const FailingReads failing(text.size() - 1, EIO);
        EXPECT_EQ(versionText(), "A B");
    }
    {
        const FailingReads failing(std::strlen("Ubuntu NAME="), EIO);
        EXPECT_TRUE(IsOs_LINUX_Ubuntu());
    }
    {
        // The file is read twice, the second time not to its end.
        const FailingReads failing(2 * text.size() - 1, EIO);
        EXPECT_EQ(releaseNumber(), "9");
    }
    {
        const FailingReads failing(0, EIO);
        EXPECT_EQ(versionText(), kUnameText);
    }
}

TEST_F(OsMachine, theReleaseNumberAsksForThePlatformFirst)
{
    m_files.hideFile(kOsRelease);
    ASSERT_EQ(symlink("os-release", kOsRelease), 0);
    GetOsVersion();
    ASSERT_EQ(m_log.records().size(), 1U);
    GetOsVersionID();
    // One look at the release files for the platform, one for the number.
    EXPECT_EQ(m_log.records().size(), 3U);
    m_log.clear();
}

TEST_F(OsMachine, everyCallReadsTheFilesAnew)
{
    m_files.overlayFile(kOsRelease, fixture("os-release/ubuntu-16.04"));
    EXPECT_FALSE(IsOs_LINUX_Ubuntu_1804_OrGreater());
    m_files.overlayFile(kOsRelease, fixture("os-release/ubuntu-18.04"));
    EXPECT_TRUE(IsOs_LINUX_Ubuntu_1804_OrGreater());
    m_files.overlayFile(kOsRelease, fixture("os-release/rhel-7"));
    EXPECT_FALSE(IsOs_LINUX_Ubuntu());
    EXPECT_TRUE(IsOs_LINUX_RedHat_7_Only());
}

// GetOsVersion

TEST_F(OsMachine, theRecordIsLinuxWithoutNumbersAndZeroBehindItsTexts)
{
    m_files.overlayFile(kOsRelease, fixture("os-release/ubuntu-18.04"));
    const OSVersionInfo info = GetOsVersion();
    EXPECT_EQ(info.platformType, 6U);
    EXPECT_EQ(info.majorVersion, 0U);
    EXPECT_EQ(info.minorVersion, 0U);
    EXPECT_EQ(info.reserved, 0U);
    EXPECT_EQ(std::string(info.platformName, sizeof info.platformName), "Linux" + std::string(59, '\0'));
    const std::string text = "Ubuntu 18.04.6 LTS (Bionic Beaver)";
    EXPECT_EQ(std::string(info.versionText, sizeof info.versionText), text + std::string(256 - text.size(), '\0'));
}

static_assert(std::is_same_v<decltype(OSVersionInfo::platformType), std::uint32_t>);
static_assert(sizeof(OSVersionInfo::platformName) == 64);
static_assert(sizeof(OSVersionInfo::versionText) == 256);
static_assert(sizeof(OSVersionInfo) == 4 * 4 + 64 + 256);

TEST_F(OsMachine, theVersionTextIsTheNameAndTheVersion)
{
    m_files.overlayFile(kOsRelease, "NAME=\"Ubuntu\"\nVERSION=\"22.04.3 LTS (Jammy Jellyfish)\"\n");
    EXPECT_EQ(versionText(), "Ubuntu 22.04.3 LTS (Jammy Jellyfish)");
}

TEST_F(OsMachine, theVersionTextNeedsBothNameAndVersion)
{
    m_files.overlayFile(kOsRelease, "NAME=\"A\"\nVERSION_ID=\"1\"\n");
    EXPECT_EQ(versionText(), kUnameText);
    m_files.overlayFile(kOsRelease, "VERSION=\"B\"\n");
    EXPECT_EQ(versionText(), kUnameText);
    m_files.overlayFile(kOsRelease, "NAME=\"A\"\nVERSION=\"B\n");
    EXPECT_EQ(versionText(), kUnameText);
    m_files.overlayFile(kOsRelease, "NAME=\"\"\nVERSION=\"\"\n");
    EXPECT_EQ(versionText(), " ");
}

TEST_F(OsMachine, theVersionTextIsCutAt255Bytes)
{
    m_files.overlayFile(kOsRelease,
                        "NAME=\"" + std::string(200, 'n') + "\"\nVERSION=\"" + std::string(200, 'v') + "\"\n");
    EXPECT_EQ(versionText(), std::string(200, 'n') + " " + std::string(54, 'v'));
}

TEST_F(OsMachine, theKernelsTextLeavesTheHostsNameOut)
{
    EXPECT_EQ(versionText(), "Linux 5.4.0-test #7 SMP Thu Jan 7 09:05:03 UTC 2021 x86_64");
}

TEST_F(OsMachine, theVersionTextIsUnknownWhenTheKernelSaysNothing)
{
    s_unameFails = true;
    EXPECT_EQ(versionText(), "Unknown");
    EXPECT_TRUE(IsOs_LINUX());
    m_files.overlayFile(kOsRelease, fixture("os-release/ubuntu-18.04"));
    EXPECT_EQ(versionText(), "Ubuntu 18.04.6 LTS (Bionic Beaver)");
}

// GetOsVersionID

TEST_F(OsMachine, theReleaseNumbersKeyIsFoundInAnyLetterCase)
{
    m_files.overlayFile(kOsRelease, "Version_Id=\"7.2\"\n");
    EXPECT_EQ(releaseNumber(), "7.2");
}

TEST_F(OsMachine, theReleaseNumberIsSeparatedByFullStopsAndCommas)
{
    m_files.overlayFile(kOsRelease, "VERSION_ID=\"7,2.1-3\"\n");
    EXPECT_EQ(releaseNumber(), "7.2.1");
}

TEST_F(OsMachine, anUnquotedReleaseNumberAtTheEndLosesItsLastDigit)
{
    m_files.overlayFile(kOsRelease, "VERSION_ID=39");
    EXPECT_EQ(releaseNumber(), "3");
    m_files.overlayFile(kOsRelease, "VERSION_ID=39\n");
    EXPECT_EQ(releaseNumber(), "39");
}

// The distribution questions

TEST_F(OsMachine, aMentionAnywhereAndInAnyLetterCaseCounts)
{
    m_files.overlayFile(kOsRelease, "HOME_URL=\"http://UBUNTU.example\"\n");
    EXPECT_TRUE(IsOs_LINUX_Ubuntu());
    EXPECT_FALSE(IsOs_LINUX_RedHat());
    m_files.overlayFile(kOsRelease, "# not RED HAT\n");
    EXPECT_FALSE(IsOs_LINUX_Ubuntu());
    EXPECT_TRUE(IsOs_LINUX_RedHat());
    m_files.overlayFile(kOsRelease, "REDHAT_SUPPORT_PRODUCT=\"redhat\"\n");
    EXPECT_FALSE(IsOs_LINUX_RedHat());
}

TEST_F(OsMachine, redHat7IsAnyReleaseThatBeginsWith7)
{
    const std::vector<std::pair<std::string, bool>> releases = {{"7", true},     {"7.0", true},  {"7.9", true},
                                                                {"7.9.1", true}, {"6.7", false}, {"8", false},
                                                                {"70", false},   {"0", false}};
    for (const auto& [release, is7] : releases) {
        m_files.overlayFile(kOsRelease, "NAME=\"Red Hat\"\nVERSION_ID=\"" + release + "\"\n");
        EXPECT_EQ(IsOs_LINUX_RedHat_7_Only(), is7) << release;
    }
    m_files.overlayFile(kOsRelease, "NAME=\"Red Hat\"\n");
    EXPECT_FALSE(IsOs_LINUX_RedHat_7_Only());
    m_files.overlayFile(kOsRelease, "NAME=\"another\"\nVERSION_ID=\"7.9\"\n");
    EXPECT_FALSE(IsOs_LINUX_RedHat_7_Only());
}

TEST_F(OsMachine, ubuntu1804OrLaterIsComparedByNumbers)
{
    const std::vector<std::pair<std::string, bool>> releases = {{"18.04", true},  {"18.4", true},  {"18.04.1", true},
                                                                {"18.10", true},  {"20.04", true}, {"18.03", false},
                                                                {"16.04", false}, {"18", false},   {"9.10", false}};
    for (const auto& [release, isLater] : releases) {
        m_files.overlayFile(kOsRelease, "NAME=\"Ubuntu\"\nVERSION_ID=\"" + release + "\"\n");
        EXPECT_EQ(IsOs_LINUX_Ubuntu_1804_OrGreater(), isLater) << release;
    }
    m_files.overlayFile(kOsRelease, "NAME=\"another\"\nVERSION_ID=\"22.04\"\n");
    EXPECT_FALSE(IsOs_LINUX_Ubuntu_1804_OrGreater());
}

// GetFriendlyOSInfo

TEST_F(OsMachine, theLabelNamesTheGivenVersion)
{
    m_files.overlayFile(kOsRelease, fixture("os-release/ubuntu-22.04"));
    for (const bool useCurrent : {true, false}) {
        EXPECT_EQ(GetFriendlyOSInfo(useCurrent, Version("20.04", ".")), "Ubuntu 20.4");
        EXPECT_EQ(GetFriendlyOSInfo(useCurrent, Version("0.1", ".")), "Ubuntu 0.1");
        EXPECT_EQ(GetFriendlyOSInfo(useCurrent, Version("1.2.3.4", ".")), "Ubuntu 1.2.3.4");
    }
}

TEST_F(OsMachine, theZeroVersionStandsForTheRunningReleaseOrForNone)
{
    m_files.overlayFile(kOsRelease, fixture("os-release/ubuntu-22.04"));
    for (const char* zero : {"", "0", "0.0", "0.0.0", "none"}) {
        EXPECT_EQ(GetFriendlyOSInfo(true, Version(zero, ".")), "Ubuntu 22.4");
        EXPECT_EQ(GetFriendlyOSInfo(false, Version(zero, ".")), "Ubuntu");
    }
}

TEST_F(OsMachine, theLabelHasNoVersionWhereTheReleaseHasNone)
{
    m_files.overlayFile(kOsRelease, fixture("os-release/arch"));
    EXPECT_EQ(GetFriendlyOSInfo(true, kNoVersion), "Linux");
    EXPECT_EQ(GetFriendlyOSInfo(true, Version("1.2", ".")), "Linux 1.2");
}

TEST_F(OsMachine, theLabelPrefersUbuntuToRedHat)
{
    m_files.overlayFile(kOsRelease, "Red Hat\nUbuntu\n");
    EXPECT_EQ(GetFriendlyOSInfo(false, kNoVersion), "Ubuntu");
    m_files.overlayFile(kOsRelease, "Red Hat\n");
    EXPECT_EQ(GetFriendlyOSInfo(false, kNoVersion), "RHEL");
    m_files.overlayFile(kOsRelease, "another\n");
    EXPECT_EQ(GetFriendlyOSInfo(false, kNoVersion), "Linux");
}

// The bounded copies

using Copy = void (*)(char*, unsigned);

std::string copied(Copy copy, unsigned size)
{
    std::array<char, 64> buffer{};
    buffer.fill('?');
    copy(buffer.data(), size);
    return {buffer.data(), size + 1};
}

TEST_F(OsMachine, thePlatformTextsAreCopiedAsFarAsTheyFit)
{
    m_files.overlayFile(kOsRelease, "NAME=\"A\"\nVERSION=\"B\"\n");
    EXPECT_EQ(copied(GetOs_PlatformTypeString, 10), "Linux\0????\?"s);
    EXPECT_EQ(copied(GetOs_PlatformTypeString, 6), "Linux\0?"s);
    EXPECT_EQ(copied(GetOs_PlatformTypeString, 5), "Linu\0?"s);
    EXPECT_EQ(copied(GetOs_PlatformTypeString, 1), "\0?"s);
    EXPECT_EQ(copied(GetOs_PlatformTypeString, 0), "?");
    EXPECT_EQ(copied(GetOs_PlatformVersionString, 4), "A B\0?"s);
    EXPECT_EQ(copied(GetOs_PlatformVersionString, 3), "A \0?"s);
    EXPECT_EQ(copied(GetOs_PlatformVersionString, 0), "?");
}

TEST_F(OsMachine, aBufferThatIsNotThereIsLeftAlone)
{
    GetOs_PlatformTypeString(nullptr, 10);
    GetOs_PlatformVersionString(nullptr, 10);
}

// The marker of one mobile platform

TEST_F(OsMachine, theMarkerAloneMakesItPalmWebOS)
{
    EXPECT_FALSE(IsOs_PalmWebOS());
    EXPECT_FALSE(IsOsType_Mobile());
    m_files.overlayFile(kNduid, "");
    EXPECT_TRUE(IsOs_PalmWebOS());
    EXPECT_TRUE(IsOsType_Mobile());
}

TEST_F(OsMachine, theMarkerMayBeOfAnyKindThatExists)
{
    ASSERT_EQ(mkdir(kNduid, 0), 0);
    EXPECT_TRUE(IsOs_PalmWebOS());
    m_files.hideFile(kNduid);
    ASSERT_EQ(symlink("/nowhere/at/all", kNduid), 0);
    EXPECT_FALSE(IsOs_PalmWebOS());
    EXPECT_FALSE(IsOsType_Mobile());
}

// The questions with one answer on Linux

struct FixedAnswer
{
    const char* name;
    bool (*question)();
    bool answer;
};

bool checkAnyOsVersion()
{
    for (const int version : {0, 5, 6, 10, 255}) {
        const auto number = static_cast<unsigned char>(version);
        if (CheckOsVersion(number, 0) || CheckOsVersion(0, number) || CheckOsVersion(number, number)) {
            return true;
        }
    }
    return false;
}

const std::vector<FixedAnswer> kFixedAnswers = {
    {"IsOs_LINUX", IsOs_LINUX, true},
    {"IsOs_UNKNOWN", IsOs_UNKNOWN, false},
    {"IsOs_WIN32", IsOs_WIN32, false},
    {"IsOs_WINNT_2000", IsOs_WINNT_2000, false},
    {"IsOs_WINNT_2000_Only", IsOs_WINNT_2000_Only, false},
    {"IsOs_SOLARIS", IsOs_SOLARIS, false},
    {"CheckOsVersion", checkAnyOsVersion, false},
    {"IsOs_WINNT_XP", IsOs_WINNT_XP, false},
    {"IsOs_WINNT_XP_Only", IsOs_WINNT_XP_Only, false},
    {"IsOs_WINNT_XP_HomeEdition", IsOs_WINNT_XP_HomeEdition, false},
    {"IsOs_WINNT_2K3_Only", IsOs_WINNT_2K3_Only, false},
    {"IsOs_Wow64", IsOs_Wow64, false},
    {"IsOs_Wow64_ARM64", IsOs_Wow64_ARM64, false},
    {"IsOs_WIN_VISTA", IsOs_WIN_VISTA, false},
    {"IsOs_WIN_VISTA_Only", IsOs_WIN_VISTA_Only, false},
    {"IsOs_WIN_7", IsOs_WIN_7, false},
    {"IsOs_WIN_7_Only", IsOs_WIN_7_Only, false},
    {"IsOs_WIN_7_SP1", IsOs_WIN_7_SP1, false},
    {"IsOs_WIN_8", IsOs_WIN_8, false},
    {"IsOs_WIN_8_Only", IsOs_WIN_8_Only, false},
    {"IsOs_WIN_8Point10", IsOs_WIN_8Point10, false},
    {"IsOs_WIN_8Point10_Only", IsOs_WIN_8Point10_Only, false},
    {"IsOs_WIN_10", IsOs_WIN_10, false},
    {"IsOs_WIN_10_Only", IsOs_WIN_10_Only, false},
    {"IsOs_WIN_11", IsOs_WIN_11, false},
    {"IsOs_WIN_11_Only", IsOs_WIN_11_Only, false},
    {"IsOs_WIN_Server", IsOs_WIN_Server, false},
    {"IsOs_MAC", IsOs_MAC, false},
    {"IsOS_MacOSX_10_9_OrGreater", IsOS_MacOSX_10_9_OrGreater, false},
    {"IsOS_MacOSX_10_10_OrGreater", IsOS_MacOSX_10_10_OrGreater, false},
    {"IsOS_MacOSX_10_11_OrGreater", IsOS_MacOSX_10_11_OrGreater, false},
    {"IsOS_MacOSX_With_ARP_Bug", IsOS_MacOSX_With_ARP_Bug, false},
    {"IsOS_MacOSX_10_12_OrGreater", IsOS_MacOSX_10_12_OrGreater, false},
    {"IsOS_MacOSX_10_13_OrGreater", IsOS_MacOSX_10_13_OrGreater, false},
    {"IsOS_MacOSX_10_15_OrGreater", IsOS_MacOSX_10_15_OrGreater, false},
    {"IsOS_MacOS_11_OrGreater", IsOS_MacOS_11_OrGreater, false},
    {"IsOS_MacOS_13_OrGreater", IsOS_MacOS_13_OrGreater, false},
    {"IsOS_MacOS_13_2_OrGreater", IsOS_MacOS_13_2_OrGreater, false},
    {"IsOs_AppleIOS", IsOs_AppleIOS, false},
    {"IsOS_AppleIOS_7_OrGreater", IsOS_AppleIOS_7_OrGreater, false},
    {"IsOS_AppleIOS_10_OrGreater", IsOS_AppleIOS_10_OrGreater, false},
    {"IsOS_AppleIOS_12_OrGreater", IsOS_AppleIOS_12_OrGreater, false},
    {"IsOs_WindowsPhone", IsOs_WindowsPhone, false},
    {"IsOs_Android", IsOs_Android, false},
    {"IsOs_ChromeOS", IsOs_ChromeOS, false},
};

TEST_F(OsMachine, otherPlatformsQuestionsHaveOneAnswer)
{
    for (const auto& [name, question, answer] : kFixedAnswers) {
        EXPECT_EQ(question(), answer) << name;
    }
}

TEST_F(OsMachine, noReleaseFileChangesThatAnswer)
{
    m_files.overlayFile(kOsRelease,
                        "NAME=\"Windows 10 Android macOS iOS Chrome OS\"\nVERSION=\"10\"\nVERSION_ID=\"10\"\n");
    m_files.overlayFile(kNduid, "");
    for (const auto& [name, question, answer] : kFixedAnswers) {
        EXPECT_EQ(question(), answer) << name;
    }
}

} // namespace
