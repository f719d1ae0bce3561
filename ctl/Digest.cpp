#include "ctl/Digest.h"

#include "vpn/Common/Utility/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>

namespace ctl {

namespace {

/// Larger steps are no faster, and each thread has such a buffer of its own.
constexpr std::size_t kReadStep = 131072;

/// Found once: to look an algorithm up costs as much as to sum a small file.
const EVP_MD* implementationOf(HashType algorithm)
{
    static const EVP_MD* const sha1 = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    static const EVP_MD* const sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    switch (algorithm) {
    case eHashTypeSha1:
        return sha1;
    case eHashTypeSha256:
        return sha256;
    case eHashTypeNone:
        break;
    }
    return nullptr;
}

const EVP_MD* ownImplementation()
{
    static const EVP_MD* const blake2b = EVP_MD_fetch(nullptr, "BLAKE2B-512", nullptr);
    return blake2b;
}

std::string hexDigits(const unsigned char* bytes, std::size_t count)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * count);
    for (std::size_t at = 0; at < count; ++at) {
        text += digits[bytes[at] >> 4];
        text += digits[bytes[at] & 0xF];
    }
    return text;
}

/// Opens a regular file that is read from its start to its end. What is none gives none, with the reason in errno.
FileDescriptor openFile(const std::string& path)
{
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat info
    {};
    if (!file.isOpen() || fstat(file.number(), &info) != 0) {
        return FileDescriptor();
    }
    if (!S_ISREG(info.st_mode)) {
        errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
        return FileDescriptor();
    }
    static_cast<void>(posix_fadvise(file.number(), 0, 0, POSIX_FADV_SEQUENTIAL));
    return file;
}

bool addAll(const FileDescriptor& file, Digest& digest)
{
    thread_local std::vector<char> buffer(kReadStep);
    long count = -1;
    while ((count = file.read(buffer.data(), buffer.size())) > 0) {
        digest.add({buffer.data(), static_cast<std::size_t>(count)});
    }
    return count == 0;
}

} // namespace

void Digest::Release::operator()(evp_md_ctx_st* context) const
{
    EVP_MD_CTX_free(context);
}

Digest::Digest(HashType algorithm) : Digest(implementationOf(algorithm)) {}

Digest::Digest() : Digest(ownImplementation()) {}

Digest::Digest(const EVP_MD* implementation)
{
    m_context.reset(implementation == nullptr ? nullptr : EVP_MD_CTX_new());
    if (m_context != nullptr && EVP_DigestInit_ex2(m_context.get(), implementation, nullptr) != 1) {
        m_context.reset();
    }
}

Digest::~Digest() = default;

void Digest::add(std::string_view bytes)
{
    if (m_context != nullptr && EVP_DigestUpdate(m_context.get(), bytes.data(), bytes.size()) != 1) {
        m_context.reset();
    }
}

std::string Digest::finish()
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> sum{};
    unsigned int size = 0;
    if (m_context == nullptr || EVP_DigestFinal_ex(m_context.get(), sum.data(), &size) != 1) {
        return {};
    }
    m_context.reset();
    return hexDigits(sum.data(), size);
}

std::string sha256Of(std::string_view text)
{
    Digest digest(eHashTypeSha256);
    digest.add(text);
    return digest.finish();
}

std::optional<std::string> sumOfFile(const std::string& path, HashType algorithm)
{
    const FileDescriptor file = openFile(path);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    Digest digest(algorithm);
    if (!addAll(file, digest)) {
        return std::nullopt;
    }
    std::string digits = digest.finish();
    if (digits.empty()) {
        errno = ENOTSUP;
        return std::nullopt;
    }
    return digits;
}

} // namespace ctl
