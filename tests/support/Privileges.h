#pragma once

#include <array>
#include <cstdint>

namespace obg::test {

/**
 * Takes the calling thread's effective capabilities away for the scope, so that permission bits bind it as they bind
 * an ordinary user. The user id stays as it is: a file is closed to the test by its own mode (0444, 0000), which also
 * works in a user namespace where no second user exists.
 */
class WithoutPrivileges
{
public:
    WithoutPrivileges();
    ~WithoutPrivileges();
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

private:
    std::array<std::uint32_t, 2> m_effective{};
};

/**
 * The same for good, across exec too; for a child between fork and exec. False when the kernel refuses.
 * Async-signal-safe.
 */
bool dropPrivilegesForGood();

/**
 * From now on the kernel refuses mount() and unshare() with EPERM, as it does in a container, for this process and all
 * that it starts. False when it will not. Async-signal-safe.
 */
bool refuseMountsForGood();

} // namespace obg::test
