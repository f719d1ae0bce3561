#pragma once

namespace obg::test {

/**
 * Leads this process into a mount namespace of its own (and a user namespace when it is not root) with an empty file
 * system over /opt. No mount leaves it. False, with errno set, where the kernel refuses; nothing has been written to
 * the machine then.
 */
bool enterPrivateMounts();

} // namespace obg::test
