#include "tests/support/Privileges.h"

#include <linux/capability.h>
#include <linux/securebits.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace obg::test {

namespace {

using CapabilityWords = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

__user_cap_header_struct thisThread()
{
    return {_LINUX_CAPABILITY_VERSION_3, 0};
}

bool getCapabilities(CapabilityWords& words)
{
    auto header = thisThread();
    return syscall(SYS_capget, &header, words.data()) == 0;
}

bool setCapabilities(const CapabilityWords& words)
{
    auto header = thisThread();
    return syscall(SYS_capset, &header, words.data()) == 0;
}

} // namespace

WithoutPrivileges::WithoutPrivileges()
{
    CapabilityWords words{};
    bool done = getCapabilities(words);
    for (std::size_t i = 0; i < words.size(); ++i) {
        m_effective[i] = words[i].effective;
        words[i].effective = 0;
    }
    done = done && setCapabilities(words);
    EXPECT_TRUE(done) << "cannot give the privileges up";
}

WithoutPrivileges::~WithoutPrivileges()
{
    CapabilityWords words{};
    bool done = getCapabilities(words);
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i].effective = m_effective[i];
    }
    done = done && setCapabilities(words);
    EXPECT_TRUE(done) << "cannot take the privileges back";
}

bool dropPrivilegesForGood()
{
    // Without NOROOT, exec gives user 0 every capability back.
    return prctl(PR_SET_SECUREBITS, SECBIT_NOROOT | SECBIT_NOROOT_LOCKED, 0, 0, 0) == 0 && setCapabilities({});
}

} // namespace obg::test
