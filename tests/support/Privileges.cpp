#include "tests/support/Privileges.h"

#include <cerrno>
#include <cstddef>

#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
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

bool refuseMountsForGood()
{
    constexpr auto number = static_cast<unsigned>(offsetof(seccomp_data, nr));
    std::array<sock_filter, 5> filter{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, number),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_mount, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_unshare, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{filter.size(), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

} // namespace obg::test
