#pragma once

#include "vpn/Downloader/ManifestVocabulary.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct evp_md_ctx_st;
struct evp_md_st;

namespace ctl {

/// Sums bytes in one of the algorithms that manifests name, or in this program's own. An object may be used by one
/// thread at a time.
class Digest
{
public:
    /// A sum in no algorithm is never to be had.
    explicit Digest(HashType algorithm);

    /// BLAKE2b, for sums that only this program compares: twice as fast as SHA-256 where the processor has no
    /// instructions for that.
    Digest();

    ~Digest();
    Digest(const Digest&) = delete;
    Digest& operator=(const Digest&) = delete;

    void add(std::string_view bytes);

    /// The sum of what was added, as lower-case hex digits, once. Empty when this machine's OpenSSL does not have the
    /// algorithm, or no memory for it.
    std::string finish();

private:
    explicit Digest(const evp_md_st* implementation);

    struct Release
    {
        void operator()(evp_md_ctx_st* context) const;
    };

    std::unique_ptr<evp_md_ctx_st, Release> m_context;
};

/// The SHA-256 of a text, as Digest gives it.
std::string sha256Of(std::string_view text);

/// The sum of the file at `path`. A failure is nullopt with the reason in `errno`: ENOENT or ENOTDIR when nothing is
/// there, EISDIR for a folder, EINVAL for anything else that is no file, ENOTSUP for an algorithm that is not to be
/// had. Waits for nobody: not for the writer of a pipe either.
std::optional<std::string> sumOfFile(const std::string& path, HashType algorithm);

} // namespace ctl
