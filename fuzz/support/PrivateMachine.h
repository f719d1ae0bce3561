#pragma once

namespace obg::test {

// For targets that read and write the program's fixed paths. To be called from LLVMFuzzerInitialize, while the process
// still has one thread. Where the kernel refuses, each says so and ends the process; the machine's own files are never
// touched.

/// Enters a private mount namespace with an empty file system over /opt, in which both install roots stand.
void enterPrivateMachine();

/// After enterPrivateMachine: puts an empty folder over /etc, and over /proc/version a device, which is no release
/// file. What the target puts into /etc is then all there is to tell the distribution.
void hideReleaseFiles();

} // namespace obg::test
